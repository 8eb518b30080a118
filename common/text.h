// Text as it comes in: splitting at one character, the only list syntax of options, scenarios, reports and commands,
// and hash tables that are asked with a view of it.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace vorbeld {

// Replaces the content of `pieces` by the pieces of `text` between every occurrence of `separator`. Empty pieces are
// kept: a trailing separator gives an empty last piece, an empty text one empty piece. Nothing is trimmed. The pieces
// view into `text`; `pieces` keeps its capacity, so a caller that splits often allocates once.
void split(std::string_view text, char separator, std::vector<std::string_view>& pieces);

struct TextHash {
  using is_transparent = void;
  std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>{}(text); }
};

template <class Value>
using TextMap = std::unordered_map<std::string, Value, TextHash, std::equal_to<>>;

}  // namespace vorbeld
