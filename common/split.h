// Splitting at one character, the only list syntax that options, scenarios, reports and commands use.
#pragma once

#include <string_view>
#include <vector>

namespace vorbeld {

// Replaces the content of `pieces` by the pieces of `text` between every occurrence of `separator`. Empty pieces are
// kept: a trailing separator gives an empty last piece, an empty text one empty piece. Nothing is trimmed. The pieces
// view into `text`; `pieces` keeps its capacity, so a caller that splits often allocates once.
void split(std::string_view text, char separator, std::vector<std::string_view>& pieces);

}  // namespace vorbeld
