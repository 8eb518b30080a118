// Files to be read, in whatever form they come: as they are, packed by gzip, out of a pipe or from standard input. What
// cannot be read again from any place is unpacked into a nameless temporary file first, so that whoever reads need not
// know, and files may be larger than memory.
#pragma once

#include <string>

#include "vorbelctl/doors/sockets.h"

namespace vorbelctl {

// What stands for standard input among the names of files.
inline constexpr std::string_view standard_input = "-";

struct Input {
  std::string name;     // as people call it
  std::string path;     // where its bytes, unpacked, are opened and read; valid as long as this record
  bool grows = true;    // false: it was unpacked or piped, so nothing will be added to it
  bool is_cut = false;  // the packed bytes end before their end; what they held up to there can be read
  Descriptor unpacked;  // -1: the file is read as it is
};

// Opens the file, or standard input for "-", which it reads to its end. What gzip packed is told by its first bytes,
// and not by a name. Throws std::invalid_argument, saying which file and why, when it cannot be read or unpacked.
Input open_input(const std::string& path);

// What people call the input of this path.
std::string input_name(const std::string& path);

// What to say of an input that is cut.
std::string cut_note(const std::string& name);

}  // namespace vorbelctl
