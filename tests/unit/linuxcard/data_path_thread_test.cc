#include "linuxcard/data_path_thread.h"

#include <gtest/gtest.h>

#include <future>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

// Waits within apply() until it is let go.
class SlowDataPath final : public DataPath {
 public:
  explicit SlowDataPath(std::shared_future<void> let_go) : _let_go(std::move(let_go)) {}
  PolicyReport apply(const SwitchPolicy& policy) override {
    _let_go.wait();
    if (policy.ports.empty()) throw std::runtime_error("no port.");
    return {{}, policy.ports.size(), 0};
  }
  void set_active_time_ranges(const std::set<std::string>& active) override { _active = active; }
  std::vector<RuleCounters> counters() override { return {{{1, 2}, 3, _active.size()}}; }
  void remove_everything() override {}

 private:
  std::shared_future<void> _let_go;
  std::set<std::string> _active;
};

class DataPathThreadTest : public testing::Test {
 protected:
  DataPathRunner::Outcome apply(DataPathRunner& runner, std::size_t ports) {
    auto policy = std::make_shared<SwitchPolicy>();
    policy->ports.resize(ports);
    std::optional<DataPathRunner::Outcome> outcome;
    runner.apply(policy, [&](const DataPathRunner::Outcome& told) { outcome = told; });
    while (!outcome) loop.run();
    return *outcome;
  }

  EventLoop loop;
  std::promise<void> promise;
  std::shared_future<void> let_go{promise.get_future()};
};

TEST_F(DataPathThreadTest, TheLoopGoesOnWhileTheDataPathWorks) {
  DataPathThread runner(loop, [this] { return std::make_unique<SlowDataPath>(let_go); });
  bool applied = false;
  auto policy = std::make_shared<SwitchPolicy>();
  policy->ports.resize(1);
  runner.apply(policy, [&](const DataPathRunner::Outcome&) { applied = true; });
  bool turned = false;
  Timer timer(loop, [&] { turned = true; });
  timer.schedule_after(std::chrono::milliseconds(1));
  while (!turned) loop.run();
  EXPECT_FALSE(applied);
  promise.set_value();
  while (!applied) loop.run();
}

TEST_F(DataPathThreadTest, AnswersInTheOrderAsked) {
  promise.set_value();
  DataPathThread runner(loop, [this] { return std::make_unique<SlowDataPath>(let_go); });
  EXPECT_EQ(apply(runner, 2).report.lists_built, 2U);
  std::vector<RuleCounters> counters;
  runner.count([&](const std::vector<RuleCounters>& told) { counters = told; });
  while (counters.empty()) loop.run();
  EXPECT_EQ(counters, (std::vector<RuleCounters>{{{1, 2}, 3, 0}}));
}

TEST_F(DataPathThreadTest, TellsTheDataPathOfTimeRangesInTurn) {
  promise.set_value();
  DataPathThread runner(loop, [this] { return std::make_unique<SlowDataPath>(let_go); });
  std::vector<RuleCounters> counters;
  runner.set_active_time_ranges({"day", "night"});
  runner.count([&](const std::vector<RuleCounters>& told) { counters = told; });
  while (counters.empty()) loop.run();
  EXPECT_EQ(counters, (std::vector<RuleCounters>{{{1, 2}, 3, 2}}));
}

TEST_F(DataPathThreadTest, EndsBehindTheCallThatIsUnderWayAndAnswersNothing) {
  std::promise<void> begun;
  bool answered = false;
  {
    DataPathThread runner(loop, [&] {
      begun.set_value();
      return std::make_unique<SlowDataPath>(let_go);
    });
    const auto answer = [&](const auto&) { answered = true; };
    runner.apply(std::make_shared<SwitchPolicy>(), answer);
    runner.count(answer);
    begun.get_future().wait();
    promise.set_value();
  }
  bool turned = false;
  Timer timer(loop, [&] { turned = true; });
  timer.schedule_after(std::chrono::milliseconds(1));
  while (!turned) loop.run();
  EXPECT_FALSE(answered);
}

TEST_F(DataPathThreadTest, WhatADataPathThrowsIsTheProblem) {
  promise.set_value();
  DataPathThread runner(loop, [this] { return std::make_unique<SlowDataPath>(let_go); });
  EXPECT_EQ(apply(runner, 0).problem, "no port.");
}

TEST_F(DataPathThreadTest, ADataPathThatCannotBeMadeIsMadeLater) {
  promise.set_value();
  int attempts = 0;
  DataPathThread runner(loop, [&]() -> std::unique_ptr<DataPath> {
    if (++attempts == 1) throw std::runtime_error("no BPF.");
    return std::make_unique<SlowDataPath>(let_go);
  });
  EXPECT_EQ(apply(runner, 1).problem, "no BPF.");
  EXPECT_EQ(apply(runner, 1).problem, "");
}

}  // namespace
