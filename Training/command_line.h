// command_line.h: the arguments of the training programs: reading them, telling about them.
//
// Each program's main calls it once, before anything else.

#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <variant>
#include <vector>

// One option "--name VALUE", or a switch "--name". What stands in its place beforehand is its
// default.
struct ProgramOption {
    const char* name;  // with its dashes
    const char* value; // what the value is called in the usage; of a switch nothing
    std::variant<bool*, int*, uint64_t*, double*, std::string*> place; // bool: a switch
    const char* help;                                                  // its line in the usage
    double min = std::numeric_limits<double>::lowest(); // range of a number; the default may lie
    double max = std::numeric_limits<double>::max();    // outside and then means: not given
};

struct Usage {
    const char* synopsis;               // how to call the program
    size_t min_names;                   // how many arguments that are no options it takes
    size_t max_names;                   // names behind the options, at most
    std::vector<ProgramOption> options; // in the order of the usage
};

constexpr size_t ANY_NUMBER = SIZE_MAX; // of names

// Reads the arguments behind the program's name into the options' places; what is no option goes to
// `names`. Returns false, after a message and the usage on standard error, at an unknown option, a
// missing, malformed or bad value or a wrong number of names, and after the usage alone at --help.
// Whole numbers are digits only.
bool read_arguments(const Usage& usage, int argc, char** argv, std::vector<std::string>& names);

// Prints how to call the program on standard error, with the options' present values as defaults.
void print_usage(const Usage& usage);

// Number of threads that the machine runs at once, at least 1: the default of --threads.
int machine_threads();
