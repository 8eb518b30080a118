// Tables keyed by text and asked with views.
#include "common/text_hash.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace vorbeld {
namespace {

TEST(TextMap, FindsByAViewWhatWasPutUnderAString) {
  TextMap<int> map;
  map[std::string("037833DT4")] = 1;
  map[std::string()] = 2;
  const std::string_view line = "T|037833DT4|X";
  ASSERT_NE(map.find(line.substr(2, 9)), map.end());
  EXPECT_EQ(map.find(line.substr(2, 9))->second, 1);
  ASSERT_NE(map.find(std::string_view()), map.end());
  EXPECT_EQ(map.find(std::string_view())->second, 2);
  EXPECT_EQ(map.find(line.substr(2, 8)), map.end());
}

TEST(TextMap, TellsTextsApartBehindAZeroByte) {
  TextMap<int> map;
  map[std::string("a\0b", 3)] = 1;
  map[std::string("a\0c", 3)] = 2;
  EXPECT_EQ(map.size(), 2U);
  EXPECT_EQ(map.find(std::string_view("a\0c", 3))->second, 2);
}

}  // namespace
}  // namespace vorbeld
