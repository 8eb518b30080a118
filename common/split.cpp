#include "common/split.h"

namespace vorbeld {

void split(std::string_view text, char separator, std::vector<std::string_view>& pieces) {
  pieces.clear();
  std::size_t begin = 0;
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (text[at] != separator) continue;
    pieces.push_back(text.substr(begin, at - begin));
    begin = at + 1;
  }
  pieces.push_back(text.substr(begin));
}

}  // namespace vorbeld
