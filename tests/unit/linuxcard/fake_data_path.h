// A data path that remembers what it was given.
#pragma once

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "framework/base/event_loop.h"
#include "linuxcard/data_path_runner.h"

class FakeDataPath final : public DataPathRunner {
 public:
  explicit FakeDataPath(EventLoop& loop) : _answer(loop, [this] { answer(); }) {}

  void apply(std::shared_ptr<const SwitchPolicy> policy, Applied applied) override {
    policies.push_back(std::move(policy));
    _answers.push_back([this, applied = std::move(applied)] { applied(outcome); });
    _answer.schedule();
  }
  void set_active_time_ranges(std::set<std::string> active) override {
    active_time_ranges.push_back(std::move(active));
  }
  void count(Counted counted) override {
    _answers.push_back([this, counted = std::move(counted)] { counted(counters); });
    _answer.schedule();
  }

  // The latest policy; one without anything when there is none.
  [[nodiscard]] SwitchPolicy latest() const {
    return policies.empty() ? SwitchPolicy() : *policies.back();
  }
  // "10/1 10/2" of a port of the latest policy, "none" without such a port.
  [[nodiscard]] std::string filters_of(const std::string& port) const {
    for (const PolicyPort& candidate : latest().ports) {
      if (candidate.name == port) return text_of(candidate.filters);
    }
    return "none";
  }
  [[nodiscard]] std::string filters_of(std::uint16_t vlan) const {
    const SwitchPolicy policy = latest();
    const auto at = policy.vlans.find(vlan);
    return at == policy.vlans.end() ? "none" : text_of(at->second);
  }

  std::vector<std::shared_ptr<const SwitchPolicy>> policies;
  std::vector<std::set<std::string>> active_time_ranges;
  Outcome outcome;
  std::vector<RuleCounters> counters;

 private:
  static std::string text_of(const SharedRuleList& list) {
    std::string text;
    if (list == nullptr) return text;
    for (const PolicyRule& rule : *list) {
      text += (text.empty() ? "" : " ") + std::to_string(rule.key.acl) + "/" +
              std::to_string(rule.key.rule);
    }
    return text;
  }
  void answer() {
    const auto answers = std::exchange(_answers, {});
    for (const auto& answer : answers) answer();
  }

  std::vector<std::function<void()>> _answers;
  Deferred _answer;
};
