// What the shell may offer for the word under the cursor, by the table of the commands.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace vorbelctl {

struct Completion {
  std::vector<std::string> words;  // each begins like the word to be completed
  bool files = false;              // the shell offers files
};

// `words` is the command line from the program's name on; the word number `at`, which need not be there yet, is the one
// to be completed. Words behind it are not looked at.
Completion complete_words(const std::vector<std::string>& words, std::size_t at);

}  // namespace vorbelctl
