// The data path on real interfaces: what comes out at the other end of a wire.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

#include "linuxcard/ebpf/ebpf_data_path.h"
#include "tests/unit/linuxcard/crafted_frames.h"
#include "tests/unit/linuxcard/first_match_model.h"
#include "tests/unit/linuxcard/kernel_needs.h"
#include "tests/unit/linuxcard/network_namespace.h"

namespace {

using Frame = std::vector<std::uint8_t>;

PolicyRule rule(std::uint32_t number, RuleAction action,
                std::map<std::uint32_t, std::string> fields = {}) {
  return {{10, number}, action, std::nullopt, std::move(fields)};
}

// How many, unless the environment says otherwise.
std::size_t number_of(const char* what, std::size_t usual) {
  const char* const wanted = std::getenv(what);
  return wanted == nullptr ? usual : std::strtoul(wanted, nullptr, 10);
}

SharedRuleList rules(RuleList list) {
  return std::make_shared<RuleList>(std::move(list));
}

const std::uint32_t DST_PORT_FIELD = 13;
const std::uint32_t IN_PORTS_FIELD = 30;
const std::uint32_t TIME_RANGE_FIELD = 32;

Frame to_port(std::uint16_t port) {
  FrameParts parts;
  parts.dst_port = port;
  return frame_of(parts);
}

Frame tagged(std::uint16_t tag, std::uint16_t port) {
  FrameParts parts;
  parts.tags = {{0x8100, tag}};
  parts.dst_port = port;
  return frame_of(parts);
}

class EbpfDataPathTest : public testing::TestWithParam<bool> {
 protected:
  void SetUp() override {
    NEEDS_ROOT();
    if (GetParam() && !TcxHook::is_supported()) GTEST_SKIP() << "needs a kernel with tcx";
    _folder = std::make_unique<PinFolder>();
    _namespace = std::make_unique<NetworkNamespace>();
    stay_on_one_processor();
    for (const std::string number : {"1", "2", "3"}) {
      _namespace->add_wire("peer" + number, "port" + number);
      _namespace->add_wire("out" + number, "sink" + number);
      _namespace->add_bridge("br" + number, "port" + number, "out" + number);
      await_way("peer" + number, "sink" + number);
    }
    start();
  }
  void TearDown() override {
    if (_data_path != nullptr) _data_path->remove_everything();
  }

  // As after a restart of the process.
  void start() {
    _data_path.reset();
    std::unique_ptr<InterfaceHook> hook;
    if (GetParam()) {
      hook = std::make_unique<TcxHook>();
    } else {
      hook = std::make_unique<ClsactHook>();
    }
    _data_path =
        std::make_unique<EbpfDataPath>(_folder->path(), best_table_form(), std::move(hook));
  }

  SwitchPolicy policy(SharedRuleList first, SharedRuleList second = nullptr) {
    SwitchPolicy policy;
    policy.ports.push_back({"1/1/1", "", index_of("port1"), 0, std::move(first), {}});
    policy.ports.push_back({"1/1/2", "", index_of("port2"), 0, std::move(second), {}});
    return policy;
  }
  void apply(const SwitchPolicy& policy) {
    const PolicyReport report = _data_path->apply(policy);
    for (const PolicyRefusal& refusal : report.refusals) ADD_FAILURE() << refusal.reason;
  }
  // What goes on of a frame that comes in by `port1`; empty when nothing does. A frame by
  // port3, which has no policy, goes the same way after it: when that has come out, so
  // has the first, if it ever does.
  static Frame sent(const Frame& frame, const std::string& number = "1") {
    const FrameSocket from("peer" + number);
    const FrameSocket to("sink" + number);
    const FrameSocket late_from("peer3");
    const FrameSocket late_to("sink3");
    return exchange(frame, from, to, late_from, late_to);
  }
  static Frame exchange(const Frame& frame, const FrameSocket& from, const FrameSocket& to,
                        const FrameSocket& late_from, const FrameSocket& late_to) {
    from.send(frame);
    late_from.send(to_port(1));
    late_to.wait();
    (void)late_to.receive();
    return to.receive();
  }
  static bool passes(const Frame& frame, const std::string& number = "1") {
    return !sent(frame, number).empty();
  }
  std::uint64_t packets_of(std::uint32_t number) {
    for (const RuleCounters& counted : _data_path->counters()) {
      if (counted.key == RuleKey{10, number}) return counted.packets;
    }
    return 0;
  }

  std::unique_ptr<PinFolder> _folder;
  std::unique_ptr<NetworkNamespace> _namespace;
  std::unique_ptr<EbpfDataPath> _data_path;
};

TEST_P(EbpfDataPathTest, APortWithoutPolicyPassesEverything) {
  EXPECT_TRUE(passes(to_port(80)));
  apply(policy(nullptr));
  EXPECT_TRUE(passes(to_port(80)));
}

TEST_P(EbpfDataPathTest, TheFirstRuleThatMatchesDecidesAndCounts) {
  apply(policy(rules({rule(1, RuleAction::PERMIT, {{DST_PORT_FIELD, "80"}}),
                      rule(2, RuleAction::DENY, {{DST_PORT_FIELD, "80-90"}})})));
  EXPECT_TRUE(passes(to_port(80)));
  EXPECT_FALSE(passes(to_port(81)));
  EXPECT_TRUE(passes(to_port(91)));
  const std::uint64_t size = to_port(80).size();
  EXPECT_EQ(_data_path->counters(),
            (std::vector<RuleCounters>{{{10, 1}, 1, size}, {{10, 2}, 1, size}}));
}

TEST_P(EbpfDataPathTest, FiltersHoldOnTheirPortAlone) {
  apply(policy(rules({rule(1, RuleAction::DENY)})));
  EXPECT_FALSE(passes(to_port(80), "1"));
  EXPECT_TRUE(passes(to_port(80), "2"));
}

TEST_P(EbpfDataPathTest, FiltersOfTheVlanComeAfterThoseOfThePort) {
  SwitchPolicy wanted = policy(rules({rule(1, RuleAction::PERMIT, {{DST_PORT_FIELD, "80"}})}));
  wanted.vlans[5] = rules({rule(2, RuleAction::DENY)});
  apply(wanted);
  EXPECT_TRUE(passes(tagged(5, 80)));
  EXPECT_FALSE(passes(tagged(5, 81)));
  EXPECT_TRUE(passes(tagged(6, 81)));
  EXPECT_FALSE(passes(tagged(5, 80), "2"));
}

TEST_P(EbpfDataPathTest, PacketsWithoutATagBelongToTheVlanOfThePort) {
  SwitchPolicy wanted = policy(nullptr);
  wanted.ports[0].untagged_vlan = 5;
  wanted.vlans[5] = rules({rule(2, RuleAction::DENY)});
  apply(wanted);
  EXPECT_FALSE(passes(to_port(80)));
  EXPECT_FALSE(passes(tagged(0xe000, 80)));
  EXPECT_TRUE(passes(tagged(6, 80)));
  EXPECT_TRUE(passes(to_port(80), "2"));
}

TEST_P(EbpfDataPathTest, FiltersOfTheVlanAreAskedAtTheAggregateNotAtItsMembers) {
  const RuleList of_port{rule(1, RuleAction::DENY, {{DST_PORT_FIELD, "99"}})};
  SwitchPolicy wanted = policy(rules(of_port), rules(of_port));
  wanted.ports[0].aggregate = "lag1";
  wanted.ports[1].name = "lag1";
  wanted.vlans[5] = rules({rule(2, RuleAction::DENY)});
  apply(wanted);
  EXPECT_TRUE(passes(tagged(5, 80), "1"));
  EXPECT_FALSE(passes(tagged(5, 99), "1"));
  EXPECT_FALSE(passes(tagged(5, 80), "2"));
  EXPECT_EQ(packets_of(2), 1U);
  start();
  apply(wanted);
  EXPECT_TRUE(passes(tagged(5, 80), "1"));
  wanted.ports[0].aggregate.clear();
  apply(wanted);
  EXPECT_FALSE(passes(tagged(5, 80), "1"));
}

TEST_P(EbpfDataPathTest, ARefusedListNamesItsRuleAndLeavesTheOldOneInForce) {
  apply(policy(rules({rule(1, RuleAction::DENY)})));
  const PolicyReport report = _data_path->apply(
      policy(rules({rule(1, RuleAction::PERMIT), rule(2, RuleAction::PERMIT, {{31, "1/1/2"}})}),
             rules({rule(3, RuleAction::DENY)})));
  EXPECT_EQ(report.refusals, (std::vector<PolicyRefusal>{
                                 {"1/1/1", 0, RuleKey{10, 2},
                                  "match field 'out-ports' is not known where packets come in."}}));
  EXPECT_FALSE(passes(to_port(80), "1"));
  EXPECT_FALSE(passes(to_port(80), "2"));
}

TEST_P(EbpfDataPathTest, ARefusedVlanKeepsItsFiltersAndTheOthersGetTheirs) {
  SwitchPolicy wanted = policy(nullptr);
  wanted.vlans[5] = rules({rule(1, RuleAction::DENY)});
  apply(wanted);
  wanted.vlans[5] = rules({rule(2, RuleAction::PERMIT, {{33, "1"}})});
  wanted.vlans[6] = rules({rule(3, RuleAction::DENY)});
  const PolicyReport report = _data_path->apply(wanted);
  EXPECT_EQ(
      report.refusals,
      (std::vector<PolicyRefusal>{{"", 5, RuleKey{10, 2}, "match field 33 has no meaning."}}));
  EXPECT_FALSE(passes(tagged(5, 1)));
  EXPECT_FALSE(passes(tagged(6, 1)));
}

TEST_P(EbpfDataPathTest, AnInterfaceThatIsNotThereIsRefusedAlone) {
  SwitchPolicy wanted = policy(rules({rule(1, RuleAction::DENY)}));
  wanted.ports[1].ifindex = 4000;
  wanted.ports[1].filters = wanted.ports[0].filters;
  const PolicyReport report = _data_path->apply(wanted);
  ASSERT_EQ(report.refusals.size(), 1U);
  EXPECT_EQ(report.refusals[0].port, "1/1/2");
  EXPECT_FALSE(passes(to_port(80), "1"));
}

TEST_P(EbpfDataPathTest, RulesOfATimeRangeHoldWhileItDoes) {
  apply(policy(rules({rule(1, RuleAction::DENY, {{TIME_RANGE_FIELD, "night"}})})));
  EXPECT_TRUE(passes(to_port(80)));
  _data_path->set_active_time_ranges({"night"});
  EXPECT_FALSE(passes(to_port(80)));
  _data_path->set_active_time_ranges({"day"});
  EXPECT_TRUE(passes(to_port(80)));
}

// The program remembers what it decided of a flow.
TEST_P(EbpfDataPathTest, AFlowIsToldApartByItsPort) {
  const RuleList list{rule(1, RuleAction::DENY, {{IN_PORTS_FIELD, "1/1/1"}})};
  apply(policy(rules(list), rules(list)));
  for (int i = 0; i < 2; ++i) {
    EXPECT_FALSE(passes(to_port(80), "1"));
    EXPECT_TRUE(passes(to_port(80), "2"));
  }
}

TEST_P(EbpfDataPathTest, AFlowIsToldApartByItsVlan) {
  SwitchPolicy wanted = policy(nullptr);
  wanted.vlans[5] = rules({rule(1, RuleAction::DENY)});
  apply(wanted);
  for (int i = 0; i < 2; ++i) {
    EXPECT_FALSE(passes(tagged(5, 80)));
    EXPECT_TRUE(passes(tagged(6, 80)));
    EXPECT_TRUE(passes(to_port(80)));
  }
  wanted.ports[0].untagged_vlan = 5;
  apply(wanted);
  EXPECT_FALSE(passes(to_port(80)));
}

TEST_P(EbpfDataPathTest, WhatWasDecidedOfAFlowIsForgottenWithItsList) {
  apply(policy(rules({rule(1, RuleAction::DENY, {{DST_PORT_FIELD, "80"}})})));
  EXPECT_FALSE(passes(to_port(80)));
  apply(policy(rules({rule(1, RuleAction::DENY, {{DST_PORT_FIELD, "81"}})})));
  EXPECT_TRUE(passes(to_port(80)));
  EXPECT_FALSE(passes(to_port(81)));
}

TEST_P(EbpfDataPathTest, EqualListsAreOneProgram) {
  const RuleList list{rule(1, RuleAction::DENY)};
  EXPECT_EQ(_data_path->apply(policy(rules(list), rules(list))).lists_built, 1U);
  EXPECT_EQ(_data_path->apply(policy(rules(list), rules(list))).lists_built, 0U);
}

TEST_P(EbpfDataPathTest, WhatIsInForceStaysWhileNoProcessIsThere) {
  apply(policy(rules({rule(1, RuleAction::DENY)})));
  _data_path.reset();
  EXPECT_FALSE(passes(to_port(80)));
}

TEST_P(EbpfDataPathTest, ARestartTakesOverListsAndCounters) {
  const SwitchPolicy wanted = policy(rules({rule(1, RuleAction::DENY)}));
  apply(wanted);
  EXPECT_FALSE(passes(to_port(80)));
  start();
  EXPECT_FALSE(passes(to_port(80)));
  const PolicyReport report = _data_path->apply(wanted);
  EXPECT_EQ(report.lists_built, 0U);
  EXPECT_EQ(packets_of(1), 2U);
  apply(policy(nullptr));
  EXPECT_TRUE(passes(to_port(80)));
}

TEST_P(EbpfDataPathTest, CountersGoOnWhenOtherRulesChange) {
  apply(policy(rules({rule(1, RuleAction::DENY)})));
  EXPECT_FALSE(passes(to_port(80)));
  apply(policy(
      rules({rule(2, RuleAction::PERMIT, {{DST_PORT_FIELD, "99"}}), rule(1, RuleAction::DENY)})));
  EXPECT_FALSE(passes(to_port(80)));
  EXPECT_EQ(packets_of(1), 2U);
}

TEST_P(EbpfDataPathTest, ARemarkWritesThePriorityIntoTheTagAndLeavesUntaggedFramesAlone) {
  RuleList list{rule(1, RuleAction::PERMIT)};
  list[0].remark = Remark{RemarkKind::PRIORITY, 6};
  apply(policy(rules(list)));
  EXPECT_EQ(sent(tagged(0x2005, 80)), tagged(0xc005, 80));
  EXPECT_EQ(sent(to_port(80)), to_port(80));
}

TEST_P(EbpfDataPathTest, ThousandsOfRealFramesFareAsThePlainModelSays) {
  Random random(77);
  RuleList list = random_rules(300, random);
  apply(policy(rules(list)));
  const model::FirstMatch plain(list, {}, {"1/1/1", "", 0});
  const FrameSocket from("peer1");
  const FrameSocket to("sink1");
  const FrameSocket late_from("peer3");
  const FrameSocket late_to("sink3");
  std::size_t differences = 0;
  const std::size_t frames = number_of("DATA_PATH_FRAMES", 5000);
  for (std::size_t i = 0; i < frames && differences < 3; ++i) {
    const Frame frame = frame_for(list[random() % list.size()], random);
    // What the kernel drops by itself: tags that are cut off, and senders that are groups.
    const bool has_cut_tag = frame.size() < 20 && (frame[12] == 0x81 || frame[12] == 0x88);
    if (frame.size() > 1400 || has_cut_tag || (frame[6] & 1) != 0) continue;
    const model::Verdict verdict = plain.decide(frame);
    const Frame got = exchange(frame, from, to, late_from, late_to);
    const Frame expected = verdict.passes ? verdict.frame : Frame{};
    if (got == expected) continue;
    ++differences;
    ADD_FAILURE() << "frame " << i << " rule " << (verdict.rule ? int(*verdict.rule) : -1) << "\n"
                  << testing::PrintToString(frame) << "\nexpected "
                  << testing::PrintToString(expected) << "\ngot " << testing::PrintToString(got);
  }
}

// How many frames went out by the interface.
std::uint64_t sent_by(const std::string& interface) {
  std::ifstream file("/proc/thread-self/net/dev");
  for (std::string name; file >> name;) {
    if (name != interface + ":") continue;
    std::uint64_t number = 0;
    // The tenth one; eight tell of what came in.
    for (int i = 0; i < 10; ++i) file >> number;
    return number;
  }
  throw std::runtime_error("no interface " + interface);
}

// Sends frames as fast as they are handled, until told to stop; answers how many.
std::uint64_t send_until(const std::atomic<bool>& stop, const Frame& frame, const Frame& last) {
  const FrameSocket from("peer1");
  const FrameSocket late_from("peer3");
  const FrameSocket late_to("sink3");
  std::uint64_t count = 0;
  stay_on_one_processor();
  while (!stop) {
    for (int i = 0; i < 100; ++i) from.send(frame);
    count += 100;
    // No more than the kernel keeps: what goes by port3 comes out when all of them have.
    late_from.send(last);
    late_to.wait();
    (void)late_to.receive();
  }
  return count;
}

TEST_P(EbpfDataPathTest,
       WhileListsAreReplacedNothingPassesThatBothDenyAndNothingIsLostThatBothPermit) {
  const auto one = policy(
      rules({rule(1, RuleAction::DENY, {{DST_PORT_FIELD, "1-10"}}), rule(2, RuleAction::PERMIT)}));
  const auto other = policy(
      rules({rule(3, RuleAction::PERMIT, {{DST_PORT_FIELD, "20-30"}}), rule(4, RuleAction::DENY)}));
  apply(one);
  for (const bool passes_both : {true, false}) {
    const std::uint64_t before = sent_by("out1");
    std::atomic<bool> stop = false;
    std::uint64_t count = 0;
    std::thread sender(
        [&] { count = send_until(stop, to_port(passes_both ? 25 : 5), to_port(1)); });
    const std::size_t times = number_of("DATA_PATH_REPLACEMENTS", 100) / 4;
    for (std::size_t i = 0; i < times; ++i) {
      apply(other);
      apply(one);
    }
    stop = true;
    sender.join();
    EXPECT_GE(count, 100U);
    RecordProperty(passes_both ? "permitted" : "denied", std::to_string(count));
    EXPECT_EQ(sent_by("out1") - before, passes_both ? count : 0U);
  }
}

TEST_P(EbpfDataPathTest, NothingIsLeftBehind) {
  apply(policy(rules({rule(1, RuleAction::DENY)})));
  _data_path->remove_everything();
  EXPECT_TRUE(passes(to_port(80)));
  EXPECT_NE(access(_folder->path().c_str(), F_OK), 0);
  _data_path.reset();
}

INSTANTIATE_TEST_SUITE_P(Hooks, EbpfDataPathTest, testing::Values(true, false),
                         [](const auto& tried) { return tried.param ? "ByTcx" : "ByClsact"; });

}  // namespace
