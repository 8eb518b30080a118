#include "common/text.h"

#include <cstddef>

namespace vorbeld {

void split(std::string_view text, char separator, std::vector<std::string_view>& pieces) {
  pieces.clear();
  std::size_t begin = 0;
  for (std::size_t end = text.find(separator); end != std::string_view::npos; end = text.find(separator, begin)) {
    pieces.push_back(text.substr(begin, end - begin));
    begin = end + 1;
  }
  pieces.push_back(text.substr(begin));
}

}  // namespace vorbeld
