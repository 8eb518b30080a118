// vorbelctl: the other end of every door of a bench. Finds the command that was asked for and runs it, or tells the
// shell how the command line may go on.
#include <cstddef>
#include <cstdlib>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

#include "common/standard_streams.h"
#include "vorbelctl/commands/command_line.h"
#include "vorbelctl/commands/command_table.h"
#include "vorbelctl/commands/completion.h"

namespace {

// "--complete AT WORD...": a word a line, or ":files" alone. Meant for the shell's script and not in the help.
int print_completion(const std::vector<std::string>& words, std::size_t at) {
  const vorbelctl::Completion completion = vorbelctl::complete_words(words, at);
  if (completion.files) std::cout << ":files\n";
  for (const auto& word : completion.words) std::cout << word << "\n";
  return vorbelctl::all_well;
}

}  // namespace

int main(int argc, char** argv) {
  vorbeld::keep_standard_descriptors();
  if (argc > 2 && std::string_view(argv[1]) == "--complete") {
    return print_completion({argv + 3, argv + argc}, std::strtoul(argv[2], nullptr, 10));
  }
  vorbelctl::Options options;
  if (const auto status = vorbelctl::read_command_line(argc, argv, options)) return *status;
  return vorbelctl::run_command(*vorbelctl::find_command(options.command), options);
}
