// A growing array that does not copy itself: past some hundred kilobytes the system moves its pages to the larger place
// instead. A doubling std::vector would stall single trades of a long run for the copy.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <new>
#include <type_traits>

namespace vorbeld {

struct FreeMemory {
  void operator()(void* begin) const { std::free(begin); }
};

// Elements are plain data; a pointer to one is valid until the next append.
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
