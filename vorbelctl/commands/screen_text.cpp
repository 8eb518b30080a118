#include "vorbelctl/commands/screen_text.h"

#include <algorithm>

namespace vorbelctl {
namespace {

constexpr std::size_t set_in = 2;

// The words of a text; blanks part them.
std::vector<std::string_view> words_of(std::string_view text) {
  std::vector<std::string_view> words;
  for (;;) {
    text.remove_prefix(std::min(text.size(), text.find_first_not_of(' ')));
    if (text.empty()) return words;
    words.push_back(text.substr(0, text.find(' ')));
    text.remove_prefix(words.back().size());
  }
}

}  // namespace

std::string text_of(const ScreenLine& line) {
  std::string text;
  for (const Span& span : line) text += span.text;
  return text;
}

std::size_t width_of(const ScreenLine& line) {
  std::size_t width = 0;
  for (const Span& span : line) width += span.text.size();
  return width;
}

ScreenLine clipped(const ScreenLine& line, std::size_t width) {
  ScreenLine result;
  for (const Span& span : line) {
    if (width == 0) break;
    result.push_back({span.text.substr(0, width), span.look});
    width -= result.back().text.size();
  }
  return result;
}

ScreenLine filled(ScreenLine line, std::size_t width, Look look) {
  const std::size_t taken = width_of(line);
  if (taken < width) line.push_back({std::string(width - taken, ' '), look});
  return line;
}

std::vector<ScreenLine> flowed(const Span& label, const std::vector<Span>& pieces, std::size_t width) {
  std::vector<ScreenLine> lines{{label}};
  for (const Span& piece : pieces) {
    const bool is_first = lines.back().size() == 1;
    if (!is_first && width_of(lines.back()) + 2 + piece.text.size() > width) {
      lines.push_back({{std::string(label.text.size(), ' '), label.look}});
    } else if (!is_first) {
      lines.back().push_back({"  ", label.look});
    }
    lines.back().push_back(piece);
  }
  return lines;
}

std::vector<std::string> fitted(std::string_view text, std::size_t width) {
  if (text.size() <= width) return {std::string(text)};
  const std::size_t least = 2 * set_in;  // below it nothing can be set in
  if (width < least) return {std::string(text.substr(0, width))};
  std::vector<std::string> lines{""};
  for (std::string_view word : words_of(text)) {
    const bool begins = lines.back().find_first_not_of(' ') == std::string::npos;
    if (!begins && lines.back().size() + 1 + word.size() > width) {
      lines.emplace_back(set_in, ' ');
    } else if (!begins) {
      lines.back() += ' ';
    }
    while (lines.back().size() + word.size() > width) {
      const std::size_t room = width - lines.back().size();
      lines.back() += word.substr(0, room);
      word.remove_prefix(room);
      lines.emplace_back(set_in, ' ');
    }
    lines.back() += word;
  }
  return lines;
}

}  // namespace vorbelctl
