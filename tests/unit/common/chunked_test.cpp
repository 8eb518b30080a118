// The chunked sequence against a plain vector.
#include "common/chunked.h"

#include <gtest/gtest.h>

#include <vector>

namespace vorbeld {
namespace {

struct Element {
  int number = 7;
  char letter = 'x';
};

TEST(Chunked, OwnsNoChunkWhileEmpty) {
  const Chunked<Element, 4> sequence;
  EXPECT_EQ(sequence.size, 0U);
  EXPECT_TRUE(sequence.chunks.empty());
}

TEST(Chunked, AppendsElementsAsTheirTypeInitialisesThem) {
  Chunked<Element, 4> sequence;
  for (int i = 0; i < 9; ++i) {
    const Element& added = append(sequence);
    EXPECT_EQ(added.number, 7);
    EXPECT_EQ(added.letter, 'x');
  }
}

TEST(Chunked, GivesBackWhatWasPutAtEachIndex) {
  Chunked<int, 8> sequence;
  std::vector<int> model;
  for (int i = 0; i < 100; ++i) {
    append(sequence) = i * i;
    model.push_back(i * i);
    ASSERT_EQ(sequence.size, model.size());
  }
  for (std::size_t i = 0; i < model.size(); ++i) EXPECT_EQ(sequence[i], model[i]) << i;
}

TEST(Chunked, TakesANewChunkOnlyWhenTheLastIsFull) {
  Chunked<int, 4> sequence;
  for (std::size_t size = 1; size <= 13; ++size) {
    append(sequence);
    EXPECT_EQ(sequence.chunks.size(), (size + 3) / 4);
  }
}

TEST(Chunked, NeverMovesAnElement) {
  Chunked<int, 2> sequence;
  std::vector<const int*> addresses(1000);
  for (const int*& address : addresses) address = &append(sequence);
  for (std::size_t i = 0; i < addresses.size(); ++i) EXPECT_EQ(&sequence[i], addresses[i]) << i;
}

}  // namespace
}  // namespace vorbeld
