#include "Training/command_line.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>

// Reads all of a text as a whole number from 0 on. Returns false, with `number` unchanged, if it is
// none.
static bool read_whole(uint64_t& number, const char* text) {
    char* end = nullptr;
    errno = 0;
    unsigned long long value = strtoull(text, &end, 10);
    if (!isdigit(static_cast<unsigned char>(*text)) || *end || errno) return false;
    number = value;
    return true;
}

static bool read_real(double& number, const char* text) {
    char* end = nullptr;
    double value = strtod(text, &end);
    if (end == text || *end) return false;
    number = value;
    return true;
}

// Writes a value to the option's place. Returns false, with the place unchanged, if it is no number
// where one is wanted, or out of the option's range.
static bool take_value(const ProgramOption& option, const char* text) {
    auto in_range = [&](double number) { return number >= option.min && number <= option.max; };
    if (auto* place = std::get_if<std::string*>(&option.place)) {
        **place = text;
        return true;
    }
    if (auto* place = std::get_if<double*>(&option.place)) {
        double number = 0;
        if (!read_real(number, text) || !in_range(number)) return false;
        **place = number;
        return true;
    }
    uint64_t number = 0;
    if (!read_whole(number, text) || !in_range(static_cast<double>(number))) return false;
    if (auto* place = std::get_if<uint64_t*>(&option.place)) {
        **place = number;
        return true;
    }
    if (number > std::numeric_limits<int>::max()) return false;
    *std::get<int*>(option.place) = static_cast<int>(number);
    return true;
}

// Reads the option argv[i] with its value. Returns the number of arguments taken, or 0 after a
// message.
static int take_option(const std::vector<ProgramOption>& options, int argc, char** argv, int i) {
    auto found = std::find_if(options.begin(), options.end(), [&](const ProgramOption& option) {
        return strcmp(option.name, argv[i]) == 0;
    });
    if (found == options.end()) {
        fprintf(stderr, "unknown option %s\n", argv[i]);
        return 0;
    }
    if (auto* place = std::get_if<bool*>(&found->place)) {
        **place = true;
        return 1;
    }
    if (i + 1 == argc) {
        fprintf(stderr, "option %s needs a value\n", argv[i]);
        return 0;
    }
    if (take_value(*found, argv[i + 1])) return 2;
    fprintf(stderr, "option %s can't be %s\n", argv[i], argv[i + 1]);
    return 0;
}

static bool read_all(const Usage& usage, int argc, char** argv, std::vector<std::string>& names) {
    for (int i = 1; i < argc;) {
        if (strncmp(argv[i], "--", 2) != 0) {
            names.push_back(argv[i++]);
            continue;
        }
        if (strcmp(argv[i], "--help") == 0) return false;
        int taken = take_option(usage.options, argc, argv, i);
        if (taken == 0) return false;
        i += taken;
    }
    return names.size() >= usage.min_names && names.size() <= usage.max_names;
}

bool read_arguments(const Usage& usage, int argc, char** argv, std::vector<std::string>& names) {
    if (read_all(usage, argc, argv, names)) return true;
    print_usage(usage);
    return false;
}

// The option's default as text in brackets; nothing where it has none.
static std::string default_text(const ProgramOption& option) {
    char text[32] = "";
    auto put = [&](auto number, const char* form) {
        auto value = static_cast<double>(number);
        if (value >= option.min && value <= option.max) snprintf(text, sizeof text, form, number);
    };
    if (auto* whole = std::get_if<int*>(&option.place)) put(**whole, " [%d]");
    if (auto* real = std::get_if<double*>(&option.place)) put(**real, " [%g]");
    if (auto* large = std::get_if<uint64_t*>(&option.place))
        put(static_cast<unsigned long long>(**large), " [%llu]");
    if (auto* name = std::get_if<std::string*>(&option.place))
        return (*name)->empty() ? "" : " [" + **name + "]";
    return text;
}

void print_usage(const Usage& usage) {
    size_t width = 0;
    auto head = [](const ProgramOption& option) {
        return *option.value ? std::string(option.name) + " " + option.value : option.name;
    };
    for (const ProgramOption& option : usage.options) width = std::max(width, head(option).size());
    fprintf(stderr, "usage: %s\n", usage.synopsis);
    for (const ProgramOption& option : usage.options)
        fprintf(stderr, "  %-*s  %s%s\n", static_cast<int>(width), head(option).c_str(),
                option.help, default_text(option).c_str());
}

int machine_threads() {
    return static_cast<int>(std::max(1u, std::thread::hardware_concurrency()));
}
