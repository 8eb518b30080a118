// Memory for what a run keeps: fetched from the system in large pieces whose pages are all present at once. A page that
// appears only when it is first touched costs a fault, and a long run would pay one for every couple of dozen trades.
#pragma once

#include <cstddef>
#include <memory>

namespace vorbeld {

struct UnmapPages {
  std::size_t bytes = 0;
  void operator()(void* begin) const;
};

// Owns whole pages; null until made.
using FreshPages = std::unique_ptr<void, UnmapPages>;

// `bytes` of zeroed memory, aligned to a page. Throws std::bad_alloc when there is none.
FreshPages make_fresh_pages(std::size_t bytes);

}  // namespace vorbeld
