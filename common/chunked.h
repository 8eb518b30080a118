// A growing sequence whose elements never move and whose growth never copies: fixed chunks, reached by index. A long
// run appends for hours, and a doubling array would stall it for the copy and hold the memory twice meanwhile.
#pragma once

#include <cassert>
#include <cstddef>
#include <new>
#include <type_traits>
#include <vector>

#include "common/fresh_pages.h"

namespace vorbeld {

// `ChunkLength` elements a chunk, a power of two. An empty sequence owns no chunk. The elements are plain records that
// need no destruction.
template <class Element, std::size_t ChunkLength>
struct Chunked {
  static_assert((ChunkLength & (ChunkLength - 1)) == 0);
  static_assert(std::is_trivially_destructible_v<Element>);

  std::vector<FreshPages> chunks;
  std::size_t size = 0;

  Element& operator[](std::size_t index) {
    assert(index < size);
    return static_cast<Element*>(chunks[index / ChunkLength].get())[index % ChunkLength];
  }
  const Element& operator[](std::size_t index) const {
    assert(index < size);
    return static_cast<const Element*>(chunks[index / ChunkLength].get())[index % ChunkLength];
  }
};

// Appends a default-initialised element and returns it; the reference stays valid as long as the sequence.
template <class Element, std::size_t ChunkLength>
Element& append(Chunked<Element, ChunkLength>& sequence) {
  if (sequence.size % ChunkLength == 0) sequence.chunks.push_back(make_fresh_pages(ChunkLength * sizeof(Element)));
  return *new (&sequence[sequence.size++]) Element{};
}

}  // namespace vorbeld
