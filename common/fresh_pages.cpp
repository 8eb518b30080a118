#include "common/fresh_pages.h"

#include <sys/mman.h>

#include <new>

namespace vorbeld {

void UnmapPages::operator()(void* begin) const {
  munmap(begin, bytes);
}

FreshPages make_fresh_pages(std::size_t bytes) {
  void* const begin = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_POPULATE, -1, 0);
  if (begin == MAP_FAILED) throw std::bad_alloc();
  return {begin, UnmapPages{bytes}};
}

}  // namespace vorbeld
