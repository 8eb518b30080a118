// What is likely meant by names that the bench does not have.
#include "vorbelctl/audit/names.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "vorbelctl/audit/day.h"

namespace vorbelctl {
namespace {

std::string kind_meant(std::string_view event) {
  const vorbeld::KindRow* const row = near_kind(event);
  return row == nullptr ? "-" : std::string(row->name);
}

TEST(NearName, IsSpeltAlikeOrAShortForm) {
  struct Case {
    const char* name;
    const char* near;
  };
  for (const Case& each :
       {Case{"px", "price"}, Case{"qty", "quantity"}, Case{"tradeId", "trade_id"}, Case{"TRADE-ID", "trade_id"},
        Case{"prise", "price"}, Case{"settle", "settlement"}, Case{"desc", "description"},
        Case{"orig_trade_id", "original_id"}, Case{"saleCondition3", "sale_condition_3"}, Case{"trade.price", "price"},
        Case{"book.hi", "book.high"}, Case{"book.lastYield", "book.last_yield"}, Case{"recv_ns", ""},
        Case{"thread", ""}, Case{"book.vwap", ""}, Case{"colour", ""}, Case{"", ""}, Case{"x", ""}, Case{"...", ""}}) {
    EXPECT_EQ(near_name(each.name), each.near) << each.name;
  }
  EXPECT_EQ(near_name(std::string(100000, 'p')), "");
}

TEST(NearName, OfAKnownOneIsItself) {
  for (const std::string_view name : vorbeld::field_names) EXPECT_EQ(near_name(name), name);
  for (const std::string_view name : book_names) {
    const std::string in_book = std::string(book_prefix) + std::string(name);
    EXPECT_EQ(near_name(in_book), in_book);
  }
}

TEST(NearName, IsAlwaysAKnownOne) {
  for (const char* const name :
       {"px", "size", "volume", "amount", "exec", "exectime", "sale3", "sale4", "rpt", "contra", "at", "id",
        "origtradeid", "originaltradeid", "origid", "timestamp", "senttime", "msgtype"}) {
    const auto& fields = vorbeld::field_names;
    EXPECT_NE(std::find(fields.begin(), fields.end(), near_name(name)), fields.end()) << name;
  }
}

TEST(BookNames, AreAllThatCanBeCompared) {
  Reconciliation all;
  all.bonds["X"];
  Claims claims;
  for (const std::string_view name : book_names) claims.push_back({.name = std::string(name), .text = {}});
  compare_book(all, 1, "X", claims);
  EXPECT_TRUE(all.uncompared.empty());
  EXPECT_EQ(all.book_values, book_names.size());
}

TEST(NearKind, IsTheKindInOtherLetters) {
  struct Case {
    const char* event;
    const char* kind;
  };
  for (const Case& each : {Case{"TRADE", "trade"},
                           Case{"trades", "trade"},
                           Case{"T/M", "trade"},
                           Case{"TN", "cancel"},
                           Case{"Cancelled", "cancel"},
                           Case{"corection", "correction"},
                           Case{"correct", "correction"},
                           Case{"halted", "halt"},
                           Case{"C/Z", "control"},
                           Case{"summry", "summary"},
                           Case{"heartbeat", "-"},
                           Case{"gap", "-"},
                           Case{"end_of_session", "-"},
                           Case{"gap_closed", "-"},
                           Case{"joined", "-"},
                           Case{"missing", "-"},
                           Case{"book", "-"},
                           Case{"", "-"},
                           Case{"hb", "-"},
                           Case{"T/Q", "-"},
                           Case{"connected", "-"},
                           Case{"stats", "-"},
                           Case{"execution", "-"}}) {
    EXPECT_EQ(kind_meant(each.event), each.kind) << each.event;
  }
}

TEST(UncomparedText, SaysWhatMayBeMeant) {
  EXPECT_EQ(uncompared_text("px"), "px: not compared; did you mean price?");
  EXPECT_EQ(uncompared_text("recv_ns"), "recv_ns: not compared");
  EXPECT_EQ(uncompared_text("close"), "close: not compared in messages that have no such field");
  EXPECT_EQ(uncompared_text("\x1b"), "\\x1b: not compared");
}

}  // namespace
}  // namespace vorbelctl
