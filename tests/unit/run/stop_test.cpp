// The stop: signals that ask for it, and the drain that they start. Each claim about a signal runs in a process of its
// own, since the flag that a signal sets is never cleared.
#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <string>

#include "common/clocks.h"
#include "common/stop_signal.h"
#include "run/loop.h"
#include "tests/unit/common/console.h"
#include "tests/unit/run/run_fixture.h"

namespace vorbeld {
namespace {

constexpr const char* stopping = "[vorbeld] stopping: the flow ends, retransmissions served for another 1.5 s\n";

// Holds when no expectation of the claim fails and nothing ends its process.
template <class Claim>
void expect_alone(const Claim& claim) {
  const auto run = [&claim] {
    claim();
    std::exit(testing::Test::HasFailure() ? 1 : 0);
  };
  EXPECT_EXIT(run(), testing::ExitedWithCode(0), "");
}

TEST(StopSignal, IsNotThereBeforeItCame) {
  expect_alone([] {
    catch_stop_signals();
    EXPECT_FALSE(stop_requested());
  });
}

TEST(StopSignal, MayBeAnInterruptOrATermination) {
  for (const int number : {SIGINT, SIGTERM}) {
    expect_alone([number] {
      catch_stop_signals();
      raise(number);
      EXPECT_TRUE(stop_requested());
      raise(number);
      EXPECT_TRUE(stop_requested());
    });
  }
}

TEST(Drain, DoesNotBeginByItself) {
  expect_alone([] {
    RunBench bench;
    EXPECT_EQ(console_of([&] {
                EXPECT_FALSE(drain_is_over(bench.run, start_ms));
                EXPECT_FALSE(drain_is_over(bench.run, start_ms + 1'000'000));
              }),
              "");
    EXPECT_EQ(bench.run.timers.stop_deadline_ms, 0U);
    EXPECT_FALSE(bench.run.flow.paused);
  });
}

TEST(Drain, LastsASecondAndAHalf) {
  expect_alone([] {
    RunBench bench;
    catch_stop_signals();
    raise(SIGINT);
    EXPECT_EQ(console_of([&] { EXPECT_FALSE(drain_is_over(bench.run, start_ms)); }), stopping);
    EXPECT_TRUE(bench.run.flow.paused);
    EXPECT_FALSE(drain_is_over(bench.run, start_ms + 1'499));
    EXPECT_TRUE(drain_is_over(bench.run, start_ms + 1'500));
  });
}

TEST(Drain, IsNotChangedByASecondSignal) {
  expect_alone([] {
    RunBench bench;
    catch_stop_signals();
    raise(SIGINT);
    console_of([&] { drain_is_over(bench.run, start_ms); });
    raise(SIGTERM);
    EXPECT_EQ(console_of([&] { EXPECT_FALSE(drain_is_over(bench.run, start_ms + 1'000)); }), "");
    EXPECT_TRUE(drain_is_over(bench.run, start_ms + 1'500));
  });
}

TEST(Drain, LetsTheFlowBeResumed) {
  expect_alone([] {
    RunBench bench;
    catch_stop_signals();
    raise(SIGINT);
    console_of([&] { drain_is_over(bench.run, start_ms); });
    bench.run.flow.paused = false;
    drain_is_over(bench.run, start_ms + 10);
    EXPECT_FALSE(bench.run.flow.paused);
  });
}

TEST(Drain, ServesAllButTheFlow) {
  expect_alone([] {
    RunBench bench;
    bench.run.timers.start_ms = bench.run.timers.last_status_ms = monotonic_ms();
    bench.run.flow.rate_ms = 1;  // a trade is due in every pass
    bench.run.intake.cancel_every = 0;
    send_trade(bench);
    bench.run.pending = {{0, Amendment::cancel, 1}};
    bench.run.publisher.last_send_ms = 0;
    catch_stop_signals();
    raise(SIGTERM);
    const std::uint64_t before = monotonic_ms();
    EXPECT_EQ(console_of([&] { run_loop(bench.run); }), stopping);
    EXPECT_GE(monotonic_ms() - before, 1'500U);
    EXPECT_EQ(bench.run.engine.counters.reports, 1U);
    EXPECT_EQ(bench.run.engine.counters.cancels, 1U);
  });
}

}  // namespace
}  // namespace vorbeld
