// Labels of the charts, measured where they would stand: none meets another, whatever was drawn and when.
#include "vorbelctl/page/charts.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <set>
#include <string>
#include <string_view>

#include "tests/unit/vorbelctl/page/outcomes.h"
#include "vorbelctl/page/page.h"

namespace vorbelctl::page {
namespace {

// Sizes in px, a little larger than those of the style sheet in the widest of its usual fonts.
constexpr double time_width = 58;
constexpr double label_height = 19;
constexpr double plot_height = 176;
constexpr std::size_t most_label_characters = 8;

// The narrowest plots in which all labels of time are shown, every second one, and every third.
constexpr double widest_plot = 380;
constexpr double narrower_plot = 218;
constexpr double narrowest_plot = 120;

struct Label {
  double at = 0;  // 0 to 1, along its axis
  std::string text;
  bool second = false;  // left out where the page is narrow
  bool third = false;   // left out where it is narrowest
};

// What stands in `text` between the two marks, from `at` on; `at` then stands behind it.
std::string between(const std::string& text, std::string_view before, std::string_view after, std::size_t& at) {
  const std::size_t begin = text.find(before, at) + before.size();
  const std::size_t end = text.find(after, begin);
  at = end + after.size();
  return text.substr(begin, end - begin);
}

// The labels whose spans begin with `span`: <span class="tick second" style="left:20%">12:00:00</span>
std::vector<Label> labels_of(const std::string& html, std::string_view span) {
  std::vector<Label> labels;
  for (std::size_t at = html.find(span); at != std::string::npos; at = html.find(span, at)) {
    const std::string attributes = between(html, span, ":", at);
    Label label;
    label.second = attributes.find("second") != std::string::npos;
    label.third = attributes.find("third") != std::string::npos;
    label.at = std::stod(between(html, "", "%\">", at)) / 100;
    label.text = between(html, "", "<", at);
    labels.push_back(label);
  }
  return labels;
}

std::vector<Label> times_of(const std::string& html) {
  return labels_of(html, "<span class=\"tick");
}

std::vector<Label> levels_of(const std::string& html) {
  return labels_of(html, "<span style=\"top");
}

// True when labels of one size, each centred on its place, stand apart along an axis of that length.
bool stand_apart(std::vector<Label> labels, double size, double length) {
  std::sort(labels.begin(), labels.end(), [](const Label& a, const Label& b) { return a.at < b.at; });
  const auto meet = [&](const Label& a, const Label& b) { return (b.at - a.at) * length < size; };
  return std::adjacent_find(labels.begin(), labels.end(), meet) == labels.end();
}

std::vector<Label> without(std::vector<Label> labels, bool Label::*left_out) {
  std::erase_if(labels, [&](const Label& label) { return label.*left_out; });
  return labels;
}

// What is wrong with the labels of time; empty: nothing.
std::string faults_of_times(const std::string& chart) {
  const std::vector<Label> all = times_of(chart);
  if (all.empty()) return "there are none: " + chart;
  if (!stand_apart(all, time_width, widest_plot)) return "they meet: " + chart;
  if (!stand_apart(without(all, &Label::second), time_width, narrower_plot)) return "they meet where narrow: " + chart;
  if (!stand_apart(without(all, &Label::third), time_width, narrowest_plot)) return "they meet on a phone: " + chart;
  for (const Label& label : all) {
    if (label.text.size() != 8) return "no time: " + label.text;
    if (label.at > 0.9) return "it runs over the right edge: " + chart;
  }
  return "";
}

// The same of the labels of a vertical axis.
std::string faults_of_levels(const std::string& chart) {
  const std::vector<Label> levels = levels_of(chart);
  if (levels.empty()) return "there are none: " + chart;
  if (!stand_apart(levels, label_height, plot_height)) return "they meet: " + chart;
  std::set<std::string> texts;
  for (const Label& level : levels) {
    if (!texts.insert(level.text).second) return level.text + " stands there twice";
    if (level.text.size() > most_label_characters) return level.text + " is too long";
  }
  return "";
}

void expect_only_numbers(const std::string& chart) {
  EXPECT_EQ(chart.find("nan"), std::string::npos) << chart;
  EXPECT_EQ(chart.find("inf"), std::string::npos) << chart;
}

std::string chart_of(const Outcome& outcome) {
  return price_chart(outcome.audit.history, outcome.audit.history.bonds.back());
}

std::string chart_of_prices(const std::vector<double>& prices) {
  const auto outcome = run_of(noon_ms, 60000);
  add_bond(*outcome, "BOND10000", "ONE 5 30", prices);
  return chart_of(*outcome);
}

TEST(TimeLabels, StandApartWheneverARunBeginsAndHoweverLongItLasts) {
  for (const std::int64_t lasting_ms :
       {0, 100, 999, 1000, 5999, 6000, 59000, 60000, 61000, 239999, 3600000, 32400000, 86400000, 2000000000}) {
    for (std::int64_t offset_ms = 0; offset_ms < 60000; offset_ms += 1237) {
      const auto outcome = run_of(noon_ms + offset_ms, lasting_ms);
      ASSERT_EQ(faults_of_times(timeline(outcome->audit.history, true)), "");
    }
  }
}

TEST(TimeLabels, StandApartAtEveryPlaceOfTheLastOne) {
  for (std::int64_t lasting_ms = 10000; lasting_ms < 20000; lasting_ms += 97) {
    const auto outcome = run_of(noon_ms, lasting_ms);
    ASSERT_EQ(faults_of_times(timeline(outcome->audit.history, true)), "");
  }
}

TEST(TimeLabels, StandApartInTheNightsThatHaveAnHourMoreOrLess) {
  constexpr std::int64_t spring_ms = 1710054000000;  // 10 March 2024 02:00:00, feed local time
  constexpr std::int64_t autumn_ms = 1730613600000;  // 3 November 2024 02:00:00, summer time
  for (const std::int64_t night_ms : {spring_ms, autumn_ms}) {
    for (std::int64_t before_ms = 0; before_ms < 7200000; before_ms += 611000) {
      const auto outcome = run_of(night_ms - before_ms, 9LL * 3600000);
      ASSERT_EQ(faults_of_times(timeline(outcome->audit.history, true)), "");
    }
  }
}

TEST(TimeLabels, OfARunBetweenTwoSecondsNameItsBegin) {
  const std::vector<Label> labels = times_of(timeline(run_of(noon_ms + 50, 100)->audit.history, true));
  ASSERT_EQ(labels.size(), 1U);
  EXPECT_EQ(labels[0].text, "12:00:00");
  EXPECT_EQ(labels[0].at, 0);
}

TEST(PriceLabels, StandApartWhereverThePricesLie) {
  for (int i = 0; i < 300; ++i) {
    const double low = 90 + i * 0.0457;
    for (const double range : {0.0, 0.0004, 0.013, 0.66, 2.0 / 3, 1.0, 57.0}) {
      ASSERT_EQ(faults_of_levels(chart_of_prices({low, low + range})), "");
    }
  }
}

TEST(PriceLabels, StandApartForPricesOfEverySize) {
  for (int power = -12; power <= 97; ++power) {
    for (const double factor : {1.0, 1.0001, 2.5, 9.87654321, -3.0, -9.9999999}) {
      const double price = factor * std::pow(10.0, power);
      ASSERT_EQ(faults_of_levels(chart_of_prices({price})), "");
      ASSERT_EQ(faults_of_levels(chart_of_prices({price, price * 1.3})), "");
      ASSERT_EQ(faults_of_levels(chart_of_prices({price, -price})), "");
    }
  }
}

TEST(PriceLabels, AreThereWithoutAPriceThatCanBeDrawn) {
  constexpr double infinite = std::numeric_limits<double>::infinity();
  constexpr double greatest = std::numeric_limits<double>::max();
  for (const std::vector<double>& prices : std::vector<std::vector<double>>{
           {}, {infinite}, {-infinite, infinite}, {std::numeric_limits<double>::quiet_NaN()}, {greatest, -greatest}}) {
    const std::string chart = chart_of_prices(prices);
    EXPECT_EQ(faults_of_levels(chart), "");
    expect_only_numbers(chart);
  }
}

TEST(PriceLabels, AreWrittenOutUpToTenMillions) {
  EXPECT_EQ(levels_of(chart_of_prices({9'000'000, 9'600'000}))[0].text, "9000000");
  EXPECT_EQ(levels_of(chart_of_prices({1e26}))[0].text, "9.50e25");
}

TEST(RateLabels, StandApartHoweverManyMessagesThereAre) {
  for (std::uint64_t messages = 0; messages < 1'000'000'000; messages = messages * 3 / 2 + 1) {
    const auto outcome = run_of(noon_ms, 5000);
    outcome->audit.history.timeline.slices[2].messages = messages;
    ASSERT_TRUE(stand_apart(levels_of(timeline(outcome->audit.history, true)), label_height, plot_height)) << messages;
  }
}

std::size_t count_in(const std::string& text, std::string_view part) {
  std::size_t count = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
  return count;
}

// A run of ten minutes with so many losses of two messages each.
std::unique_ptr<Outcome> run_with_losses(std::size_t losses) {
  auto outcome = run_of(noon_ms, 600000);
  History& history = outcome->audit.history;
  for (std::size_t i = 0; i < losses; ++i) {
    const std::int64_t at_ms = noon_ms + static_cast<std::int64_t>(i) * 1000;
    Fault fault{FaultKind::lost, at_ms, 10 * i + 1, 10 * i + 2, 30, 1, 0, 1};
    history.faults.push_back(fault);
    history.timeline.slices[static_cast<std::size_t>((at_ms - noon_ms) / history.timeline.width_ms)].lost += 2;
  }
  history.faults_total = losses;
  return outcome;
}

TEST(Losses, AreTicksWhileThereIsRoomForThem) {
  const std::string drawn = timeline(run_with_losses(3)->audit.history, true);
  EXPECT_EQ(count_in(drawn, "<title>2 lost, #"), 3U);
  EXPECT_NE(drawn.find("2 lost, #21 to #22, 12:00:02.000"), std::string::npos);
  EXPECT_NE(drawn.find("one fault at its moment"), std::string::npos);
  EXPECT_EQ(count_in(drawn, "class=\"shade\""), 0U);
  EXPECT_EQ(drawn.find("few to many"), std::string::npos);
}

TEST(Losses, AreShadesWithALegendWhereTheyAreMany) {
  const std::string drawn = timeline(run_with_losses(400)->audit.history, true);
  EXPECT_EQ(drawn.find("2 lost, #"), std::string::npos);
  EXPECT_NE(drawn.find("lost<b>800</b>"), std::string::npos);
  EXPECT_EQ(count_in(drawn, "class=\"shade\""), 100U);  // slices of four seconds
  EXPECT_NE(drawn.find("few to many within 4.0 s"), std::string::npos);
}

TEST(Losses, AreShadesWhereNotAllOfThemAreListed) {
  const auto outcome = run_with_losses(3);
  outcome->audit.history.faults_total = 4;
  const std::string drawn = timeline(outcome->audit.history, true);
  EXPECT_EQ(count_in(drawn, "class=\"fault\""), 0U);
  EXPECT_EQ(count_in(drawn, "class=\"shade\""), 1U);
}

TEST(Page, HoldsNumbersOnlyWhateverTheOutcome) {
  for (const auto& [name, outcome] : outcomes()) {
    SCOPED_TRACE(name);
    const History& history = outcome->audit.history;
    expect_only_numbers(timeline(history, true));
    for (const BondHistory& bond : history.bonds) expect_only_numbers(price_chart(history, bond));
    const std::string page = outcome_page(*outcome);
    EXPECT_EQ(page.rfind("</html>\n"), page.size() - 8);
  }
}

}  // namespace
}  // namespace vorbelctl::page
