// Control messages, halts and daily summaries, compared with bytes worked out by hand.
#include "btds/messages.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/unit/btds/reference_time.h"

namespace vorbeld {
namespace {

template <std::size_t Length>
std::string text_of(const std::array<char, Length>& message) {
  return {message.data(), message.size()};
}

std::int64_t noon() {
  return utc_seconds(2024, 7, 1, 16);
}

BondNames apple() {
  return {"AAPL 3.85 43", "037833DT4", "AAPL", "CORP", "AAPL 3.85 05/04/43"};
}

TEST(Control, IsAHeaderAndNothingElse) {
  EXPECT_EQ(text_of(encode_control('I', noon())), "CI       O20240701120000");
  EXPECT_EQ(text_of(encode_control('Z', noon())), "CZ       O20240701120000");
}

TEST(Halt, PutsEachFieldWhereReceiversLookForIt) {
  EXPECT_EQ(text_of(encode_halt(apple(), 'H', "T.1", noon())),
            "AH       O20240701120000"
            "AAPL 3.85 43  "
            "037833DT4"
            "AAPL        "
            "CORP "
            "AAPL 3.85 05/04/43            "
            "H"
            "20240701120000"
            "T.1 ");
}

TEST(Halt, OfAResumeDiffersInActionAndReason) {
  const std::string halt = text_of(encode_halt(apple(), 'H', "T.1", noon()));
  const std::string resume = text_of(encode_halt(apple(), 'R', "T.2", noon()));
  EXPECT_EQ(resume, std::string(halt).replace(94, 1, "R").replace(109, 4, "T.2 "));
}

TEST(Halt, CutsTextsAtTheirWidths) {
  const BondNames names{"a symbol that is long", "0378331234567", "a long short name", "CORPORATE",
                        "a description of more than thirty characters"};
  EXPECT_EQ(text_of(encode_halt(names, 'H', "LUDP-X", noon())),
            "AH       O20240701120000"
            "a symbol that "
            "037833123"
            "a long short"
            "CORPO"
            "a description of more than thi"
            "H"
            "20240701120000"
            "LUDP");
}

TEST(Halt, KeepsAnEmptyReasonBlank) {
  EXPECT_EQ(text_of(encode_halt(apple(), 'H', "", noon())).substr(109), "    ");
}

TEST(Summary, PutsEachFieldWhereReceiversLookForIt) {
  const DayPrices prices{true, 101.5, 4.25, 99.25, -0.5, 100.125, 3.125};
  EXPECT_EQ(text_of(encode_summary(apple(), prices, noon())),
            "AE       O20240701120000"
            "AAPL 3.85 43  "
            "037833DT4"
            "AAPL        "
            "CORP "
            " "
            "0101.500000"
            " 000004.250000"
            "0099.250000"
            "-000000.500000"
            "0100.125000"
            " 000003.125000");
}

TEST(Summary, HasNoYieldsWithoutATrade) {
  EXPECT_EQ(text_of(encode_summary(apple(), {}, noon())).substr(64),
            " "
            "0000.000000"
            "              "
            "0000.000000"
            "              "
            "0000.000000"
            "              ");
}

TEST(Summary, WritesNegativePricesAsZero) {
  const DayPrices prices{true, -1, 0, -2, 0, -1.5, 0};
  EXPECT_EQ(text_of(encode_summary(apple(), prices, noon())).substr(65),
            "0000.000000"
            " 000000.000000"
            "0000.000000"
            " 000000.000000"
            "0000.000000"
            " 000000.000000");
}

// A message is as long as its table says, whatever it holds.
TEST(Messages, HaveTheLengthsOfTheirTables) {
  EXPECT_EQ(encode_control('C', noon()).size(), 24U);
  EXPECT_EQ(encode_halt(apple(), 'H', "", noon()).size(), 113U);
  EXPECT_EQ(encode_summary(apple(), {}, noon()).size(), 140U);
}

}  // namespace
}  // namespace vorbeld
