// The events that a scenario schedules: the halt and its end, the idle period, the close. Time is handed in.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "run/loop.h"
#include "tests/unit/common/console.h"
#include "tests/unit/run/run_fixture.h"
#include "trades/session.h"

namespace vorbeld {
namespace {

using Kinds = std::vector<std::string>;

// The halts sent since the last call: CUSIP, action and reason of each.
Kinds sent_halts(const RunBench& bench) {
  Kinds halts;
  for (const std::string& message : sent_kinds(bench, 113)) {
    if (message.starts_with("AH")) halts.push_back(message.substr(38, 9) + message[94] + message.substr(109));
  }
  return halts;
}

TEST(ScheduledHalt, HaltsTheFirstBondWhenItsTimeHasCome) {
  RunBench bench;
  bench.run.scenario.halt_after_s = 2;
  fire_halt(bench.run, start_ms + 1'999);
  EXPECT_EQ(sent_halts(bench), Kinds{});
  fire_halt(bench.run, start_ms + 2'000);
  EXPECT_EQ(sent_halts(bench), Kinds{"037833DT4HT.1 "});
  EXPECT_TRUE(bench.run.engine.universe.bonds[0].halted);
  EXPECT_FALSE(bench.run.engine.universe.bonds[1].halted);
}

TEST(ScheduledHalt, IsLiftedWhenItIsOver) {
  RunBench bench;
  bench.run.scenario.halt_after_s = 2;
  bench.run.scenario.halt_ms = 500;
  fire_halt(bench.run, start_ms + 2'003);
  lift_halt(bench.run, start_ms + 2'502);
  EXPECT_TRUE(bench.run.engine.universe.bonds[0].halted);
  lift_halt(bench.run, start_ms + 2'503);
  EXPECT_FALSE(bench.run.engine.universe.bonds[0].halted);
  EXPECT_EQ(sent_halts(bench), (Kinds{"037833DT4HT.1 ", "037833DT4RT.2 "}));
  EXPECT_EQ(bench.run.engine.counters.halts, 2U);
}

TEST(ScheduledHalt, LastsFiveSecondsByDefault) {
  RunBench bench;
  bench.run.scenario.halt_after_s = 1;
  fire_halt(bench.run, start_ms + 1'000);
  EXPECT_EQ(bench.run.timers.resume_at_ms, start_ms + 6'000);
}

TEST(ScheduledHalt, OfNoLengthIsLiftedInTheSamePass) {
  RunBench bench;
  bench.run.scenario.halt_after_s = 1;
  bench.run.scenario.halt_ms = 0;
  fire_halt(bench.run, start_ms + 1'000);
  lift_halt(bench.run, start_ms + 1'000);
  EXPECT_EQ(sent_halts(bench), (Kinds{"037833DT4HT.1 ", "037833DT4RT.2 "}));
}

TEST(ScheduledHalt, HappensOnce) {
  RunBench bench;
  bench.run.scenario.halt_after_s = 1;
  bench.run.scenario.halt_ms = 10;
  for (std::uint64_t now_ms = start_ms; now_ms < start_ms + 5'000; now_ms += 5) {
    fire_halt(bench.run, now_ms);
    lift_halt(bench.run, now_ms);
  }
  EXPECT_EQ(sent_halts(bench).size(), 2U);
}

TEST(ScheduledHalt, NeverHappensAtZero) {
  RunBench bench;
  fire_halt(bench.run, start_ms);
  fire_halt(bench.run, start_ms + 1'000'000'000);
  lift_halt(bench.run, start_ms + 1'000'000'000);
  EXPECT_EQ(sent_halts(bench), Kinds{});
}

TEST(ScheduledHalt, WaitsForABond) {
  RunBench bench;
  bench.run.engine.universe = {};
  bench.run.scenario.halt_after_s = 1;
  fire_halt(bench.run, start_ms + 9'000);
  EXPECT_FALSE(bench.run.timers.halt_fired);
  EXPECT_EQ(bench.run.timers.resume_at_ms, 0U);
  find_or_add_bond(bench.run.engine.universe, "NEWBOND01", "N", false);
  fire_halt(bench.run, start_ms + 9'010);
  EXPECT_EQ(sent_halts(bench), Kinds{"NEWBOND01HT.1 "});
  EXPECT_EQ(bench.run.timers.resume_at_ms, start_ms + 14'010);
}

TEST(ScheduledHalt, IsLiftedEvenWhereSomeoneElseHasLiftedIt) {
  RunBench bench;
  bench.run.scenario.halt_after_s = 1;
  fire_halt(bench.run, start_ms + 1'000);
  disseminate_halt(bench.run.engine, bench.run.engine.universe.bonds[0], 'R', "T.2");
  lift_halt(bench.run, start_ms + 6'000);
  EXPECT_EQ(sent_halts(bench), (Kinds{"037833DT4HT.1 ", "037833DT4RT.2 ", "037833DT4RT.2 "}));
}

TEST(ScheduledHalt, IsForgottenWhereItsBondIsNotFound) {
  RunBench bench;
  bench.run.timers.halted_cusip = "gone";
  bench.run.timers.resume_at_ms = start_ms;
  lift_halt(bench.run, start_ms);
  EXPECT_EQ(bench.run.timers.resume_at_ms, 0U);
  EXPECT_EQ(sent_halts(bench), Kinds{});
}

TEST(ScheduledIdle, PausesTheGeneratorWhenItsTimeHasCome) {
  RunBench bench;
  bench.run.scenario.idle_after_s = 5;
  bench.run.scenario.idle_ms = 3'000;
  EXPECT_EQ(console_of([&] { fire_idle(bench.run, start_ms + 4'999); }), "");
  EXPECT_EQ(bench.run.flow.idle_until_ms, 0U);
  EXPECT_EQ(console_of([&] { fire_idle(bench.run, start_ms + 5'000); }), "bench: idle for 3000 ms (heartbeats only)\n");
  EXPECT_EQ(bench.run.flow.idle_until_ms, start_ms + 8'000);
  EXPECT_EQ(last_sequence(bench.run.publisher), 0U);
  EXPECT_EQ(bench.run.generator.chance.engine, chance_after(0));
}

TEST(ScheduledIdle, HappensOnce) {
  RunBench bench;
  bench.run.scenario.idle_after_s = 1;
  EXPECT_EQ(console_of([&] { fire_idle(bench.run, start_ms + 1'000); }), "bench: idle for 5000 ms (heartbeats only)\n");
  EXPECT_EQ(console_of([&] { fire_idle(bench.run, start_ms + 2'000); }), "");
  EXPECT_EQ(bench.run.flow.idle_until_ms, start_ms + 6'000);
}

TEST(ScheduledIdle, NeverHappensAtZero) {
  RunBench bench;
  bench.run.scenario.idle_drop = 5;
  EXPECT_EQ(console_of([&] { fire_idle(bench.run, start_ms + 1'000'000'000); }), "");
  EXPECT_EQ(last_sequence(bench.run.publisher), 0U);
}

TEST(ScheduledIdle, LosesThePrintsJustBeforeIt) {
  RunBench bench;
  bench.run.scenario.idle_after_s = 5;
  bench.run.scenario.idle_ms = 3'000;
  bench.run.scenario.idle_drop = 2;
  EXPECT_EQ(console_of([&] { fire_idle(bench.run, start_ms + 5'000); }),
            "vorbeld fault: dropped seq 1 (packet 1, 1 message(s))\n"
            "vorbeld fault: dropped seq 2 (packet 2, 1 message(s))\n"
            "bench: idle for 3000 ms (heartbeats only, the prints just before it lost)\n");
  EXPECT_EQ(bench.run.engine.counters.reports, 2U);
  EXPECT_EQ(bench.run.publisher.fault_counters.dropped, 2U);
  EXPECT_EQ(bench.run.publisher.faults.armed_drops, 0U);
  EXPECT_EQ(sent_kinds(bench), Kinds{});
  EXPECT_EQ(bench.run.flow.idle_until_ms, start_ms + 8'000);
}

TEST(ScheduledIdle, MakesItsTradesAsTheGeneratorWouldWithoutGaps) {
  RunBench bench;
  bench.run.scenario.idle_after_s = 1;
  bench.run.scenario.idle_drop = 3;
  console_of([&] { fire_idle(bench.run, start_ms + 1'000); });
  RunBench generated;
  for (int i = 0; i < 3; ++i) {
    generate_trade(generated.run.generator, generated.run.engine, generated.run.pending);
  }
  EXPECT_EQ(bench.run.generator.chance.engine, generated.run.generator.chance.engine);
  for (std::uint64_t id = 1; id <= 3; ++id) {
    EXPECT_EQ(trade(bench.run.engine.trades, id).price, trade(generated.run.engine.trades, id).price);
    EXPECT_EQ(trade(bench.run.engine.trades, id).quantity, trade(generated.run.engine.trades, id).quantity);
  }
}

TEST(ScheduledIdle, SetsTheArmedDropsAndDoesNotAddToThem) {
  RunBench bench;
  bench.run.publisher.faults.armed_drops = 50;
  bench.run.scenario.idle_after_s = 1;
  bench.run.scenario.idle_drop = 2;
  console_of([&] { fire_idle(bench.run, start_ms + 1'000); });
  EXPECT_EQ(bench.run.publisher.faults.armed_drops, 0U);
}

TEST(ScheduledIdle, LeavesArmedDropsAloneWhenNothingIsToBeLost) {
  RunBench bench;
  bench.run.publisher.faults.armed_drops = 50;
  bench.run.scenario.idle_after_s = 1;
  console_of([&] { fire_idle(bench.run, start_ms + 1'000); });
  EXPECT_EQ(bench.run.publisher.faults.armed_drops, 50U);
}

TEST(ScheduledIdle, LeavesDropsOverWhereBondsAreHalted) {
  RunBench bench;
  for (Bond& bond : bench.run.engine.universe.bonds) bond.halted = true;
  bench.run.scenario.idle_after_s = 1;
  bench.run.scenario.idle_drop = 3;
  EXPECT_EQ(console_of([&] { fire_idle(bench.run, start_ms + 1'000); }),
            "bench: idle for 5000 ms (heartbeats only, the prints just before it lost)\n");
  EXPECT_EQ(bench.run.publisher.faults.armed_drops, 3U);
  EXPECT_EQ(bench.run.generator.chance.engine, chance_after(3));  // a pick each
}

TEST(ScheduledIdle, LeavesDropsOverWhereTheSessionIsClosed) {
  RunBench bench;
  bench.run.engine.publisher.closed = true;
  bench.run.scenario.idle_after_s = 1;
  bench.run.scenario.idle_drop = 3;
  console_of([&] { fire_idle(bench.run, start_ms + 1'000); });
  EXPECT_EQ(bench.run.publisher.faults.armed_drops, 3U);
  EXPECT_EQ(bench.run.generator.generated, 3U);
  EXPECT_EQ(last_sequence(bench.run.publisher), 0U);
}

TEST(ScheduledIdle, IsStoppedNeitherByPauseNorByRateZero) {
  RunBench bench;
  bench.run.flow.paused = true;
  ASSERT_EQ(bench.run.flow.rate_ms, 0U);
  bench.run.scenario.idle_after_s = 1;
  bench.run.scenario.idle_drop = 2;
  console_of([&] { fire_idle(bench.run, start_ms + 1'000); });
  EXPECT_EQ(bench.run.engine.counters.reports, 2U);
}

TEST(ScheduledClose, ClosesTheSessionAndDropsWhatIsPending) {
  RunBench bench;
  bench.run.scenario.close_after_s = 3;
  bench.run.pending = {{1, Amendment::cancel, 1}};
  fire_close(bench.run, start_ms + 2'999);
  EXPECT_FALSE(session_closed(bench.run.engine));
  EXPECT_EQ(bench.run.pending.size(), 1U);
  EXPECT_EQ(console_of([&] { fire_close(bench.run, start_ms + 3'000); }),
            "[vorbeld] session closed: 0 daily summaries, end of session on the wire\n");
  EXPECT_TRUE(session_closed(bench.run.engine));
  EXPECT_TRUE(bench.run.pending.empty());
  EXPECT_EQ(sent_kinds(bench), (Kinds{"CC", "CX", "CJ", "CZ"}));
  EXPECT_EQ(bench.run.publisher.last_send_ms, 0);  // so that the end of the session is told in this pass
}

TEST(ScheduledClose, HappensOnce) {
  RunBench bench;
  bench.run.scenario.close_after_s = 3;
  console_of([&] { fire_close(bench.run, start_ms + 3'000); });
  bench.run.pending = {{1, Amendment::cancel, 1}};
  EXPECT_EQ(console_of([&] { fire_close(bench.run, start_ms + 4'000); }), "");
  EXPECT_EQ(bench.run.pending.size(), 1U);
}

TEST(ScheduledClose, DoesNotHappenToASessionThatIsClosed) {
  RunBench bench;
  bench.run.scenario.close_after_s = 3;
  console_of([&] { close_session(bench.run.engine); });
  EXPECT_EQ(console_of([&] { fire_close(bench.run, start_ms + 3'000); }), "");
  EXPECT_EQ(last_sequence(bench.run.publisher), 4U);
}

TEST(ScheduledClose, NeverHappensAtZero) {
  RunBench bench;
  fire_close(bench.run, start_ms + 1'000'000'000);
  EXPECT_FALSE(session_closed(bench.run.engine));
}

TEST(ScheduledEvents, TakeTheLongestTime) {
  RunBench bench;
  bench.run.scenario.halt_after_s = 4'294'967'295;
  fire_halt(bench.run, start_ms + 4'294'967'294'999U);
  EXPECT_FALSE(bench.run.timers.halt_fired);
  fire_halt(bench.run, start_ms + 4'294'967'295'000U);
  EXPECT_TRUE(bench.run.timers.halt_fired);
}

}  // namespace
}  // namespace vorbeld
