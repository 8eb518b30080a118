// Lines from a file or a pipe, read piece by piece when something is there, so that a slow writer holds nothing up.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "vorbelctl/doors/sockets.h"

namespace vorbelctl {

struct LineInput {
  Descriptor file;           // a file, a pipe or a terminal; reading may block. -1: the end
  std::string name;          // as it stands in messages
  std::string unread;        // bytes read; those before `at` have been taken. A line may have any length.
  std::size_t at = 0;        // in `unread`
  std::uint64_t size = 0;    // bytes of the file; 0: not known (a pipe)
  std::uint64_t taken = 0;   // bytes of the lines taken
  std::uint64_t number = 0;  // of the line taken last, from 1
};

// Opens the file, or standard input for "-". Throws std::invalid_argument when it cannot be read, as a folder.
LineInput open_lines_of(const std::string& path);

// Reads what is there; blocks when nothing is, if the descriptor does. Throws std::invalid_argument when reading fails.
void read_more(LineInput& input);

// Ends the input here; lines that have not been taken are dropped.
void end_input(LineInput& input);

// Takes the next whole line without its line feed; the last line may lack it. False: more must be read first, or all
// lines have been taken.
bool take_line(LineInput& input, std::string& line);

// True when every line has been taken.
bool is_at_end(const LineInput& input);

}  // namespace vorbelctl
