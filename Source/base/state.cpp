#include "base/state.h"

EngineState engine;
ShellState shell;
Personality active_personality;
Personality default_personality;
double think_start;
char exe_dir[260];
