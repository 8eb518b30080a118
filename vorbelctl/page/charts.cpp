#include "vorbelctl/page/charts.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "vorbelctl/audit/outcome.h"
#include "vorbelctl/page/text.h"
#include "vorbelctl/wording/wording.h"

namespace vorbelctl::page {
namespace {

constexpr int most_time_labels = 6;

// The time axis that all drawings share.
struct Axis {
  std::int64_t begin_ms = 0;
  std::int64_t end_ms = 0;
};

Axis time_axis(const History& history) {
  const auto slices = static_cast<std::int64_t>(std::max<std::size_t>(history.timeline.slices.size(), 1));
  return {history.begin_ms, std::max(history.begin_ms + slices * history.timeline.width_ms, history.end_ms)};
}

double span_ms(const Axis& axis) {
  return static_cast<double>(axis.end_ms - axis.begin_ms);
}

std::string at_time(const Axis& axis, std::int64_t at_ms) {
  return percent(static_cast<double>(at_ms - axis.begin_ms), span_ms(axis));
}

std::string width_of(const Axis& axis, std::int64_t ms) {
  return percent(static_cast<double>(ms), span_ms(axis));
}

std::string title(const std::string& text) {
  return "<title>" + escaped(text) + "</title>";
}

std::string rectangle(const std::string& x, const std::string& width, const std::string& y, const std::string& height,
                      const std::string& attributes, const std::string& hint) {
  return "<rect x=\"" + x + "\" width=\"" + width + "\" y=\"" + y + "\" height=\"" + height + "\"" + attributes + ">" +
         title(hint) + "</rect>";
}

std::string grid_lines(const Axis& axis) {
  std::string lines;
  for (const std::int64_t at_ms : time_labels(axis.begin_ms, axis.end_ms, most_time_labels)) {
    const std::string x = at_time(axis, at_ms);
    lines += "<line class=\"grid\" x1=\"" + x + "\" x2=\"" + x + "\" y1=\"0\" y2=\"100%\"/>";
  }
  return lines;
}

// The times that have a label. One that would run over the right edge is left to its grid line; where none is left, the
// begin has one.
std::vector<std::int64_t> labelled_times(const Axis& axis) {
  std::vector<std::int64_t> times = time_labels(axis.begin_ms, axis.end_ms, most_time_labels);
  std::erase_if(times,
                [&](std::int64_t at_ms) { return static_cast<double>(at_ms - axis.begin_ms) > 0.9 * span_ms(axis); });
  if (times.empty()) times.push_back(axis.begin_ms);
  return times;
}

// Where the page is narrow, every second label or two of three are left out.
std::string time_scale(const Axis& axis) {
  std::string scale = "<div class=\"scale\" aria-hidden=\"true\">";
  int place = 0;
  for (const std::int64_t at_ms : labelled_times(axis)) {
    const std::string second = place % 2 == 0 ? "" : " second";
    const std::string third = place % 3 == 0 ? "" : " third";
    ++place;
    scale += "<span class=\"tick" + second + third + "\" style=\"left:" + at_time(axis, at_ms) + "\">" +
             time_of_day(at_ms) + "</span>";
  }
  return scale + "</div>";
}

struct Level {
  double value = 0;
  std::string text;
};

// The labels of a vertical axis from `low` to `high`, in the column beside the plot.
std::string level_scale(const std::vector<Level>& levels, double low, double high) {
  std::string scale = "<div class=\"levels\" aria-hidden=\"true\">";
  for (const Level& level : levels) {
    scale += "<span style=\"top:" + percent(high - level.value, high - low) + "\">" + level.text + "</span>";
  }
  return scale + "</div>";
}

std::string level_lines(const std::vector<Level>& levels, double low, double high) {
  std::string lines;
  for (const Level& level : levels) {
    const std::string y = percent(high - level.value, high - low);
    lines += "<line class=\"grid\" x1=\"0\" x2=\"100%\" y1=\"" + y + "\" y2=\"" + y + "\"/>";
  }
  return lines;
}

std::string since(const Axis& axis, std::int64_t begin_ms, std::int64_t end_ms) {
  return time_of_day(begin_ms) + " to " + time_of_day(end_ms == 0 ? axis.end_ms : end_ms);
}

std::string lane_begin(const std::string& name, const std::string& meaning, std::uint64_t total) {
  return "<div class=\"lane-name\">" + name + "<b>" + grouped(total) + "</b></div><svg class=\"lane " + meaning +
         "\" role=\"img\" aria-label=\"" + name + ": " + grouped(total) + "\">";
}

// One lane with a mark wherever `count` is not zero; the more there was, the stronger the mark.
template <class Count>
std::string fault_lane(const History& history, const Axis& axis, const std::string& name, const std::string& meaning,
                       const Count& count) {
  const auto& slices = history.timeline.slices;
  std::uint64_t most = 0;
  std::uint64_t total = 0;
  for (const auto& slice : slices) {
    most = std::max(most, count(slice));
    total += count(slice);
  }
  std::string lane = lane_begin(name, meaning, total);
  for (std::size_t i = 0; i < slices.size(); ++i) {
    const std::uint64_t number = count(slices[i]);
    if (number == 0) continue;
    const std::int64_t begin_ms = axis.begin_ms + static_cast<std::int64_t>(i) * history.timeline.width_ms;
    const double strength = 0.45 + 0.55 * static_cast<double>(number) / static_cast<double>(most);
    lane +=
        rectangle(at_time(axis, begin_ms), width_of(axis, history.timeline.width_ms), "0", "100%",
                  " class=\"shade\" fill-opacity=\"" + fixed(strength, 2) + "\"",
                  grouped(number) + " " + name + ", " + since(axis, begin_ms, begin_ms + history.timeline.width_ms));
  }
  return lane + "</svg>";
}

// More of a kind would run together on a wide screen.
constexpr std::size_t most_ticks = 150;

// How many messages the fault concerns in the lane of its kind.
std::uint64_t weight_of(const Fault& fault, FaultKind kind) {
  switch (kind) {
    case FaultKind::lost:
    case FaultKind::tail:
      return fault.kind == kind ? fault.recovered + fault.missing : 0;
    case FaultKind::out_of_order:
      return fault.late;
    default:
      return fault.kind == kind ? 1 : 0;
  }
}

std::string fault_numbers(const Fault& fault) {
  const std::string first = "#" + std::to_string(fault.first);
  return fault.last == fault.first ? first : first + " to #" + std::to_string(fault.last);
}

// The faults of one kind: a tick at the moment of each where all are known and have room, otherwise shades.
template <class Count>
std::string wire_lane(const History& history, const Axis& axis, const std::string& name, const std::string& meaning,
                      FaultKind kind, const Count& count) {
  std::vector<const Fault*> found;
  std::uint64_t total = 0;
  for (const Fault& fault : history.faults) {
    if (weight_of(fault, kind) == 0) continue;
    found.push_back(&fault);
    total += weight_of(fault, kind);
  }
  if (history.faults_total > history.faults.size() || found.size() > most_ticks) {
    return fault_lane(history, axis, name, meaning, count);
  }
  std::string lane = lane_begin(name, meaning, total);
  for (const Fault* const fault : found) {
    const std::string x = at_time(axis, fault->at_ms);
    lane += "<line class=\"fault\" x1=\"" + x + "\" x2=\"" + x + "\" y1=\"0\" y2=\"100%\">" +
            title(grouped(weight_of(*fault, kind)) + " " + name + ", " + fault_numbers(*fault) + ", " +
                  moment_of_day(fault->at_ms)) +
            "</line>";
  }
  return lane + "</svg>";
}

std::string span_lane(const Axis& axis, const std::string& name, const std::string& meaning,
                      const std::vector<TimeSpan>& spans) {
  std::string lane = "<div class=\"lane-name\">" + name + "<b>" + grouped(spans.size()) +
                     "</b></div><svg class=\"lane " + meaning + "\" role=\"img\" aria-label=\"" + name + ": " +
                     grouped(spans.size()) + "\">";
  const std::int64_t narrowest_ms = (axis.end_ms - axis.begin_ms) / 200;  // a moment must be seen, too
  for (const TimeSpan& span : spans) {
    const std::int64_t end_ms = span.end_ms == 0 ? axis.end_ms : span.end_ms;
    lane +=
        rectangle(at_time(axis, span.begin_ms), width_of(axis, std::max(end_ms - span.begin_ms, narrowest_ms)), "0",
                  "100%", " rx=\"2\"",
                  name + (span.what.empty() ? "" : " " + span.what) + ", " + since(axis, span.begin_ms, span.end_ms));
  }
  return lane + "</svg>";
}

// What ticks and shades mean, of those that are in the drawing.
std::string lane_legend(const std::string& drawing, std::int64_t slice_ms) {
  std::string legend;
  if (drawing.find("class=\"fault\"") != std::string::npos) {
    legend +=
        "<span><svg class=\"lane lost\"><line class=\"fault\" x1=\"50%\" x2=\"50%\" y1=\"0\" y2=\"100%\"/></svg>"
        "one fault at its moment</span>";
  }
  if (drawing.find("class=\"shade\"") != std::string::npos) {
    legend += "<span><svg class=\"lane lost\">";
    for (const auto& [x, strength] : {std::pair("0", "0.46"), std::pair("34%", "0.73"), std::pair("67%", "1.00")}) {
      legend += std::string("<rect x=\"") + x + "\" width=\"33%\" height=\"100%\" fill-opacity=\"" + strength + "\"/>";
    }
    legend += "</svg>few to many within " + duration(static_cast<std::uint64_t>(slice_ms)) + "</span>";
  }
  return legend.empty() ? "" : "<p class=\"legend shades\">" + legend + "</p>";
}

std::string milestone_lane(const History& history, const Axis& axis) {
  std::string lane =
      "<div class=\"lane-name\">marks<b>" + grouped(history.milestones_total) +
      "</b></div><svg class=\"lane mark\" role=\"img\" aria-label=\"marks: " + grouped(history.milestones_total) +
      "\">";
  for (const Milestone& milestone : history.milestones) {
    const std::string x = at_time(axis, milestone.at_ms);
    lane += "<line x1=\"" + x + "\" x2=\"" + x + "\" y1=\"0\" y2=\"100%\">" +
            title(milestone.what + ", " + moment_of_day(milestone.at_ms)) + "</line>";
  }
  return lane + "</svg>";
}

std::string close_line(const History& history, const Axis& axis) {
  if (history.close_ms == 0) return "";
  const std::string x = at_time(axis, history.close_ms);
  return "<line class=\"close\" x1=\"" + x + "\" x2=\"" + x + "\" y1=\"0\" y2=\"100%\">" +
         title("the session was closed at " + time_of_day(history.close_ms)) + "</line>";
}

double messages_a_second(const Slices<TimelineSlice>& timeline, const TimelineSlice& slice) {
  return static_cast<double>(slice.messages) * 1000 / static_cast<double>(timeline.width_ms);
}

std::string bars(const History& history, const Axis& axis, double high) {
  std::string drawn;
  const auto& slices = history.timeline.slices;
  for (std::size_t i = 0; i < slices.size(); ++i) {
    const double rate = messages_a_second(history.timeline, slices[i]);
    if (rate == 0) continue;
    const std::int64_t begin_ms = axis.begin_ms + static_cast<std::int64_t>(i) * history.timeline.width_ms;
    drawn += rectangle(at_time(axis, begin_ms), width_of(axis, history.timeline.width_ms * 17 / 20),
                       percent(high - rate, high), percent(rate, high), "",
                       fixed(rate, rate < 10 ? 1 : 0) + " messages a second, " +
                           since(axis, begin_ms, begin_ms + history.timeline.width_ms));
  }
  return drawn;
}

// Beyond it the labels of an axis are written with an exponent.
constexpr double largest_written_out = 1e7;

// True for a price that has a place in a drawing: its label has at most eight characters.
bool drawable(double price) {
  return std::fabs(price) < 1e98;
}

// Air below and above, so much that the labels of the axis differ in the few digits for which there is room.
double air(double low, double high) {
  const double farthest = std::max(std::fabs(low), std::fabs(high));
  return std::max((high - low) * 0.1, farthest < largest_written_out ? farthest * 1e-4 + 1e-3 : farthest * 0.05);
}

// What a price chart reaches from and to, with some air above and below: the last sales. Amended trades that were none
// may lie far away, and must not press the others flat.
struct PriceRange {
  double low = 0;
  double high = 0;
};

PriceRange price_range(const BondHistory& bond) {
  PriceRange range;
  bool any = false;
  for (const PriceSlice& slice : bond.prices.slices) {
    if (slice.prints == 0 || !drawable(slice.low) || !drawable(slice.high)) continue;
    range.low = any ? std::min(range.low, slice.low) : slice.low;
    range.high = any ? std::max(range.high, slice.high) : slice.high;
    any = true;
  }
  const double beyond = air(range.low, range.high);
  return {range.low - beyond, range.high + beyond};
}

std::int64_t slice_middle_ms(const Axis& axis, const BondHistory& bond, std::size_t i) {
  return axis.begin_ms + static_cast<std::int64_t>(i) * bond.prices.width_ms + bond.prices.width_ms / 2;
}

// The range of each slice as an area, and the last price as a line through them; in a square of 1000 that the page
// stretches.
std::string price_lines(const Axis& axis, const BondHistory& bond, const PriceRange& range) {
  const auto x = [&](std::size_t i) {
    return fixed(1000 * static_cast<double>(slice_middle_ms(axis, bond, i) - axis.begin_ms) / span_ms(axis), 1);
  };
  const auto y = [&](double price) { return fixed(1000 * (range.high - price) / (range.high - range.low), 1); };
  std::string upper;
  std::string lower;
  std::string last;
  const auto& slices = bond.prices.slices;
  for (std::size_t i = 0; i < slices.size(); ++i) {
    const PriceSlice& slice = slices[i];
    if (slice.prints == 0 || !drawable(slice.low) || !drawable(slice.high) || !drawable(slice.last)) continue;
    upper += x(i) + "," + y(slice.high) + " ";
    lower.insert(0, x(i) + "," + y(slice.low) + " ");
    last += x(i) + "," + y(slice.last) + " ";
  }
  return "<svg class=\"stretched\" viewBox=\"0 0 1000 1000\" preserveAspectRatio=\"none\"><polygon class=\"range\" "
         "points=\"" +
         upper + lower + "\"/><polyline class=\"last\" points=\"" + last + "\"/></svg>";
}

std::string price_mark(const Axis& axis, std::int64_t at_ms, double price, const PriceRange& range,
                       const std::string& symbol, const std::string& hint) {
  if (!drawable(price)) return "";
  const std::string beyond = price < range.low || price > range.high ? " beyond" : "";
  return "<use href=\"#" + symbol + "\" class=\"" + symbol + beyond + "\" x=\"" + at_time(axis, at_ms) + "\" y=\"" +
         percent(range.high - price, range.high - range.low) + "\">" + title(hint) + "</use>";
}

std::string price_marks(const Axis& axis, const BondHistory& bond, const PriceRange& range) {
  std::string marks;
  const auto& slices = bond.prices.slices;
  for (std::size_t i = 0; i < slices.size(); ++i) {
    const std::int64_t at_ms = slice_middle_ms(axis, bond, i);
    if (slices[i].corrections != 0) {
      marks += price_mark(axis, at_ms, slices[i].corrected, range, "correction",
                          "corrected to " + fixed(slices[i].corrected, 3) + ", " + time_of_day(at_ms));
    }
    if (slices[i].cancels != 0) {
      marks += price_mark(axis, at_ms, slices[i].cancelled, range, "cancel",
                          "cancelled at " + fixed(slices[i].cancelled, 3) + ", " + time_of_day(at_ms));
    }
  }
  return marks;
}

std::string halt_bands(const History& history, const Axis& axis, const BondHistory& bond) {
  std::string bands;
  for (const TimeSpan& halt : history.halts) {
    if (halt.what != bond.cusip) continue;
    const std::int64_t end_ms = halt.end_ms == 0 ? axis.end_ms : halt.end_ms;
    bands += rectangle(at_time(axis, halt.begin_ms), width_of(axis, end_ms - halt.begin_ms), "0", "100%",
                       " class=\"halted\"", "halted, " + since(axis, halt.begin_ms, halt.end_ms));
  }
  return bands;
}

std::string price_label(double price, int decimals) {
  return std::fabs(price) < largest_written_out ? fixed(price, decimals) : with_exponent(price, 2);
}

std::vector<Level> price_levels(const PriceRange& range) {
  constexpr int most = 4;
  const double step = round_step(range.high - range.low, most);
  const int decimals = std::clamp(static_cast<int>(std::ceil(-std::log10(step) - 1e-9)), 0, 6);
  std::vector<Level> levels;
  for (const double price : axis_labels(range.low, range.high, most)) {
    levels.push_back({price, price_label(price, decimals)});
  }
  return levels;
}

}  // namespace

std::string timeline(const History& history, bool on_the_wire) {
  if (history.begin_ms == 0) return "<p class=\"quiet\">No message told a time.</p>";
  const Axis axis = time_axis(history);
  double most = 0;
  for (const auto& slice : history.timeline.slices) most = std::max(most, messages_a_second(history.timeline, slice));
  const double high = std::max(most * 1.08, 1.0);
  std::vector<Level> levels;
  for (const double rate : axis_labels(0, high, 4)) levels.push_back({rate, fixed(rate, high < 4 ? 1 : 0)});

  std::string html = "<div class=\"chart timeline\"><p class=\"unit\">messages a second</p>";
  html += level_scale(levels, 0, high);
  html += "<svg class=\"plot messages\" role=\"img\" aria-label=\"messages a second, at most " + fixed(most, 1) +
          "\">" + grid_lines(axis) + level_lines(levels, 0, high) + bars(history, axis, high) +
          close_line(history, axis) + "</svg>";
  if (on_the_wire) {
    html += wire_lane(history, axis, "lost", "lost", FaultKind::lost,
                      [](const TimelineSlice& slice) { return slice.lost; });
    html += wire_lane(history, axis, "lost tails", "lost", FaultKind::tail,
                      [](const TimelineSlice& slice) { return slice.tails; });
    html += wire_lane(history, axis, "out of order", "disorder", FaultKind::out_of_order,
                      [](const TimelineSlice& slice) { return slice.out_of_order; });
    html += wire_lane(history, axis, "duplicates", "duplicate", FaultKind::duplicate,
                      [](const TimelineSlice& slice) { return slice.duplicates; });
  }
  html += fault_lane(history, axis, "discrepancies", "lost",
                     [](const TimelineSlice& slice) { return slice.discrepancies; });
  html += milestone_lane(history, axis);
  html += span_lane(axis, "halts", "halt", history.halts);
  html += span_lane(axis, "idle", "idle", history.idles);
  std::vector<TimeSpan> close;
  if (history.close_ms != 0) close.push_back({history.close_ms, history.close_ms, ""});
  html += span_lane(axis, "close", "close", close);
  html += "<div></div>" + time_scale(axis) + "</div>";
  return html + lane_legend(html, history.timeline.width_ms);
}

std::string price_chart(const History& history, const BondHistory& bond) {
  const Axis axis = time_axis(history);
  const PriceRange range = price_range(bond);
  const auto levels = price_levels(range);
  std::string html =
      "<div class=\"chart\"><p class=\"unit\">price, % of par</p>" + level_scale(levels, range.low, range.high);
  html += "<svg class=\"plot\" role=\"img\" aria-label=\"last sales of " + escaped(bond.symbol) + "\">" +
          grid_lines(axis) + level_lines(levels, range.low, range.high) + halt_bands(history, axis, bond) +
          price_lines(axis, bond, range) + price_marks(axis, bond, range) + close_line(history, axis) + "</svg>";
  return html + "<div></div>" + time_scale(axis) + "</div>";
}

std::string chart_symbols() {
  return "<svg class=\"symbols\" aria-hidden=\"true\"><defs>"
         "<path id=\"cancel\" d=\"M-3.5-3.5 3.5 3.5M-3.5 3.5 3.5-3.5\"/>"
         "<path id=\"correction\" d=\"M0-4.5 4.5 0 0 4.5-4.5 0Z\"/></defs></svg>";
}

}  // namespace vorbelctl::page
