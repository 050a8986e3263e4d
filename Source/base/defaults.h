// defaults.h: what the process-wide records hold before anything is set.
//
// Main thread only, at the start of the program, before it has other threads.

#pragma once

// Sets the three records to their defaults; both personalities become equal. Options have theirs
// from the option table. Fields without a default stay as they are, which is zero at the start.
void set_default_state();
