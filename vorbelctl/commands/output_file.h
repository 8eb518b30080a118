// Files that a command writes: looked at before its work begins, so that nothing is done in vain or overwritten that is
// read, and put in place whole, so that nobody ever sees half of one.
#pragma once

#include <span>
#include <string>

namespace vorbelctl {

// Throws std::invalid_argument, saying why, when the file cannot be written, as far as can be told, or is one of the
// `inputs`, by whatever names the two go. "-" among the inputs is standard input.
void check_output(const std::string& path, std::span<const std::string> inputs);

// Writes the content beside the file and puts it in its place; what is no regular file, such as a pipe, is written as
// it is. Returns why that failed, and then a file that was there before is as it was; empty: it did not.
std::string write_output(const std::string& path, const std::string& content);

}  // namespace vorbelctl
