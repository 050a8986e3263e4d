#include "shell/start.h"

int main(int argc, char** argv) { return run_program(argc, argv); }
