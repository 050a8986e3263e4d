#include "Training/command_line.h"

#include <cstdio>
#include <cstdlib>

// Writes a value to the option's place; false if it is no number where one is wanted.
static bool take_value(const Option& option, const char* value) {
    if (option.text) {
        *option.text = value;
        return true;
    }
    char* end = nullptr;
    double number = strtod(value, &end);
    if (end == value || *end) return false;
    *option.number = number;
    return true;
}

bool read_arguments(int argc, char** argv, const std::vector<Option>& options,
                    std::vector<std::string>& names) {
    for (int i = 1; i < argc; i++) {
        std::string word = argv[i];
        if (word.rfind("--", 0) != 0) {
            names.push_back(word);
            continue;
        }
        const Option* found = nullptr;
        for (const Option& option : options)
            if (word == option.name) found = &option;
        if (!found) {
            fprintf(stderr, "unknown option %s\n", argv[i]);
            return false;
        }
        if (found->flag) {
            *found->flag = true;
        } else if (i + 1 == argc || !take_value(*found, argv[i + 1])) {
            fprintf(stderr, "option %s needs a value\n", argv[i]);
            return false;
        } else {
            i++;
        }
    }
    return true;
}

void print_usage(const char* synopsis, const std::vector<Option>& options) {
    fprintf(stderr, "usage: %s\n", synopsis);
    for (const Option& option : options) {
        if (option.number)
            fprintf(stderr, "  %-14s %s [%g]\n", option.name, option.help, *option.number);
        else if (option.text && !option.text->empty())
            fprintf(stderr, "  %-14s %s [%s]\n", option.name, option.help, option.text->c_str());
        else fprintf(stderr, "  %-14s %s\n", option.name, option.help);
    }
}
