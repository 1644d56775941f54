// What the compiler of lists refuses, and what a place tells the program.
#include "linuxcard/classifier/compile.h"

#include <bpf/bpf.h>
#include <gtest/gtest.h>
#include <linux/bpf.h>

#include <array>
#include <memory>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "linuxcard/ebpf/loaded_list.h"
#include "tests/unit/linuxcard/crafted_frames.h"
#include "tests/unit/linuxcard/kernel_needs.h"

namespace {

constexpr std::uint32_t SRC_IP_FIELD = 7;
constexpr std::uint32_t IN_PORTS_FIELD = 30;

PolicyRule rule(std::uint32_t number, RuleAction action,
                std::map<std::uint32_t, std::string> fields = {}) {
  return {{10, number}, action, std::nullopt, std::move(fields)};
}

CompileRefusal refusal_of(RuleList rules, std::size_t most_cells = MOST_TABLE_CELLS) {
  const ListPart part{5, std::make_shared<RuleList>(std::move(rules))};
  const auto compiled = compile({&part, 1}, {}, most_cells);
  if (const auto* const refusal = std::get_if<CompileRefusal>(&compiled)) return *refusal;
  return {};
}

TEST(Compile, AListOfMoreThan262144RulesIsRefusedWithTheFirstOneTooMany) {
  RuleList rules;
  rules.reserve(MAX_RULES + 1);
  for (std::uint32_t i = 0; i < MAX_RULES; ++i) rules.push_back(rule(i, RuleAction::PERMIT));
  EXPECT_EQ(refusal_of(rules).reason, "");
  rules.push_back(rule(MAX_RULES, RuleAction::PERMIT));
  const CompileRefusal refusal = refusal_of(std::move(rules));
  EXPECT_EQ(refusal.reason, "a list has at most 262144 rules.");
  EXPECT_EQ(refusal.rule, (RuleKey{10, MAX_RULES}));
  EXPECT_EQ(refusal.vlan, 5);
}

TEST(Compile, AListWhoseTablesTakeTooMuchIsRefusedAsAWhole) {
  RuleList rules;
  for (std::uint32_t i = 0; i < 20000; ++i) {
    rules.push_back(rule(i, RuleAction::DENY,
                         {{SRC_IP_FIELD, "10." + std::to_string(i % 250) + "." +
                                             std::to_string(i / 250) + ".0/24"}}));
  }
  constexpr std::size_t CELLS_OF_A_MIB = (1U << 20U) / sizeof(std::uint32_t);
  const CompileRefusal refusal = refusal_of(rules, CELLS_OF_A_MIB);
  EXPECT_EQ(refusal.reason, "the tables of the list would take more than 1 MiB.");
  EXPECT_EQ(refusal.rule, std::nullopt);
  EXPECT_EQ(refusal_of(rules).reason, "");
}

// Runs a list at the one interface that a call for trying has, of which `facts` are true.
class AtAnInterface : public testing::TestWithParam<TableForm> {
 protected:
  void SetUp() override { NEEDS_BPF(GetParam()); }

  void load(RuleList rules, const InterfaceFacts& facts) {
    bpf_map_create_opts options{};
    options.sz = sizeof options;
    _interfaces = Descriptor(bpf_map_create(BPF_MAP_TYPE_HASH, "interfaces", sizeof(std::uint32_t),
                                            sizeof facts, 1, &options));
    const std::uint32_t loopback = 1;
    ASSERT_EQ(bpf_map_update_elem(_interfaces.get(), &loopback, &facts, BPF_ANY), 0);
    const ListPart part{0, std::make_shared<RuleList>(std::move(rules))};
    auto compiled = compile({&part, 1}, {{facts.slot, "1/1/1", "lag1"}});
    auto& list = std::get<CompiledList>(compiled);
    list.header.asks_interfaces = 1;
    _loaded = std::make_unique<LoadedList>(list, GetParam(), _interfaces.get());
  }

  struct Result {
    bool passes;
    std::uint32_t priority;
  };
  // The priority of the buffer was 9 before.
  [[nodiscard]] Result run(const std::vector<std::uint8_t>& frame) const {
    __sk_buff before{};
    before.priority = 9;
    __sk_buff after{};
    bpf_test_run_opts options{};
    options.sz = sizeof options;
    options.data_in = frame.data();
    options.data_size_in = static_cast<std::uint32_t>(frame.size());
    options.ctx_in = &before;
    options.ctx_size_in = sizeof before;
    options.ctx_out = &after;
    options.ctx_size_out = sizeof after;
    EXPECT_EQ(bpf_prog_test_run_opts(_loaded->program(), &options), 0);
    return {options.retval != 2, after.priority};
  }

 private:
  Descriptor _interfaces;
  std::unique_ptr<LoadedList> _loaded;
};

std::vector<std::uint8_t> frame_with_priority(std::uint16_t priority) {
  FrameParts parts;
  parts.tags = {{0x8100, static_cast<std::uint16_t>(priority << 13 | 5)}};
  return frame_of(parts);
}

constexpr InterfaceFacts WITH_QUEUES{3, 0, 1, {7, 6, 5, 4, 3, 2, 1, 0}};
constexpr InterfaceFacts WITHOUT_QUEUES{3, 0, 0, {7, 6, 5, 4, 3, 2, 1, 0}};

TEST_P(AtAnInterface, TheQueueOfATaggedPacketIsThatOfItsPriority) {
  load({}, WITH_QUEUES);
  EXPECT_EQ(run(frame_with_priority(0)).priority, 7U);
  EXPECT_EQ(run(frame_with_priority(5)).priority, 2U);
  EXPECT_EQ(run(frame_of({})).priority, 9U);
}

TEST_P(AtAnInterface, ThePriorityThatARemarkWroteChoosesTheQueue) {
  RuleList rules{rule(1, RuleAction::PERMIT)};
  rules[0].remark = Remark{RemarkKind::PRIORITY, 6};
  load(rules, WITH_QUEUES);
  EXPECT_EQ(run(frame_with_priority(0)).priority, 1U);
  EXPECT_EQ(run(frame_of({})).priority, 9U);
}

TEST_P(AtAnInterface, WithoutAQueueMapThePriorityOfTheBufferStays) {
  load({}, WITHOUT_QUEUES);
  EXPECT_EQ(run(frame_with_priority(5)).priority, 9U);
}

TEST_P(AtAnInterface, InPortsAreCalledByTheirOwnNameOrThatOfTheirAggregate) {
  for (const char* const name : {"1/1/1", "lag1", "2/1/1,lag1"}) {
    load({rule(1, RuleAction::DENY, {{IN_PORTS_FIELD, name}})}, WITHOUT_QUEUES);
    EXPECT_FALSE(run(frame_of({})).passes) << name;
  }
  load({rule(1, RuleAction::DENY, {{IN_PORTS_FIELD, "1/1/11,lag11"}})}, WITHOUT_QUEUES);
  EXPECT_TRUE(run(frame_of({})).passes);
}

INSTANTIATE_TEST_SUITE_P(Forms, AtAnInterface, testing::Values(TableForm::ARENA, TableForm::ARRAY),
                         [](const auto& tried) {
                           return tried.param == TableForm::ARENA ? "InAnArena" : "InAnArrayMap";
                         });

}  // namespace
