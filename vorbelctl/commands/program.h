// What to type to run a program here: advice that names one must name one that is there.
#pragma once

#include <string>

#include "vorbelctl/doors/addresses.h"

namespace vorbelctl {

// The name itself where the shell finds it by PATH, its whole path where it lies in one of the folders for
// administrators (/usr/sbin, /sbin), which PATH often lacks; empty: it is not here.
std::string runnable(const std::string& name);

// How to run this program again: its name where PATH leads to it, otherwise the path it was started by (`argument_0`).
std::string own_name(const std::string& argument_0);

// A command line that runs a bench at these addresses, with the daemon that lies beside this program or on PATH; empty
// where there is none. `own` is what `own_name` gave.
std::string bench_command(const std::string& own, const Addresses& addresses);

// The commands of a line, which stand between semicolons, that can be run here, each by what `runnable` makes of its
// first word.
std::string runnable_commands(const std::string& line);

}  // namespace vorbelctl
