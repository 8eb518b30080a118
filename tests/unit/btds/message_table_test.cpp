// The table of messages against what is known of the layouts: kinds, lengths, names, places and groups.
#include "btds/message_table.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace vorbeld {
namespace {

// The names of a kind's fields in a group, in the order of the bytes: "name name ".
std::string names_of(Kind kind, Group group) {
  std::string names;
  for (const MessageField& field : row_of(kind).fields) {
    if (field.group == group) names += std::string(field.name) + " ";
  }
  return names;
}

const MessageField& field_of(Kind kind, std::string_view name) {
  const auto fields = row_of(kind).fields;
  const auto found = std::find_if(fields.begin(), fields.end(), [&](const auto& field) { return field.name == name; });
  EXPECT_NE(found, fields.end()) << name;
  return *found;
}

// "offset+width".
std::string place_of(Kind kind, std::string_view name) {
  const Field at = field_of(kind, name).at;
  return std::to_string(at.offset) + "+" + std::to_string(at.width);
}

TEST(Kinds, HaveTheirNamesTypesAndLengths) {
  struct Row {
    Kind kind;
    const char* name;
    char category;
    const char* types;
    std::size_t length;
  };
  const Row rows[] = {{Kind::trade, "trade", 'T', "M", 147},           {Kind::cancel, "cancel", 'T', "N", 230},
                      {Kind::correction, "correction", 'T', "O", 304}, {Kind::halt, "halt", 'A', "H", 113},
                      {Kind::summary, "summary", 'A', "E", 140},       {Kind::control, "control", 'C', "IOCXJZ", 24}};
  EXPECT_EQ(message_kinds.size(), std::size(rows));
  for (const Row& row : rows) {
    EXPECT_EQ(row_of(row.kind).kind, row.kind);
    EXPECT_EQ(row_of(row.kind).name, row.name);
    EXPECT_EQ(row_of(row.kind).category, row.category) << row.name;
    EXPECT_EQ(row_of(row.kind).types, row.types) << row.name;
    EXPECT_EQ(row_of(row.kind).length, row.length) << row.name;
    EXPECT_EQ(type_of(row.kind), row.types[0]) << row.name;
  }
}

TEST(Kinds, AreToldApartByCategoryAndType) {
  std::set<std::string> seen;
  for (const KindRow& row : message_kinds) {
    for (const char type : row.types) EXPECT_TRUE(seen.insert({row.category, type}).second) << row.name << type;
  }
}

TEST(Kinds, HaveTypesThatTheHeaderKnows) {
  for (const KindRow& row : message_kinds) {
    EXPECT_NE(field_of(row.kind, "category").codes.find(row.category), std::string_view::npos) << row.name;
    for (const char type : row.types) EXPECT_NE(field_of(row.kind, "type").codes.find(type), std::string_view::npos);
  }
}

TEST(Fields, CoverTheirMessageWithoutGapOrOverlap) {
  for (const KindRow& row : message_kinds) {
    std::vector<int> covered(row.length, 0);
    for (const MessageField& field : row.fields) {
      ASSERT_LE(field.at.offset + field.at.width, row.length) << field.name;
      for (std::size_t i = 0; i < field.at.width; ++i) ++covered[field.at.offset + i];
    }
    EXPECT_EQ(covered, std::vector<int>(row.length, 1)) << row.name;
  }
}

TEST(Fields, HaveNamesThatAreUniqueInTheirKind) {
  for (const KindRow& row : message_kinds) {
    std::set<std::string_view> names;
    for (const MessageField& field : row.fields) EXPECT_TRUE(names.insert(field.name).second) << field.name;
  }
}

TEST(Fields, OfOneNameHaveOneIdAndOneFormInAllKinds) {
  std::map<std::string_view, const MessageField*> known;
  for (const KindRow& row : message_kinds) {
    for (const MessageField& field : row.fields) {
      ASSERT_LT(field.id, field_names.size());
      EXPECT_EQ(field_names[field.id], field.name);
      const auto [first, is_new] = known.emplace(field.name, &field);
      EXPECT_EQ(field.form, first->second->form) << field.name;
      if (field.form == Form::blank) continue;
      EXPECT_EQ(field.at.width, first->second->at.width) << field.name;
    }
  }
  EXPECT_EQ(known.size(), field_names.size());
}

TEST(Fields, StandWhereReceiversLookForThem) {
  EXPECT_EQ(place_of(Kind::control, "trade_id"), "2+7");
  EXPECT_EQ(place_of(Kind::control, "sent_at"), "10+14");
  EXPECT_EQ(place_of(Kind::trade, "cusip"), "38+9");
  EXPECT_EQ(place_of(Kind::trade, "reversed_date"), "64+8");
  EXPECT_EQ(place_of(Kind::trade, "price"), "87+11");
  EXPECT_EQ(place_of(Kind::trade, "ats"), "145+1");
  EXPECT_EQ(place_of(Kind::trade, "change"), "146+1");
  EXPECT_EQ(place_of(Kind::cancel, "original_id"), "72+7");
  EXPECT_EQ(place_of(Kind::cancel, "original_price"), "95+11");
  EXPECT_EQ(place_of(Kind::cancel, "last_yield"), "215+14");
  EXPECT_EQ(place_of(Kind::correction, "original_yield"), "136+14");
  EXPECT_EQ(place_of(Kind::correction, "quantity"), "155+14");
  EXPECT_EQ(place_of(Kind::correction, "change"), "303+1");
  EXPECT_EQ(place_of(Kind::halt, "reason"), "109+4");
  EXPECT_EQ(place_of(Kind::summary, "close"), "115+11");
}

constexpr const char* header_names = "category type trade_id origin sent_at ";
constexpr const char* bond_names = "symbol cusip short_name sub_product ";
constexpr const char* terms_names =
    "quantity_indicator quantity price remuneration special side as_of executed_at reserved sale_condition_3 "
    "sale_condition_4 settlement yield second_modifier reporting_party contra_party ats ";
constexpr const char* day_names = "high high_yield low low_yield last last_yield change ";

TEST(Groups, HoldTheFieldsOfEachSubject) {
  for (const KindRow& row : message_kinds) {
    EXPECT_EQ(names_of(row.kind, Group::header), header_names) << row.name;
    EXPECT_EQ(names_of(row.kind, Group::bond), row.kind == Kind::control ? "" : bond_names) << row.name;
    const bool brings_terms = row.kind == Kind::trade || row.kind == Kind::correction;
    EXPECT_EQ(names_of(row.kind, Group::terms), brings_terms ? terms_names : "") << row.name;
  }
  EXPECT_EQ(names_of(Kind::trade, Group::reference), "reversed_date ");
  EXPECT_EQ(names_of(Kind::cancel, Group::reference), "original_date original_id function ");
  EXPECT_EQ(names_of(Kind::correction, Group::reference), "original_date original_id function ");
  EXPECT_EQ(names_of(Kind::trade, Group::day), "change ");
  EXPECT_EQ(names_of(Kind::cancel, Group::day), day_names);
  EXPECT_EQ(names_of(Kind::correction, Group::day), day_names);
  EXPECT_EQ(names_of(Kind::halt, Group::halt), "description action action_at reason ");
  EXPECT_EQ(names_of(Kind::summary, Group::day), "reserved high high_yield low low_yield close close_yield ");
}

TEST(Groups, OfTheOriginalHaveTheSameTermsWithAPrefix) {
  std::string prefixed;
  std::istringstream names(terms_names);
  for (std::string name; names >> name;) prefixed += "original_" + name + " ";
  EXPECT_EQ(names_of(Kind::cancel, Group::original_terms), prefixed);
  EXPECT_EQ(names_of(Kind::correction, Group::original_terms), prefixed);
  EXPECT_EQ(names_of(Kind::trade, Group::original_terms), "");
}

TEST(Codes, AreThoseOfTheFeed) {
  EXPECT_EQ(field_of(Kind::trade, "quantity_indicator").codes, "AE");
  EXPECT_EQ(field_of(Kind::trade, "remuneration").codes, "MCN ");
  EXPECT_EQ(field_of(Kind::trade, "as_of").codes, "AR ");
  EXPECT_EQ(field_of(Kind::trade, "sale_condition_3").codes, "ZT ");
  EXPECT_EQ(field_of(Kind::trade, "contra_party").codes, "CAD");
  EXPECT_EQ(field_of(Kind::trade, "side").codes, "") << "any byte";
  EXPECT_EQ(field_of(Kind::cancel, "function").codes, "C");
  EXPECT_EQ(field_of(Kind::correction, "function").codes, "N");
  EXPECT_EQ(field_of(Kind::halt, "action").codes, "HR");
}

TEST(FieldId, IsThePlaceOfTheName) {
  EXPECT_EQ(field_names[FieldId("price").id], "price");
  EXPECT_EQ(field_names[FieldId("original_price").id], "original_price");
  EXPECT_EQ(message_table::id_of("no such name"), field_names.size());
}

TEST(Kinds, TellOfTheDayButForHaltsAndControlMessages) {
  for (const KindRow& row : message_kinds) {
    EXPECT_EQ(tells_of_day(row), row.kind != Kind::halt && row.kind != Kind::control) << row.name;
  }
}

}  // namespace
}  // namespace vorbeld
