// The names by which a handler may write down fields, books and events, and what is likely meant by one that is none of
// them. Owns no values: what stands under a name is compared elsewhere.
#pragma once

#include <array>
#include <span>
#include <string>
#include <string_view>

#include "btds/message_table.h"

namespace vorbelctl {

// What a handler may say of a book, each name behind the prefix.
inline constexpr std::string_view book_prefix = "book.";
inline constexpr std::array<std::string_view, 11> book_names{
    "high", "low", "last", "high_yield", "low_yield", "last_yield", "prints", "traded", "halted", "cusip", "symbol"};

// The closest of the names, in whatever case and with whatever between the letters; empty where none is close.
std::string_view closest_name(std::string_view name, std::span<const std::string_view> names);

// The known name that is closest to `name`: spelt alike, a common short form of it, or the name of the same thing in
// the bench's files. Empty where none is close. A name that begins with "book." gives one that does.
std::string near_name(std::string_view name);

// The kind of message that is likely meant by an event that is none: in other letters, in the plural, by its category
// and type. Null where none is.
const vorbeld::KindRow* near_kind(std::string_view event);

// "px: not compared; did you mean price?"
std::string uncompared_text(std::string_view name);

}  // namespace vorbelctl
