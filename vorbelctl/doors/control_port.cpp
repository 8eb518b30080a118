#include "vorbelctl/doors/control_port.h"

#include <array>
#include <cassert>
#include <charconv>
#include <cstddef>
#include <system_error>
#include <vector>

#include "common/clocks.h"
#include "common/text.h"

namespace vorbelctl {
namespace {

// The words of the text; behind each that names a number stands the number.
struct Word {
  std::string_view word;
  bool names_number;
};

constexpr std::array words{
    Word{"seq", true},     Word{"messages", true},   Word{"packets", true},     Word{"reports", true},
    Word{"capped", true},  Word{"cancels", true},    Word{"corrections", true}, Word{"halts", true},
    Word{"retrans", true}, Word{"vorbeld", false},   Word{"faults:", false},    Word{"sent", true},
    Word{"dropped", true}, Word{"duplicated", true}, Word{"reordered", true},
};

}  // namespace

std::optional<std::string> ask_control(const Socket& socket, std::string_view command, int timeout_ms, bool& refused) {
  refused = !send_datagram(socket, command);
  const std::uint64_t until_ms = vorbeld::monotonic_ms() + static_cast<std::uint64_t>(timeout_ms);
  std::string reply;
  while (!refused) {
    const Arrival arrival = take_datagram(socket, reply);
    if (arrival == Arrival::datagram) {
      if (!reply.empty() && reply.back() == '\n') reply.pop_back();
      return reply;
    }
    refused = arrival == Arrival::refused;
    const std::uint64_t now_ms = vorbeld::monotonic_ms();
    if (now_ms >= until_ms) break;
    wait_readable({&socket}, static_cast<int>(until_ms - now_ms));
  }
  return {};
}

std::optional<FieldList> parse_stats(std::string_view text) {
  std::vector<std::string_view> pieces;
  vorbeld::split(text, ' ', pieces);
  FieldList stats;
  std::size_t at = 0;
  for (const auto& [word, names_number] : words) {
    if (at >= pieces.size() || pieces[at++] != word) return {};
    if (!names_number) continue;
    if (at >= pieces.size()) return {};
    const std::string_view digits = pieces[at++];
    std::uint64_t number = 0;
    const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    if (result.ec != std::errc() || result.ptr != digits.data() + digits.size()) return {};
    stats.push_back({std::string(word), number});
  }
  if (at != pieces.size()) return {};
  return stats;
}

std::uint64_t stat(const FieldList& stats, std::string_view name) {
  const Value* const value = find_value(stats, name);
  assert(value != nullptr);
  return std::get<std::uint64_t>(*value);
}

}  // namespace vorbelctl
