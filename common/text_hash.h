// Hash tables keyed by text that are asked with a view, so that a look-up copies no string.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>

namespace vorbeld {

struct TextHash {
  using is_transparent = void;
  std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>{}(text); }
};

template <class Value>
using TextMap = std::unordered_map<std::string, Value, TextHash, std::equal_to<>>;

}  // namespace vorbeld
