// The sequences that never copy, against a plain vector.
#include "common/containers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <utility>
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

struct Ranked {
  double rank;
  int id;
};

TEST(Growing, HasNoMemoryWhileEmpty) {
  const Growing<int> array;
  EXPECT_EQ(array.size, 0U);
  EXPECT_EQ(array.elements, nullptr);
  EXPECT_EQ(array.begin(), array.end());
}

TEST(Growing, KeepsElementsInTheirOrder) {
  Growing<Ranked> array;
  for (int i = 0; i < 100'000; ++i) append(array, {i / 2.0, i});
  ASSERT_EQ(array.size, 100'000U);
  ASSERT_EQ(array.end() - array.begin(), 100'000);
  int expected = 0;
  for (const Ranked& element : array) {
    ASSERT_EQ(element.id, expected);
    ASSERT_EQ(element.rank, expected / 2.0);
    ++expected;
  }
}

TEST(Growing, TakesALongTailBackOneByOne) {
  Growing<int> array;
  std::vector<int> model;
  for (int i = 0; i < 10'000; ++i) {
    if (i % 3 == 2) {
      --array.size;
      model.pop_back();
    } else {
      append(array, i);
      model.push_back(i);
    }
    ASSERT_EQ(array.size, model.size());
  }
  EXPECT_TRUE(std::equal(array.begin(), array.end(), model.begin(), model.end()));
}

TEST(Growing, IsEmptyAgainWhenReplacedByAFreshOne) {
  Growing<int> array;
  for (int i = 0; i < 50; ++i) append(array, i);
  array = {};
  EXPECT_EQ(array.size, 0U);
  append(array, 7);
  EXPECT_EQ(array.size, 1U);
  EXPECT_EQ(*array.begin(), 7);
}

}  // namespace
}  // namespace vorbeld
