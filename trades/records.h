// What is written of every message: the truth file, one JSON record per message under its sequence number, and the
// tape, one JSON line per trade with its economics, parties and timing. Here are the pieces that the records of several
// messages share, and the marks of the control port; each sender adds to its truth record what is its own.
#pragma once

#include <cstdint>
#include <string_view>

#include "btds/message_table.h"
#include "common/text_line.h"
#include "trades/bonds.h"
#include "trades/engine.h"
#include "trades/trade_index.h"

namespace vorbeld {

// Makes `line` the beginning of a record: {"seq":N,"cat":"<category>","type":"<type>","event":"<name of the kind>"
// without the closing brace. `type` is type_of(kind), or the code of a control message.
void start_truth(TextLine& line, std::uint64_t sequence, Kind kind, char type);

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

// Writes the tape line of a trade sent under `sequence`; does nothing while the tape takes no lines.
void write_tape(Engine& engine, std::uint64_t sequence, std::uint64_t trade_id, const Bond& bond,
                const TradeInput& input, const TradeRecord& record);

}  // namespace vorbeld
