// Pages fetched from the system: zeroed, present, and given back.
#include "common/fresh_pages.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <limits>
#include <new>
#include <vector>

namespace vorbeld {
namespace {

std::size_t page_size() {
  return static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

TEST(FreshPages, AreZeroedAndAlignedToAPage) {
  const std::size_t bytes = 5 * page_size();
  const FreshPages pages = make_fresh_pages(bytes);
  ASSERT_NE(pages, nullptr);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(pages.get()) % page_size(), 0U);
  const char* const begin = static_cast<const char*>(pages.get());
  EXPECT_TRUE(std::all_of(begin, begin + bytes, [](char byte) { return byte == 0; }));
}

TEST(FreshPages, AreAllPresentBeforeTheyAreTouched) {
  constexpr std::size_t count = 64;
  const FreshPages pages = make_fresh_pages(count * page_size());
  std::vector<unsigned char> resident(count);
  ASSERT_EQ(mincore(pages.get(), count * page_size(), resident.data()), 0);
  EXPECT_TRUE(std::all_of(resident.begin(), resident.end(), [](unsigned char flags) { return (flags & 1U) != 0; }));
}

TEST(FreshPages, GoBackToTheSystem) {
  void* begin = nullptr;
  {
    const FreshPages pages = make_fresh_pages(3 * page_size());
    begin = pages.get();
  }
  std::vector<unsigned char> resident(3);
  EXPECT_EQ(mincore(begin, 3 * page_size(), resident.data()), -1);
  EXPECT_EQ(errno, ENOMEM);
}

TEST(FreshPages, ThrowWhenThereIsNoMemory) {
  EXPECT_THROW(make_fresh_pages(std::numeric_limits<std::size_t>::max() / 2), std::bad_alloc);
}

}  // namespace
}  // namespace vorbeld
