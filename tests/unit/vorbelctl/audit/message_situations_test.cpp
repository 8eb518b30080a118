// What messages put a receiver through: each record and book made up here meets what it is, and nothing else.
#include "vorbelctl/audit/message_situations.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>

namespace vorbelctl {
namespace {

using Names = std::vector<std::string>;

// A bond that messages are taken into, one after the other.
struct BondStory {
  Book book;
  Situations situations;
  std::deque<std::string> texts;  // that the cells show
  std::uint64_t sequence = 0;
};

Names met(const BondStory& story) {
  Names names;
  for (const SituationRow& row : all_situations()) {
    if (met_of(story.situations, row.situation).count != 0) names.emplace_back(row.name);
  }
  return names;
}

Cell said(BondStory& story, const std::string& text) {
  return {story.texts.emplace_back(text), 0, true};
}

TruthRecord record_of(Kind kind, char type = ' ') {
  TruthRecord record;
  record.row = &vorbeld::row_of(kind);
  record.type = type;
  return record;
}

// Takes the message in and looks at what it was.
void take(BondStory& story, const TruthRecord& record, const Message& message) {
  const BookBefore before = book_before(story.book);
  count_message(story.book, message);
  const bool of_bond = record.row->kind != Kind::control;
  meet_message(story.situations, {++story.sequence, record, message, of_bond ? &story.book : nullptr, before});
}

// Fills the terms of a last sale.
void put_terms(BondStory& story, Message& message, const PrintFields& terms, double price, const std::string& at) {
  for (const FieldId blank : {terms.as_of, terms.special, terms.sale_condition_3, terms.sale_condition_4}) {
    cell(message, blank) = said(story, " ");
  }
  cell(message, terms.price) = {{}, price, true};
  cell(message, terms.yield) = {{}, 4, true};
  cell(message, terms.executed_at) = said(story, at);
}

TruthRecord plain_trade() {
  TruthRecord record = record_of(Kind::trade);
  record.cells[RecordId("yield").id].said = true;
  return record;
}

// A trade whose id is its number in the story.
void print(BondStory& story, double price, const std::string& at = "20240701120000") {
  Message message;
  message.row = &vorbeld::row_of(Kind::trade);
  put_terms(story, message, own_terms, price, at);
  cell(message, "trade_id") = said(story, std::to_string(story.sequence + 1));
  take(story, plain_trade(), message);
}

// A cancel of the trade with that id and price, or its correction to another price.
void amend(BondStory& story, Kind kind, std::uint64_t id, double price, double corrected = 0,
           const std::string& at = "20240701120000", const std::string& as_of = " ") {
  Message message;
  message.row = &vorbeld::row_of(kind);
  put_terms(story, message, original_terms, price, at);
  cell(message, "original_id") = said(story, std::to_string(id));
  cell(message, original_terms.as_of) = said(story, as_of);
  if (kind == Kind::correction) {
    put_terms(story, message, own_terms, corrected, at);
    cell(message, "trade_id") = said(story, std::to_string(story.sequence + 1));
  }
  take(story, record_of(kind), message);
}

void send(BondStory& story, const TruthRecord& record) {
  Message message;
  message.row = record.row;
  take(story, record, message);
}

// The story of three prints, of which the first is low, the second high and the third last.
BondStory three_prints() {
  BondStory story;
  print(story, 98);
  print(story, 101);
  print(story, 99, "20240701120001");
  story.situations = {};
  return story;
}

Names after_amending(Kind kind, std::uint64_t id, double price, double corrected = 0,
                     const std::string& at = "20240701120000") {
  BondStory story = three_prints();
  amend(story, kind, id, price, corrected, at);
  return met(story);
}

TEST(MessageSituations, KnowEveryControlMessage) {
  for (const char type : std::string("IOCXJZ")) {
    BondStory story;
    send(story, record_of(Kind::control, type));
    EXPECT_EQ(met(story), Names{std::string("control-") + type});
  }
}

TEST(MessageSituations, KnowASummary) {
  BondStory story;
  send(story, record_of(Kind::summary, 'E'));
  EXPECT_EQ(met(story), Names{"summary"});
}

TEST(MessageSituations, KnowHaltAndResumeOfBondsThatTradedAndDidNot) {
  BondStory story;
  TruthRecord record = record_of(Kind::halt, 'H');
  for (const char* const action : {"H", "R"}) {
    record.cells[RecordId("action").id] = said(story, action);
    send(story, record);
  }
  EXPECT_EQ(met(story), (Names{"halt", "resume", "halt-untraded", "resume-untraded"}));
  print(story, 98);
  story.situations = {};
  for (const char* const action : {"H", "R"}) {
    record.cells[RecordId("action").id] = said(story, action);
    send(story, record);
  }
  EXPECT_EQ(met(story), (Names{"halt", "resume", "halt-traded", "resume-traded"}));
}

struct Flavour {
  RecordId field;
  const char* value;
  const char* name;
};

TEST(MessageSituations, KnowEachFlavourOfATrade) {
  for (const Flavour& flavour :
       {Flavour{"as_of", "A", "as-of"}, Flavour{"as_of", "R", "reversal"}, Flavour{"special", "Y", "special-price"},
        Flavour{"sale_condition_3", "Z", "late-sale"}, Flavour{"sale_condition_3", "T", "after-hours"},
        Flavour{"sale_condition_4", "W", "weighted-average"}, Flavour{"ats", "Y", "ats"}}) {
    BondStory story;
    TruthRecord record = plain_trade();
    record.cells[flavour.field.id] = said(story, flavour.value);
    send(story, record);
    EXPECT_EQ(met(story), (Names{"trade", flavour.name}));
  }
}

TEST(MessageSituations, KnowNothingButATradeInAPlainOne) {
  BondStory story;
  print(story, 98);
  EXPECT_EQ(met(story), Names{"trade"});
}

TEST(MessageSituations, KnowCappedQuantitiesByTheirCap) {
  for (const bool high_yield : {false, true}) {
    BondStory story;
    TruthRecord record = plain_trade();
    record.cells[RecordId("quantity_indicator").id] = said(story, "E");
    record.cells[RecordId("quantity").id] = {{}, high_yield ? 1e6 : 5e6, true};
    send(story, record);
    EXPECT_EQ(met(story), (Names{"trade", high_yield ? "capped-high-yield" : "capped-investment-grade"}));
  }
}

TEST(MessageSituations, KnowATradeWithoutYield) {
  BondStory story;
  send(story, record_of(Kind::trade));
  EXPECT_EQ(met(story), (Names{"trade", "yield-absent"}));
}

TEST(MessageSituations, KnowWhatACancelMoves) {
  EXPECT_EQ(after_amending(Kind::cancel, 2, 101), (Names{"cancel", "cancel-high"}));
  EXPECT_EQ(after_amending(Kind::cancel, 1, 98), (Names{"cancel", "cancel-low"}));
  EXPECT_EQ(after_amending(Kind::cancel, 3, 99, 0, "20240701120001"), (Names{"cancel", "cancel-last"}));
}

TEST(MessageSituations, KnowWhatACorrectionMoves) {
  EXPECT_EQ(after_amending(Kind::correction, 2, 101, 100), (Names{"correction", "correction-high"}));
  EXPECT_EQ(after_amending(Kind::correction, 1, 98, 98.5), (Names{"correction", "correction-low"}));
  EXPECT_EQ(after_amending(Kind::correction, 3, 99, 99.5, "20240701120001"), (Names{"correction", "correction-last"}));
  EXPECT_EQ(after_amending(Kind::correction, 2, 101, 101), Names{"correction"}) << "nothing moves";
}

TEST(MessageSituations, KnowNoHighWhereAnotherPrintIsAsHigh) {
  BondStory story = three_prints();
  print(story, 101);
  story.situations = {};
  amend(story, Kind::cancel, 2, 101);
  EXPECT_EQ(met(story), Names{"cancel"});
}

TEST(MessageSituations, KnowTheOnlyPrint) {
  BondStory story;
  print(story, 98);
  story.situations = {};
  amend(story, Kind::correction, 1, 98, 97);
  EXPECT_EQ(met(story), (Names{"correction", "correction-only"}));
  story.situations = {};
  amend(story, Kind::cancel, 2, 97);
  EXPECT_EQ(met(story), (Names{"cancel", "yield-absent", "cancel-only"}));
}

TEST(MessageSituations, KnowAmendmentsOfAnEarlierDaysTrade) {
  for (const char* const as_of : {"A", "R"}) {
    BondStory story = three_prints();
    amend(story, Kind::cancel, 9, 101, 0, "20240630120000", as_of);
    EXPECT_EQ(met(story), (Names{"cancel", "cancel-earlier-day"}));
    story = three_prints();
    amend(story, Kind::correction, 9, 98, 98.5, "20240630120000", as_of);
    EXPECT_EQ(met(story), (Names{"correction", "correction-earlier-day"}));
  }
}

}  // namespace
}  // namespace vorbelctl
