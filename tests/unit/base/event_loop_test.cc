#include "framework/base/event_loop.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "framework/base/posix_network.h"
#include "tests/unit/base/scripted_kernel.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using std::chrono::seconds;
using Names = std::vector<std::string>;

using TimePoints = std::vector<TimePoint>;

class EventLoopTest : public ::testing::Test {
 protected:
  // A callback that writes down its name.
  auto told(std::string name) {
    return [this, name = std::move(name)] { _ran.push_back(name); };
  }
  auto told_ready(std::string name) {
    return [this, name = std::move(name)](IoInterest) { _ran.push_back(name); };
  }
  void next_wait_reports(std::vector<IoReady> ready) {
    _kernel.ready_sets.push_back(std::move(ready));
  }
  Names take_ran() { return std::exchange(_ran, {}); }

  ScriptedKernel _kernel;
  PosixNetwork _network;
  EventLoop _loop{_kernel, _network};
  Names _ran;
};

using TimerTest = EventLoopTest;
using WatchTest = EventLoopTest;
using DeferredTest = EventLoopTest;

// A turn

TEST_F(EventLoopTest, ATurnRunsTimersThenReadyDescriptorsThenDeferredCalls) {
  Deferred deferred(_loop, told("deferred"));
  Watch watch(_loop, 5, IoInterest::READ, told_ready("ready"));
  Timer timer(_loop, told("timer"));
  deferred.schedule();
  timer.schedule_after(Duration::zero());
  next_wait_reports({{5, IoInterest::READ}});
  _loop.run();
  EXPECT_EQ(_ran, (Names{"timer", "ready", "deferred"}));
}

TEST_F(EventLoopTest, TimeStandsStillWithinATurn) {
  std::vector<TimePoint> seen;
  Timer first(_loop, [&] {
    seen.push_back(_loop.now());
    _kernel.time += seconds(5);
  });
  Timer second(_loop, [&] { seen.push_back(_loop.now()); });
  Deferred last(_loop, [&] { seen.push_back(_loop.now()); });
  first.schedule_after(seconds(1));
  second.schedule_after(seconds(1));
  _loop.run();
  last.schedule();
  _kernel.time += seconds(1);
  _loop.run();
  EXPECT_EQ(seen, (std::vector<TimePoint>{TimePoint(seconds(1)), TimePoint(seconds(1)),
                                          TimePoint(seconds(7))}));
}

TEST_F(EventLoopTest, TheTimeOfATurnIsTheOneAfterItsSleep) {
  Timer timer(_loop, [] {});
  timer.schedule_after(seconds(3));
  _loop.run();
  EXPECT_EQ(_loop.now(), TimePoint(seconds(3)));
}

TEST_F(EventLoopTest, ATurnWaitsOnceAndReadsTheClockOnce) {
  Timer timer(_loop, [] {});
  timer.schedule_after(seconds(3));
  _kernel.clock_reads = 0;
  _loop.run();
  EXPECT_EQ(_kernel.limits.size(), 1U);
  EXPECT_EQ(_kernel.clock_reads, 1U);
}

TEST_F(EventLoopTest, WithNothingToDoItSleepsWithoutLimit) {
  _loop.run();
  EXPECT_EQ(_kernel.limits, TimePoints{Kernel::NEVER});
}

TEST_F(EventLoopTest, ItSleepsUntilTheNextTimerToTheNanosecond) {
  Timer far(_loop, [] {});
  Timer near(_loop, [] {});
  far.schedule_after(seconds(9));
  near.schedule_after(nanoseconds(1));
  _loop.run();
  EXPECT_EQ(_kernel.limits, TimePoints{TimePoint(nanoseconds(1))});
}

TEST_F(EventLoopTest, ItSleepsShorterWhenTheCallbacksTookTime) {
  Timer timer(_loop, [] {});
  timer.schedule_after(seconds(9));
  _kernel.time += seconds(2);
  _loop.run();
  EXPECT_EQ(_loop.now(), TimePoint(seconds(9)));
}

TEST_F(EventLoopTest, ItDoesNotSleepWhenATimerIsOverdue) {
  Timer timer(_loop, told("timer"));
  timer.schedule_after(seconds(1));
  _kernel.time += seconds(2);
  _loop.run();
  EXPECT_EQ(_loop.now(), TimePoint(seconds(2)));
  EXPECT_EQ(_ran, (Names{"timer"}));
}

TEST_F(EventLoopTest, ItDoesNotSleepWhileACallIsDeferred) {
  Deferred deferred(_loop, told("deferred"));
  deferred.schedule();
  _loop.run();
  _loop.run();
  EXPECT_EQ(_kernel.limits, (TimePoints{Kernel::AT_ONCE, Kernel::NEVER}));
}

TEST_F(EventLoopTest, ItHandsOutItsKernelAndNetwork) {
  EXPECT_EQ(&_loop.kernel(), &_kernel);
  EXPECT_EQ(&_loop.network(), &_network);
}

TEST_F(EventLoopTest, ANestedTurnRunsWhatIsDueAndComesBack) {
  Timer other(_loop, told("other"));
  Timer outer(_loop, [&] {
    _ran.emplace_back("begin");
    _loop.run();
    _ran.emplace_back("end");
  });
  outer.schedule_after(seconds(1));
  other.schedule_after(seconds(1));
  _loop.run();
  EXPECT_EQ(_ran, (Names{"begin", "other", "end"}));
}

TEST_F(EventLoopTest, ANestedTurnMayEnterTheSameCallbackAgain) {
  int depth = 0;
  std::optional<Timer> timer;
  timer.emplace(_loop, [&] {
    _ran.push_back("begin " + std::to_string(++depth));
    if (depth < 3) {
      timer->schedule_after(seconds(1));
      _loop.run();
    }
    _ran.push_back("end " + std::to_string(depth--));
  });
  timer->schedule_after(seconds(1));
  _loop.run();
  EXPECT_EQ(_ran, (Names{"begin 1", "begin 2", "begin 3", "end 3", "end 2", "end 1"}));
}

TEST_F(EventLoopTest, ANestedTurnRunsTheDeferredCallsThatTheOuterOneStillHas) {
  Deferred last(_loop, told("last"));
  Deferred first(_loop, [&] {
    _loop.run();
    _ran.emplace_back("first ends");
  });
  first.schedule();
  last.schedule();
  _loop.run();
  EXPECT_EQ(_ran, (Names{"last", "first ends"}));
}

TEST_F(EventLoopTest, ANestedTurnLeavesTheOuterOnesReadinessAlone) {
  Watch inner(_loop, 6, IoInterest::READ, told_ready("six"));
  Watch outer(_loop, 5, IoInterest::READ, [&](IoInterest) {
    next_wait_reports({{6, IoInterest::READ}});
    _loop.run();
    _ran.emplace_back("five");
  });
  Watch third(_loop, 7, IoInterest::READ, told_ready("seven"));
  next_wait_reports({{5, IoInterest::READ}, {7, IoInterest::READ}});
  _loop.run();
  EXPECT_EQ(_ran, (Names{"six", "five", "seven"}));
}

// Timers

TEST_F(TimerTest, RunsOnceAndIsThenNotArmed) {
  Timer timer(_loop, told("timer"));
  EXPECT_FALSE(timer.is_armed());
  timer.schedule_after(seconds(1));
  EXPECT_TRUE(timer.is_armed());
  EXPECT_EQ(timer.when(), TimePoint(seconds(1)));
  _loop.run();
  EXPECT_FALSE(timer.is_armed());
  _loop.run();
  EXPECT_EQ(_ran, (Names{"timer"}));
}

TEST_F(TimerTest, DoesNotRunBeforeItsTime) {
  Timer timer(_loop, told("timer"));
  timer.schedule_after(seconds(1));
  next_wait_reports({});
  _kernel.time = TimePoint(seconds(1)) - nanoseconds(1);
  _loop.run();
  EXPECT_EQ(_ran, Names{});
  _kernel.time += nanoseconds(1);
  _loop.run();
  EXPECT_EQ(_ran, (Names{"timer"}));
}

TEST_F(TimerTest, RunInOrderOfTheirTimeWhateverTheOrderOfArming) {
  Timer c(_loop, told("c"));
  Timer a(_loop, told("a"));
  Timer b(_loop, told("b"));
  c.schedule_after(seconds(3));
  a.schedule_after(seconds(1));
  b.schedule_after(seconds(2));
  _kernel.time += seconds(10);
  _loop.run();
  EXPECT_EQ(_ran, (Names{"a", "b", "c"}));
}

TEST_F(TimerTest, OfEqualTimeRunInTheOrderTheyWereArmed) {
  std::vector<std::unique_ptr<Timer>> timers;
  Names expected;
  for (int i = 0; i < 20; ++i) {
    timers.push_back(std::make_unique<Timer>(_loop, told(std::to_string(i))));
    timers.back()->schedule_at(TimePoint(seconds(1)));
    expected.push_back(std::to_string(i));
  }
  _loop.run();
  EXPECT_EQ(_ran, expected);
}

TEST_F(TimerTest, ArmedWithinATurnRunInALaterOne) {
  std::optional<Timer> timer;
  timer.emplace(_loop, [&] {
    _ran.emplace_back("run");
    timer->schedule_after(Duration::zero());
  });
  timer->schedule_after(Duration::zero());
  _loop.run();
  EXPECT_EQ(take_ran(), (Names{"run"}));
  _loop.run();
  EXPECT_EQ(take_ran(), (Names{"run"}));
}

TEST_F(TimerTest, ArmedForThePastWithinATurnHoldNoDueOneBack) {
  Timer early(_loop, told("early"));
  Timer first(_loop, [&] { early.schedule_at(TimePoint(seconds(1))); });
  Timer second(_loop, told("second"));
  first.schedule_after(seconds(5));
  second.schedule_after(seconds(6));
  _kernel.time += seconds(10);
  _loop.run();
  EXPECT_EQ(take_ran(), (Names{"second"}));
  EXPECT_EQ(early.when(), TimePoint(seconds(10)));
  _loop.run();
  EXPECT_EQ(take_ran(), (Names{"early"}));
}

TEST_F(TimerTest, ArmedAgainForgetTheirFormerTime) {
  Timer timer(_loop, told("timer"));
  timer.schedule_after(seconds(1));
  timer.schedule_after(seconds(5));
  _kernel.time += seconds(2);
  next_wait_reports({});
  _loop.run();
  EXPECT_EQ(_ran, Names{});
  _loop.run();
  EXPECT_EQ(_ran, (Names{"timer"}));
}

TEST_F(TimerTest, CancelledDoNotRun) {
  Timer timer(_loop, told("timer"));
  timer.schedule_after(seconds(1));
  timer.cancel();
  timer.cancel();
  _loop.run();
  EXPECT_EQ(_ran, Names{});
  EXPECT_EQ(_kernel.limits, TimePoints{Kernel::NEVER});
}

TEST_F(TimerTest, CancelledByAnotherDueOneDoNotRun) {
  Timer victim(_loop, told("victim"));
  Timer timer(_loop, [&] { victim.cancel(); });
  timer.schedule_after(seconds(1));
  victim.schedule_after(seconds(1));
  _loop.run();
  EXPECT_EQ(_ran, Names{});
}

TEST_F(TimerTest, DestroyedByAnotherDueOneDoNotRun) {
  std::optional<Timer> victim;
  victim.emplace(_loop, told("victim"));
  Timer timer(_loop, [&] { victim.reset(); });
  timer.schedule_after(seconds(1));
  victim->schedule_after(seconds(1));
  _loop.run();
  EXPECT_EQ(_ran, Names{});
}

TEST_F(TimerTest, MayBeDestroyedInTheirOwnCallback) {
  std::optional<Timer> timer;
  const auto token = std::make_shared<std::string>("still here");
  timer.emplace(_loop, [this, &timer, token] {
    timer.reset();
    _ran.push_back(*token);
  });
  timer->schedule_after(seconds(1));
  _loop.run();
  EXPECT_EQ(_ran, (Names{"still here"}));
  EXPECT_EQ(token.use_count(), 1);
}

TEST_F(TimerTest, MayBeReplacedInTheirOwnCallback) {
  std::optional<Timer> timer;
  timer.emplace(_loop, [&] {
    timer.emplace(_loop, told("second"));
    timer->schedule_after(seconds(1));
    _ran.emplace_back("first");
  });
  timer->schedule_after(seconds(1));
  _loop.run();
  _loop.run();
  EXPECT_EQ(_ran, (Names{"first", "second"}));
}

TEST_F(TimerTest, WithAnEndlessDelayAreCutAtTheEndOfTime) {
  Timer timer(_loop, told("timer"));
  _kernel.time += seconds(1);
  next_wait_reports({});
  _loop.run();
  timer.schedule_after(Duration::max());
  EXPECT_EQ(timer.when(), TimePoint::max());
}

TEST_F(TimerTest, WithANegativeDelayAreDueNow) {
  Timer timer(_loop, told("timer"));
  timer.schedule_after(Duration::min());
  EXPECT_EQ(timer.when(), _loop.now());
}

TEST_F(TimerTest, KeepTheirOrderThroughManyRandomChanges) {
  constexpr std::size_t TIMERS = 200;
  // NOLINTNEXTLINE(cert-msc51-cpp): the same run every time
  std::mt19937 random(1);
  std::vector<std::unique_ptr<Timer>> timers;
  std::vector<std::size_t> ran;
  for (std::size_t i = 0; i < TIMERS; ++i) {
    timers.push_back(std::make_unique<Timer>(_loop, [&ran, i] { ran.push_back(i); }));
  }
  std::set<std::tuple<Duration, int, std::size_t>> model;  // when, order of arming, timer
  for (int order = 0; order < 3000; ++order) {
    const std::size_t i = random() % TIMERS;
    std::erase_if(model, [i](const auto& entry) { return std::get<2>(entry) == i; });
    if (random() % 3 == 0) {
      timers[i]->cancel();
    } else {
      const Duration when = seconds(random() % 50);
      timers[i]->schedule_at(TimePoint(when));
      model.emplace(when, order, i);
    }
  }
  std::vector<std::size_t> expected;
  expected.reserve(model.size());
  for (const auto& entry : model) expected.push_back(std::get<2>(entry));
  _kernel.time += seconds(100);
  _loop.run();
  EXPECT_EQ(ran, expected);
}

// Watches

TEST_F(WatchTest, TellTheKernelOnlyWhatChanges) {
  {
    Watch watch(_loop, 5, IoInterest::READ, [](IoInterest) {});
    watch.set_interest(IoInterest::READ);
    watch.set_interest(IoInterest::READ_WRITE);
    watch.set_interest(IoInterest::READ_WRITE);
    watch.set_interest(IoInterest::WRITE);
    EXPECT_EQ(watch.interest(), IoInterest::WRITE);
    EXPECT_EQ(watch.fd(), 5);
  }
  EXPECT_EQ(_kernel.watch_calls, (Names{"5 READ", "5 READ_WRITE", "5 WRITE", "5 NONE"}));
}

TEST_F(WatchTest, WithoutInterestDoNotReachTheKernel) {
  {
    Watch watch(_loop, 5, IoInterest::NONE, [](IoInterest) {});
  }
  EXPECT_EQ(_kernel.watch_calls, Names{});
}

TEST_F(WatchTest, AreToldWhatTheirDescriptorIsReadyFor) {
  std::vector<IoInterest> told_of;
  Watch watch(_loop, 5, IoInterest::READ_WRITE,
              [&](IoInterest ready) { told_of.push_back(ready); });
  next_wait_reports({{5, IoInterest::READ}});
  next_wait_reports({{5, IoInterest::WRITE}});
  next_wait_reports({{5, IoInterest::READ_WRITE}});
  for (int turn = 0; turn < 3; ++turn) _loop.run();
  EXPECT_EQ(told_of,
            (std::vector<IoInterest>{IoInterest::READ, IoInterest::WRITE, IoInterest::READ_WRITE}));
}

TEST_F(WatchTest, AreNotToldOfWhatTheyStoppedWatchingFor) {
  std::vector<IoInterest> told_of;
  std::optional<Watch> second;
  Watch first(_loop, 5, IoInterest::READ,
              [&](IoInterest) { second->set_interest(IoInterest::WRITE); });
  second.emplace(_loop, 6, IoInterest::READ_WRITE,
                 [&](IoInterest ready) { told_of.push_back(ready); });
  next_wait_reports({{5, IoInterest::READ}, {6, IoInterest::READ_WRITE}});
  next_wait_reports({{5, IoInterest::READ}, {6, IoInterest::READ}});
  _loop.run();
  EXPECT_EQ(told_of, (std::vector<IoInterest>{IoInterest::WRITE}));
  _loop.run();
  EXPECT_EQ(told_of.size(), 1U);
}

TEST_F(WatchTest, DestroyedByAnotherOneInTheSameTurnDoNotRun) {
  std::optional<Watch> second;
  Watch first(_loop, 5, IoInterest::READ, [&](IoInterest) { second.reset(); });
  second.emplace(_loop, 6, IoInterest::READ, told_ready("second"));
  next_wait_reports({{5, IoInterest::READ}, {6, IoInterest::READ}});
  _loop.run();
  EXPECT_EQ(_ran, Names{});
}

TEST_F(WatchTest, DestroyedByATimerInTheSameTurnDoNotRun) {
  std::optional<Watch> watch;
  watch.emplace(_loop, 5, IoInterest::READ, told_ready("watch"));
  Timer timer(_loop, [&] { watch.reset(); });
  timer.schedule_after(Duration::zero());
  next_wait_reports({{5, IoInterest::READ}});
  _loop.run();
  EXPECT_EQ(_ran, Names{});
}

TEST_F(WatchTest, MayBeDestroyedInTheirOwnCallback) {
  std::optional<Watch> watch;
  const auto token = std::make_shared<std::string>("still here");
  watch.emplace(_loop, 5, IoInterest::READ, [this, &watch, token](IoInterest) {
    watch.reset();
    _ran.push_back(*token);
  });
  next_wait_reports({{5, IoInterest::READ}});
  _loop.run();
  EXPECT_EQ(_ran, (Names{"still here"}));
  EXPECT_EQ(token.use_count(), 1);
}

TEST_F(WatchTest, OnAReusedDescriptorNumberDoNotGetTheFormerOnesReadiness) {
  std::optional<Watch> second;
  Watch first(_loop, 5, IoInterest::READ, [&](IoInterest) {
    second.reset();
    second.emplace(_loop, 6, IoInterest::READ, told_ready("new six"));
  });
  second.emplace(_loop, 6, IoInterest::READ, told_ready("old six"));
  next_wait_reports({{5, IoInterest::READ}, {6, IoInterest::READ}});
  _loop.run();
  EXPECT_EQ(take_ran(), Names{});
  next_wait_reports({{6, IoInterest::READ}});
  _loop.run();
  EXPECT_EQ(take_ran(), (Names{"new six"}));
}

TEST_F(WatchTest, MadeByATimerWaitForTheNextTurn) {
  std::optional<Watch> watch;
  Timer timer(_loop, [&] { watch.emplace(_loop, 5, IoInterest::READ, told_ready("watch")); });
  timer.schedule_after(Duration::zero());
  next_wait_reports({{5, IoInterest::READ}});
  _loop.run();
  EXPECT_EQ(_ran, Names{});
}

TEST_F(WatchTest, ReadinessOfDescriptorsNobodyWatchesIsPassedOver) {
  Watch watch(_loop, 5, IoInterest::READ, told_ready("watch"));
  next_wait_reports({{99, IoInterest::READ}, {4, IoInterest::READ}, {5, IoInterest::READ}});
  _loop.run();
  EXPECT_EQ(_ran, (Names{"watch"}));
}

TEST_F(WatchTest, TwoOnOneDescriptorAreAMistake) {
  Watch watch(_loop, 5, IoInterest::READ, [](IoInterest) {});
  EXPECT_DEATH(Watch(_loop, 5, IoInterest::READ, [](IoInterest) {}),
               "descriptor 5 is watched already");
}

TEST_F(WatchTest, OnNoDescriptorAreAMistake) {
  EXPECT_DEATH(Watch(_loop, -1, IoInterest::READ, [](IoInterest) {}), "descriptor -1");
}

// Deferred calls

TEST_F(DeferredTest, ScheduledOutsideATurnRunInTheNext) {
  Deferred deferred(_loop, told("deferred"));
  EXPECT_FALSE(deferred.is_scheduled());
  deferred.schedule();
  EXPECT_TRUE(deferred.is_scheduled());
  _loop.run();
  EXPECT_FALSE(deferred.is_scheduled());
  EXPECT_EQ(_ran, (Names{"deferred"}));
}

TEST_F(DeferredTest, ScheduledSeveralTimesRunOnce) {
  Deferred deferred(_loop, told("deferred"));
  Timer timer(_loop, [&] {
    deferred.schedule();
    deferred.schedule();
  });
  timer.schedule_after(seconds(1));
  _loop.run();
  _loop.run();
  EXPECT_EQ(_ran, (Names{"deferred"}));
}

TEST_F(DeferredTest, RunInTheOrderTheyWereScheduled) {
  Deferred a(_loop, told("a"));
  Deferred b(_loop, told("b"));
  Deferred c(_loop, told("c"));
  b.schedule();
  c.schedule();
  a.schedule();
  _loop.run();
  EXPECT_EQ(_ran, (Names{"b", "c", "a"}));
}

TEST_F(DeferredTest, ScheduledByADeferredCallRunInTheNextTurnWhichDoesNotSleep) {
  std::optional<Deferred> deferred;
  int runs = 0;
  deferred.emplace(_loop, [&] {
    if (++runs == 1) deferred->schedule();
  });
  deferred->schedule();
  _loop.run();
  EXPECT_EQ(runs, 1);
  EXPECT_TRUE(deferred->is_scheduled());
  _loop.run();
  EXPECT_EQ(runs, 2);
  EXPECT_EQ(_kernel.limits, (TimePoints{Kernel::AT_ONCE, Kernel::AT_ONCE}));
}

TEST_F(DeferredTest, CancelledDoNotRun) {
  Deferred a(_loop, told("a"));
  Deferred b(_loop, told("b"));
  Deferred c(_loop, told("c"));
  for (Deferred* deferred : {&a, &b, &c}) deferred->schedule();
  b.cancel();
  b.cancel();
  EXPECT_FALSE(b.is_scheduled());
  _loop.run();
  EXPECT_EQ(_ran, (Names{"a", "c"}));
}

TEST_F(DeferredTest, DestroyedByAnotherOneDoNotRun) {
  std::optional<Deferred> victim;
  Deferred first(_loop, [&] { victim.reset(); });
  Deferred last(_loop, told("last"));
  victim.emplace(_loop, told("victim"));
  first.schedule();
  victim->schedule();
  last.schedule();
  _loop.run();
  EXPECT_EQ(_ran, (Names{"last"}));
}

TEST_F(DeferredTest, MayBeDestroyedInTheirOwnCallback) {
  std::optional<Deferred> deferred;
  const auto token = std::make_shared<std::string>("still here");
  deferred.emplace(_loop, [this, &deferred, token] {
    deferred.reset();
    _ran.push_back(*token);
  });
  deferred->schedule();
  _loop.run();
  EXPECT_EQ(_ran, (Names{"still here"}));
  EXPECT_EQ(token.use_count(), 1);
}

TEST_F(DeferredTest, CancelledFirstOrLastLeaveTheOthersInOrder) {
  Deferred a(_loop, told("a"));
  Deferred b(_loop, told("b"));
  Deferred c(_loop, told("c"));
  for (Deferred* deferred : {&a, &b, &c}) deferred->schedule();
  a.cancel();
  c.cancel();
  c.schedule();
  a.schedule();
  _loop.run();
  EXPECT_EQ(_ran, (Names{"b", "c", "a"}));
}

}  // namespace
