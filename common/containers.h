// What grows for as long as the run lasts: sequences that never copy what they hold, where a doubling std::vector would
// stall single trades of a long run for the copy.
#pragma once

#include <cassert>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <new>
#include <type_traits>
#include <vector>

namespace vorbeld {

// A sequence whose elements never move: fixed chunks of `ChunkLength` elements, a power of two, reached by index. The
// elements of a chunk are initialised together when its first is appended; an empty sequence owns no chunk.
template <class Element, std::size_t ChunkLength>
struct Chunked {
  static_assert((ChunkLength & (ChunkLength - 1)) == 0);

  std::vector<std::unique_ptr<Element[]>> chunks;
  std::size_t size = 0;

  Element& operator[](std::size_t index) {
    assert(index < size);
    return chunks[index / ChunkLength][index % ChunkLength];
  }
  const Element& operator[](std::size_t index) const {
    assert(index < size);
    return chunks[index / ChunkLength][index % ChunkLength];
  }
};

// Appends an element as its type initialises it and returns it; the reference stays valid as long as the sequence.
template <class Element, std::size_t ChunkLength>
Element& append(Chunked<Element, ChunkLength>& sequence) {
  if (sequence.size % ChunkLength == 0) sequence.chunks.push_back(std::make_unique<Element[]>(ChunkLength));
  return sequence[sequence.size++];
}

struct FreeMemory {
  void operator()(void* begin) const { std::free(begin); }
};

// An array that is not copied when it grows: past some hundred kilobytes the system moves its pages to the larger
// place. Elements are plain data; a pointer to one is valid until the next append.
template <class Element>
struct Growing {
  static_assert(std::is_trivially_copyable_v<Element>);

  std::unique_ptr<Element, FreeMemory> elements;  // null while there is no room
  std::size_t size = 0;
  std::size_t room = 0;  // elements that fit

  Element* begin() const { return elements.get(); }
  Element* end() const { return elements.get() + size; }
};

// Appends a copy of `element`. Throws std::bad_alloc when there is no memory.
template <class Element>
void append(Growing<Element>& array, const Element& element) {
  if (array.size == array.room) {
    const std::size_t room = array.room == 0 ? 4 : 2 * array.room;
    void* const moved = std::realloc(array.elements.get(), room * sizeof(Element));
    if (moved == nullptr) throw std::bad_alloc();
    static_cast<void>(array.elements.release());  // realloc has taken it over
    array.elements.reset(static_cast<Element*>(moved));
    array.room = room;
  }
  array.elements.get()[array.size++] = element;
}

}  // namespace vorbeld
