// The table behind decoding and listing: a row per field with its name, its place in the bytes and the member that it
// fills. Adding a field is adding a row; that the rows of a part leave no byte out is proved when compiling.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "btds/layout.h"
#include "vorbelctl/handler/message.h"

namespace vorbelctl {

// How the bytes of a field read.
enum class Form : std::uint8_t {
  blank,            // blanks only, nothing to keep
  character,        // one byte of `allowed`, or any where that is empty
  text,             // any bytes, padded with blanks on the right
  digits,           // digits throughout
  optional_digits,  // digits throughout, or blanks throughout
  price,            // decimal, not negative
  quantity,         // decimal, or 1MM+ / 5MM+ for more than that many millions
  yield             // a sign or blank and a decimal, or blanks throughout
};

template <class Record>
using Member = std::variant<std::monostate, char Record::*, std::string Record::*, double Record::*,
                            std::optional<double> Record::*>;

template <class Record>
struct Row {
  std::string_view name;
  vorbeld::Field at;  // within the message, or within the block where the record has one of its own
  Form form;
  Member<Record> member{};
  std::string_view allowed{};
};

// True when the rows cover the bytes from `begin` to `end` in order, without gap or overlap.
template <class Record, std::size_t Count>
constexpr bool gapless_rows(std::size_t begin, std::size_t end, const std::array<Row<Record>, Count>& rows) {
  for (const auto& row : rows) {
    if (row.at.offset != begin) return false;
    begin += row.at.width;
  }
  return begin == end;
}

namespace rows {

namespace layout = vorbeld::layout;
using enum Form;

inline constexpr std::array header{
    Row<Message>{"category", layout::header::category, character, &Message::category, "TAC"},
    Row<Message>{"type", layout::header::type, character, &Message::type, "MNOHEICXJZ"},
    Row<Message>{"trade_id", layout::header::trade_id, optional_digits, &Message::trade_id},
    Row<Message>{"origin", layout::header::origin, character, &Message::origin, "O"},
    Row<Message>{"sent_at", layout::header::sent_at, digits, &Message::sent_at},
};
static_assert(gapless_rows(0, layout::header::length, header));

inline constexpr std::array bond{
    Row<Message>{"symbol", layout::bond::symbol, text, &Message::symbol},
    Row<Message>{"cusip", layout::bond::cusip, text, &Message::cusip},
    Row<Message>{"short_name", layout::bond::short_name, text, &Message::short_name},
    Row<Message>{"sub_product", layout::bond::sub_product, text, &Message::sub_product},
};
static_assert(gapless_rows(layout::header::length, layout::bond::end, bond));

namespace body = layout::trade_body;
inline constexpr std::array terms{
    Row<TradeTerms>{"quantity_indicator", body::quantity_indicator, character, &TradeTerms::quantity_indicator, "AE"},
    Row<TradeTerms>{"quantity", body::quantity, quantity, &TradeTerms::quantity},
    Row<TradeTerms>{"price", body::price, price, &TradeTerms::price},
    Row<TradeTerms>{"remuneration", body::remuneration, character, &TradeTerms::remuneration, "MCN "},
    Row<TradeTerms>{"special", body::special, character, &TradeTerms::special, "Y "},
    Row<TradeTerms>{"side", body::side, character, &TradeTerms::side},
    Row<TradeTerms>{"as_of", body::as_of, character, &TradeTerms::as_of, "AR "},
    Row<TradeTerms>{"executed_at", body::executed_at, digits, &TradeTerms::executed_at},
    Row<TradeTerms>{"reserved", body::reserved, blank},
    Row<TradeTerms>{"sale_condition_3", body::sale_condition_3, character, &TradeTerms::sale_condition_3, "ZT "},
    Row<TradeTerms>{"sale_condition_4", body::sale_condition_4, character, &TradeTerms::sale_condition_4, "W "},
    Row<TradeTerms>{"settlement", body::settlement, digits, &TradeTerms::settlement},
    Row<TradeTerms>{"yield", body::yield, yield, &TradeTerms::yield},
    Row<TradeTerms>{"second_modifier", body::second_modifier, character, &TradeTerms::second_modifier},
    Row<TradeTerms>{"reporting_party", body::reporting_party, character, &TradeTerms::reporting_party, "DT"},
    Row<TradeTerms>{"contra_party", body::contra_party, character, &TradeTerms::contra_party, "CAD"},
    Row<TradeTerms>{"ats", body::ats, character, &TradeTerms::ats, "Y "},
};
static_assert(gapless_rows(0, body::length, terms));

inline constexpr std::string_view change_digits = "01234567";
inline constexpr std::array price_change{
    Row<DayPrices>{"high", layout::price_change::high, price, &DayPrices::high},
    Row<DayPrices>{"high_yield", layout::price_change::high_yield, yield, &DayPrices::high_yield},
    Row<DayPrices>{"low", layout::price_change::low, price, &DayPrices::low},
    Row<DayPrices>{"low_yield", layout::price_change::low_yield, yield, &DayPrices::low_yield},
    Row<DayPrices>{"last", layout::price_change::last, price, &DayPrices::last},
    Row<DayPrices>{"last_yield", layout::price_change::last_yield, yield, &DayPrices::last_yield},
    Row<DayPrices>{"change", layout::price_change::change, character, &DayPrices::change, change_digits},
};
static_assert(gapless_rows(0, layout::price_change::length, price_change));

inline constexpr std::array reversed{
    Row<Message>{"reversed_date", layout::trade::reversed_date, optional_digits, &Message::reversed_date},
};
static_assert(gapless_rows(layout::bond::end, layout::trade::body.offset, reversed));

inline constexpr std::array trade_change{
    Row<DayPrices>{"change", layout::trade::change, character, &DayPrices::change, change_digits},
};
static_assert(gapless_rows(layout::trade::change.offset, layout::trade::length, trade_change));

inline constexpr std::array cancelled{
    Row<Message>{"original_date", layout::cancel::original_date, digits, &Message::original_date},
    Row<Message>{"original_id", layout::cancel::original_id, digits, &Message::original_id},
    Row<Message>{"function", layout::cancel::function, character, &Message::function, "C"},
};
static_assert(gapless_rows(layout::bond::end, layout::cancel::original_body.offset, cancelled));

inline constexpr std::array corrected{
    Row<Message>{"original_date", layout::correction::original_date, digits, &Message::original_date},
    Row<Message>{"original_id", layout::correction::original_id, digits, &Message::original_id},
    Row<Message>{"function", layout::correction::function, character, &Message::function, "N"},
};
static_assert(gapless_rows(layout::bond::end, layout::correction::original_body.offset, corrected));

inline constexpr std::array halt{
    Row<Message>{"description", layout::halt::description, text, &Message::description},
    Row<Message>{"action", layout::halt::action, character, &Message::action, "HR"},
    Row<Message>{"action_at", layout::halt::action_at, digits, &Message::action_at},
    Row<Message>{"reason", layout::halt::reason, text, &Message::reason},
};
static_assert(gapless_rows(layout::bond::end, layout::halt::length, halt));

inline constexpr std::array summary{
    Row<DayPrices>{"reserved", layout::summary::reserved, blank},
    Row<DayPrices>{"high", layout::summary::high, price, &DayPrices::high},
    Row<DayPrices>{"high_yield", layout::summary::high_yield, yield, &DayPrices::high_yield},
    Row<DayPrices>{"low", layout::summary::low, price, &DayPrices::low},
    Row<DayPrices>{"low_yield", layout::summary::low_yield, yield, &DayPrices::low_yield},
    Row<DayPrices>{"close", layout::summary::close, price, &DayPrices::last},
    Row<DayPrices>{"close_yield", layout::summary::close_yield, yield, &DayPrices::last_yield},
};
static_assert(gapless_rows(layout::bond::end, layout::summary::length, summary));

}  // namespace rows
}  // namespace vorbelctl
