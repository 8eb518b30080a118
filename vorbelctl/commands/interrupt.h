// Ctrl-C and SIGTERM end a command in an orderly way: totals are printed, the terminal is given back.
#pragma once

namespace vorbelctl {

// From now on SIGINT and SIGTERM only set a flag; a second one ends the process as usual.
void catch_interrupts();

// True once one of them has come.
bool interrupted();

}  // namespace vorbelctl
