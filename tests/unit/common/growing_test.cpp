// The growing array against a plain vector.
#include "common/growing.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <utility>
#include <vector>

namespace vorbeld {
namespace {

struct Element {
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
  Growing<Element> array;
  for (int i = 0; i < 100'000; ++i) append(array, {i / 2.0, i});
  ASSERT_EQ(array.size, 100'000U);
  ASSERT_EQ(array.end() - array.begin(), 100'000);
  int expected = 0;
  for (const Element& element : array) {
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
