#include "vorbelctl/commands/completion.h"

#include <algorithm>
#include <string_view>
#include <utility>
#include <variant>

#include "vorbelctl/commands/command_table.h"

namespace vorbelctl {
namespace {

bool is_option(std::string_view word) {
  return word.starts_with("-");
}

OptionList all_options(const Command& command, Options& options) {
  OptionList all = command.options(options);
  for (const OptionList& more : {address_options(command, options), output_options(options)}) {
    all.insert(all.end(), more.begin(), more.end());
  }
  return all;
}

const OptionRow* find_option(const OptionList& options, std::string_view name) {
  const auto found =
      std::find_if(options.begin(), options.end(), [&](const OptionRow& row) { return row.name == name; });
  return found == options.end() ? nullptr : &*found;
}

// A word that looks like an option and is not one of ours may have a value.
bool takes_value(const OptionList& options, std::string_view word) {
  if (!is_option(word) || word == "--" || word == "--help") return false;
  const OptionRow* const option = find_option(options, word);
  return option == nullptr || !std::holds_alternative<bool*>(option->target);
}

// The argument that stands at the place `number`, counted from 0. One that takes many words offers for the first only.
const OptionRow* argument_at(const OptionList& options, std::size_t number) {
  for (const OptionRow& row : options) {
    if (!is_option(row.name) && number-- == 0) return &row;
  }
  return nullptr;
}

Completion offer(std::vector<std::string> words, std::string_view begin) {
  std::erase_if(words, [&](const std::string& word) { return !word.starts_with(begin); });
  return {std::move(words)};
}

Completion offer_value(const OptionRow& row, std::string_view begin) {
  if (row.is_path || std::holds_alternative<ExistingFile>(row.check)) return {{}, true};
  if (const auto* choice = std::get_if<OneOf>(&row.check)) return offer(choice->words, begin);
  return offer(row.offers, begin);
}

Completion offer_commands(std::string_view begin) {
  std::vector<std::string> words{"--help", "--version", std::string(help_command)};
  for (const Command& command : all_commands()) words.emplace_back(command.name);
  return offer(std::move(words), begin);
}

Completion offer_helped_commands(std::string_view begin) {
  std::vector<std::string> words;
  for (const Command& command : all_commands()) words.emplace_back(command.name);
  return offer(std::move(words), begin);
}

Completion offer_options(const OptionList& options, std::string_view begin) {
  std::vector<std::string> words{"--help"};
  for (const OptionRow& row : options) {
    if (is_option(row.name)) words.push_back(row.name);
  }
  return offer(std::move(words), begin);
}

}  // namespace

Completion complete_words(const std::vector<std::string>& words, std::size_t at) {
  const std::string begin = at < words.size() ? words[at] : "";
  const auto end = words.begin() + static_cast<std::ptrdiff_t>(std::min(at, words.size()));
  const auto named =
      std::find_if(std::min(words.begin() + 1, end), end, [](const auto& word) { return !is_option(word); });
  if (named == end) return offer_commands(begin);
  if (*named == help_command) return named + 1 == end ? offer_helped_commands(begin) : Completion{};
  const Command* const command = find_command(*named);
  if (command == nullptr) return {};
  Options unused;
  const OptionList options = all_options(*command, unused);
  if (is_option(begin)) return offer_options(options, begin);
  std::size_t arguments = 0;
  const OptionRow* waiting = nullptr;  // the option that the word is a value of
  bool is_value = false;
  for (auto word = named + 1; word != end; ++word) {
    if (is_value) {
      is_value = false;
    } else if (takes_value(options, *word)) {
      is_value = true;
      waiting = find_option(options, *word);
    } else if (!is_option(*word)) {
      ++arguments;
    }
  }
  const OptionRow* const row = is_value ? waiting : argument_at(options, arguments);
  return row == nullptr ? Completion{} : offer_value(*row, begin);
}

}  // namespace vorbelctl
