#include "vorbelctl/handler/delivered.h"

#include <algorithm>
#include <functional>

namespace vorbelctl {
namespace {

constexpr std::uint64_t not_known = 0;

std::uint64_t mark_of(std::string_view bytes) {
  static_assert(sizeof(std::size_t) == sizeof(std::uint64_t));
  return std::max<std::uint64_t>(std::hash<std::string_view>()(bytes), not_known + 1);
}

// The slot of the number, in a ring that grows to its size as it is needed.
template <class Slot>
Slot& slot_of(std::vector<Slot>& ring, std::uint64_t sequence, std::uint64_t size) {
  const auto place = static_cast<std::size_t>(sequence % size);
  if (place >= ring.size()) ring.resize(place + 1);
  return ring[place];
}

bool within(const Delivered& delivered, std::uint64_t sequence, std::uint64_t keeps) {
  return sequence >= delivered.begin && sequence < delivered.end && delivered.end - sequence <= keeps;
}

void reach(Delivered& delivered, std::uint64_t first, std::uint64_t end) {
  if (delivered.begin == delivered.end) delivered.begin = delivered.end = first;
  delivered.end = std::max(delivered.end, end);
}

std::uint64_t mark_at(const Delivered& delivered, std::uint64_t sequence) {
  if (!within(delivered, sequence, delivered.keeps)) return not_known;
  const auto place = static_cast<std::size_t>(sequence % delivered.keeps);
  return place < delivered.marks.size() ? delivered.marks[place] : not_known;
}

}  // namespace

void remember(Delivered& delivered, std::uint64_t sequence, std::string_view bytes) {
  reach(delivered, sequence, sequence + 1);
  if (within(delivered, sequence, delivered.keeps)) {
    slot_of(delivered.marks, sequence, delivered.keeps) = mark_of(bytes);
  }
  if (within(delivered, sequence, most_texts_kept)) slot_of(delivered.texts, sequence, most_texts_kept).assign(bytes);
}

void skip(Delivered& delivered, const Range& range) {
  reach(delivered, range.first, range.last + 1);
  // A range may be wide beyond measure: only what the ring holds of it is gone through.
  const std::uint64_t count = std::min(range.last - range.first + 1, delivered.keeps);
  for (std::uint64_t sequence = range.last + 1 - count; sequence <= range.last; ++sequence) {
    const auto place = static_cast<std::size_t>(sequence % delivered.keeps);
    if (place < delivered.marks.size()) delivered.marks[place] = not_known;
  }
}

Repeat compare_repeat(const Delivered& delivered, std::uint64_t sequence, std::string_view bytes) {
  const std::uint64_t mark = mark_at(delivered, sequence);
  if (mark == not_known) return Repeat::unknown;
  return mark == mark_of(bytes) ? Repeat::same : Repeat::other;
}

std::string_view text_of(const Delivered& delivered, std::uint64_t sequence) {
  const bool kept = mark_at(delivered, sequence) != not_known && within(delivered, sequence, most_texts_kept);
  return kept ? std::string_view(delivered.texts[static_cast<std::size_t>(sequence % most_texts_kept)])
              : std::string_view();
}

}  // namespace vorbelctl
