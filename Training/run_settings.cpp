#include "Training/run_settings.h"

#include <algorithm>
#include <charconv>
#include <sstream>

namespace {

struct Setting {
    std::string name, value;
};

} // namespace

void add_setting(std::string& text, const std::string& name, const std::string& value) {
    text += name + " " + value + "\n";
}

template <class Number>
static std::string number_text(Number number) {
    char text[64];
    return std::string(text, std::to_chars(text, text + sizeof text, number).ptr);
}

static std::string value_text(const ProgramOption& option) {
    if (auto* on = std::get_if<bool*>(&option.place)) return **on ? "yes" : "no";
    if (auto* whole = std::get_if<int*>(&option.place)) return number_text(**whole);
    if (auto* large = std::get_if<uint64_t*>(&option.place)) return number_text(**large);
    if (auto* real = std::get_if<double*>(&option.place)) return number_text(**real);
    return *std::get<std::string*>(option.place);
}

void add_options(std::string& text, const std::vector<ProgramOption>& options,
                 const std::vector<std::string>& without) {
    for (const ProgramOption& option : options)
        if (std::find(without.begin(), without.end(), option.name) == without.end())
            add_setting(text, option.name, value_text(option));
}

static std::vector<Setting> split_settings(const std::string& text) {
    std::vector<Setting> settings;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        size_t blank = std::min(line.find(' '), line.size());
        settings.push_back({line.substr(0, blank), line.substr(std::min(blank + 1, line.size()))});
    }
    return settings;
}

static std::string value_of(const std::vector<Setting>& settings, const std::string& name) {
    for (const Setting& setting : settings)
        if (setting.name == name) return setting.value;
    return "nothing";
}

std::string differing_settings(const std::string& now, const std::string& before) {
    const std::vector<Setting> here = split_settings(now), there = split_settings(before);
    std::string text;
    auto compare = [&](const std::string& name) {
        const std::string new_value = value_of(here, name), old_value = value_of(there, name);
        if (new_value == old_value) return;
        text += (text.empty() ? "" : ", ") + name + " is " + new_value + " and was " + old_value;
    };
    for (const Setting& setting : here) compare(setting.name);
    for (const Setting& setting : there)
        if (std::none_of(here.begin(), here.end(),
                         [&](const Setting& other) { return other.name == setting.name; }))
            compare(setting.name);
    return text;
}
