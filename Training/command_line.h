// command_line.h: options of the training programs.

#pragma once

#include <string>
#include <vector>

// One option "--name value". Exactly one of the three places is set; for `flag` no value follows.
struct Option {
    const char* name; // with its dashes
    double* number;
    std::string* text;
    bool* flag;
    const char* help;
};

// Reads the arguments behind the program's name into the options' places; what is no option goes to
// `names`. Returns false, with a message on standard error, at an unknown option or a missing or
// malformed value.
bool read_arguments(int argc, char** argv, const std::vector<Option>& options,
                    std::vector<std::string>& names);

// Prints how to call the program, with the options' present values as defaults.
void print_usage(const char* synopsis, const std::vector<Option>& options);
