// mird-uci: the program for GUIs that can't pass arguments. It begins in the strict protocol.

#include "base/state.h"
#include "shell/start.h"

int main(int argc, char** argv) {
    shell.strict = 1;
    return run_program(argc, argv);
}
