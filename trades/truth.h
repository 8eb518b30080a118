// The truth file: one JSON record per disseminated message under its sequence number, and the marks of the control
// port, each a line of its own. Here is what records share; each sender adds the rest of its own.
#pragma once

#include <cstdint>
#include <string_view>

#include "trades/bond.h"
#include "trades/engine.h"
#include "trades/trade_index.h"

namespace vorbeld {

// Makes `line` the beginning of a record: {"seq":N,"cat":"<category>","type":"<type>","event":"<event>" without the
// closing brace.
void start_truth(TextLine& line, std::uint64_t sequence, char category, char type, std::string_view event);

// Appends ,"cusip":...,"ats":"." : the terms of a trade, its characters and times as they stand in its body.
void append_trade_members(TextLine& line, const Bond& bond, std::uint64_t trade_id, const TradeRecord& record);

// Appends ,"orig_trade_id":...,"function":"f","change":"c" of a cancel or correction of trade `original_id`.
void append_amendment_members(TextLine& line, std::uint64_t original_id, char function, char change);

// Appends ,"summary":{...}: the bond's book as it is now.
void append_summary_member(TextLine& line, const Bond& bond);

// Closes the record in `engine.line` with a brace and writes it, unless the file takes no lines.
void finish_truth(Engine& engine);

// Writes a mark: a label of the test harness, and the last sequence number sent when it was set.
void write_mark(Engine& engine, std::string_view label, std::uint64_t sequence);

}  // namespace vorbeld
