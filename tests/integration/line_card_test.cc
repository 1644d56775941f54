// A class-of-service mapping on its way to the line cards of a real chassis.
#include <algorithm>
#include <csignal>
#include <memory>

#include "framework/xrl/limits.h"
#include "framework/xrl/xrl_args.h"
#include "platform/managers/interfaces/lcmgr_tgt.h"
#include "platform/managers/switch_target.h"
#include "tests/integration/real_daemon.h"
#include "tests/integration/router_holder.h"

namespace {

const std::string MAPPING = "get_cos_mapping?priorities:list=";
const std::string UNCONFIRMED =
    "WARNING policyd POLICY +LINE xrl_policy_target send_set_cos_mapping_to_lcmgr_cb: failed to "
    "attempt to set cos mapping by lcmgr.";

// A line-card manager that writes down what it is sent.
class RecordingLineCard : private RouterHolder, public CommonHandlers<XrlLcmgrTargetBase> {
 public:
  using Log = std::vector<std::string>;

  RecordingLineCard(ControlPlane& plane, const char* class_name, Log& log)
      : RecordingLineCard(plane.make_router(class_name), class_name, log) {}

  [[nodiscard]] bool is_ready() const { return RouterHolder::router()->ready(); }

  XrlCmdError lcmgr_0_1_set_port_cos_mapping(std::uint32_t unit, std::uint32_t slot,
                                             std::uint32_t port, std::uint32_t priority,
                                             std::uint32_t queue) override {
    _log.push_back(_name + " " + std::to_string(unit) + "/" + std::to_string(slot) + "/" +
                   std::to_string(port) + " " + std::to_string(priority) + "->" +
                   std::to_string(queue));
    return XrlCmdError::OKAY();
  }

 private:
  RecordingLineCard(std::unique_ptr<XrlStdRouter> its_router, const char* class_name, Log& log)
      : RouterHolder(std::move(its_router)),
        CommonHandlers<XrlLcmgrTargetBase>(RouterHolder::router(), {{}, "chassis"}),
        _name(class_name),
        _log(log) {}

  std::string _name;
  Log& _log;
};

class LineCards : public RealDaemon {
 protected:
  std::string requests(int slot) {
    return chassis("get_line_card_requests?slot:u32=" + std::to_string(slot));
  }
  std::string programmed(const std::string& port) {
    return chassis("get_port_cos_mapping?name:txt=" + port);
  }
};

TEST_F(LineCards, TwoPortsAndTwoPairsMakeTwoRequestsToEachCard) {
  start_all(R"({"interfaces": [{"name": "eth-0/1/1"}, {"name": "eth-0/2/1"}], "vlans": [20]})");
  hold({{"set_cos_mapping?priorities:list=:u32=0,:u32=1&queues:list=:u32=5,:u32=4", "100"}});
  EXPECT_TRUE(until_answered(MAPPING + ":u32=0,:u32=1", "100 queues:list=:u32=5,:u32=4"));
  EXPECT_TRUE(until(
      [this] { return requests(1) + requests(2) == "100 requests:u64=2100 requests:u64=2"; }));
  for (const char* port : {"eth-0/1/1", "eth-0/2/1"}) {
    EXPECT_TRUE(until([&] {
      return programmed(port) == "100 priorities:list=:u32=0,:u32=1&queues:list=:u32=5,:u32=4";
    })) << port;
  }
}

TEST_F(LineCards, EachCardIsAskedPortByPortAndPairByPair) {
  start_all(R"({"interfaces": [{"name": "eth-1/2/9"}, {"name": "eth-0/1/1"}, {"name": "eth-0/1/10"},
                               {"name": "eth-0/1/2"}, {"name": "eth-0/12/3"}], "vlans": [20]})");
  RecordingLineCard::Log log;
  std::vector<std::unique_ptr<RecordingLineCard>> cards;
  for (const char* name : {"lcmgr021", "lcmgr022", "lcmgr0212"}) {
    ASSERT_EQ(chassis(std::string("stop_target?name:txt=") + name), "100");
    cards.push_back(std::make_unique<RecordingLineCard>(plane, name, log));
    ASSERT_TRUE(plane.client().turn_until([&] { return cards.back()->is_ready(); }));
  }
  hold({{"set_cos_mapping?priorities:list=:u32=1,:u32=0&queues:list=:u32=4,:u32=5", "100"}});
  ASSERT_TRUE(plane.client().turn_until([&] { return log.size() >= 10; }));
  // Between two cards the network may change the order.
  std::stable_sort(log.begin(), log.end(), [](const std::string& a, const std::string& b) {
    return a.substr(0, a.find(' ')) < b.substr(0, b.find(' '));
  });
  // Ports in the order of their names, byte by byte.
  EXPECT_EQ(log, (RecordingLineCard::Log{"lcmgr021 0/1/1 1->4", "lcmgr021 0/1/1 0->5",
                                         "lcmgr021 0/1/10 1->4", "lcmgr021 0/1/10 0->5",
                                         "lcmgr021 0/1/2 1->4", "lcmgr021 0/1/2 0->5",
                                         "lcmgr0212 0/12/3 1->4", "lcmgr0212 0/12/3 0->5",
                                         "lcmgr022 1/2/9 1->4", "lcmgr022 1/2/9 0->5"}));
}

TEST_F(LineCards, SlotTwelveIsAskedUnderALiteralPrefix) {
  start_all(R"({"interfaces": [{"name": "eth-0/1/1"}, {"name": "eth-0/12/1"}], "vlans": [20]})");
  EXPECT_NE(ask("finder/finder/0.2/get_xrl_targets").find(":txt=lcmgr0212"), std::string::npos);
  hold({{"set_cos_mapping?priorities:list=:u32=0&queues:list=:u32=5", "100"}});
  EXPECT_TRUE(until([this] { return requests(12) == "100 requests:u64=1"; }));
  EXPECT_TRUE(until_answered(MAPPING + ":u32=0", "100 queues:list=:u32=5"));
}

TEST_F(LineCards, AnInterfaceThatIsNoPhysicalPortIsSentToSlotZero) {
  start_all(
      R"({"interfaces": [{"name": "eth-0/1/1"}, {"name": "lag1"}, {"name": "vlan-if"}], "vlans": [20]})");
  hold({{"set_cos_mapping?priorities:list=:u32=0&queues:list=:u32=5", "100"}});
  EXPECT_TRUE(until([this] { return requests(0) == "100 requests:u64=2"; }));
  EXPECT_TRUE(until([this] { return requests(1) == "100 requests:u64=1"; }));
  EXPECT_TRUE(until(
      [this] { return programmed("lag1") == "100 priorities:list=:u32=0&queues:list=:u32=5"; }));
}

TEST_F(LineCards, ACardThatRefusesLeavesTheMapAndAWarning) {
  start_all(R"({"interfaces": [{"name": "eth-0/1/1"}], "vlans": [20]})");
  ASSERT_EQ(chassis("set_line_card_fault?slot:u32=1&fault:txt=refuse"), "100");
  hold({{"set_cos_mapping?priorities:list=:u32=0,:u32=1&queues:list=:u32=5,:u32=4", "100"}});
  EXPECT_EQ(take_warnings(2), (Lines{UNCONFIRMED, UNCONFIRMED}));
  hold({{MAPPING + ":u32=0,:u32=1", "100 queues:list=:u32=2,:u32=0"}});
  EXPECT_EQ(requests(1), "100 requests:u64=2");
}

TEST_F(LineCards, ACardThatClosesTheConnectionLeavesTheMapAndAWarning) {
  start_all(R"({"interfaces": [{"name": "eth-0/1/1"}], "vlans": [20]})");
  ASSERT_EQ(chassis("set_line_card_fault?slot:u32=1&fault:txt=close"), "100");
  hold({{"set_cos_mapping?priorities:list=:u32=0&queues:list=:u32=5", "100"}});
  EXPECT_EQ(take_warnings(1), Lines{UNCONFIRMED});
  hold({{MAPPING + ":u32=0", "100 queues:list=:u32=2"}});
  // It is reached again once it behaves.
  ASSERT_EQ(chassis("set_line_card_fault?slot:u32=1&fault:txt=none"), "100");
  hold({{"set_cos_mapping?priorities:list=:u32=0&queues:list=:u32=6", "100"}});
  EXPECT_TRUE(until_answered(MAPPING + ":u32=0", "100 queues:list=:u32=6"));
}

TEST_F(LineCards, ACardThatIsNotThereLeavesTheMapAndAWarning) {
  start_all(R"({"interfaces": [{"name": "eth-0/1/1"}], "vlans": [20]})");
  ASSERT_EQ(chassis("stop_target?name:txt=lcmgr021"), "100");
  hold({{"set_cos_mapping?priorities:list=:u32=0&queues:list=:u32=5", "100"}});
  EXPECT_EQ(take_warnings(1), Lines{UNCONFIRMED});
  hold({{MAPPING + ":u32=0", "100 queues:list=:u32=2"}});
}

TEST_F(LineCards, ACardThatLeavesTooManyRequestsUnansweredFailsTheCommandThatSendsMore) {
  start_all(R"({"interfaces": [{"name": "eth-0/1/1"}], "vlans": [20]})");
  plane.chassis->signal(SIGSTOP);
  XrlAtomList priorities;
  XrlAtomList queues;
  for (std::size_t i = 0; i <= xrl_limits::MAX_REQUESTS_IN_FLIGHT; ++i) {
    priorities.append(1U);
    queues.append(6U);
  }
  XrlArgs mapping;
  mapping.add({"priorities", priorities});
  mapping.add({"queues", queues});
  hold({{"set_cos_mapping?" + mapping.str(), "102 failed to set cos mapping."},
        {MAPPING + ":u32=1", "100 queues:list=:u32=0"}});
  EXPECT_EQ(take_warnings(1), Lines{"WARNING policyd POLICY +LINE xrl_policy_target "
                                    "policy_config_0_1_set_cos_mapping: Failed to send xrl to "
                                    "lcmgr021."});
  // What was sent before is not recalled.
  plane.chassis->signal(SIGCONT);
  EXPECT_TRUE(until_answered(MAPPING + ":u32=1", "100 queues:list=:u32=6"));
}

TEST_F(LineCards, OneCardThatConfirmsIsEnoughForTheMap) {
  start_all();
  ASSERT_EQ(chassis("set_line_card_fault?slot:u32=1&fault:txt=refuse"), "100");
  hold({{"set_cos_mapping?priorities:list=:u32=3&queues:list=:u32=0", "100"}});
  EXPECT_TRUE(until_answered(MAPPING + ":u32=3", "100 queues:list=:u32=0"));
  // Slot 1 holds two ports.
  EXPECT_EQ(take_warnings(2), (Lines{UNCONFIRMED, UNCONFIRMED}));
}

TEST_F(LineCards, ARefusedMappingIsSentToNobody) {
  start_all();
  hold({{"set_cos_mapping?priorities:list=:u32=0,:u32=1&queues:list=:u32=3",
         "101 bad priority and queue."},
        {"set_cos_mapping?priorities:list=:u32=0,:u32=1&queues:list=:u32=3,:u32=8",
         "101 bad priority and queue."},
        {"set_cos_mapping?priorities:list=:u32=7&queues:list=:u32=1", "100"}});
  EXPECT_TRUE(until_answered(MAPPING + ":u32=7", "100 queues:list=:u32=1"));
  EXPECT_TRUE(until([this] { return requests(2) == "100 requests:u64=1"; }));
  EXPECT_TRUE(until([this] { return requests(1) == "100 requests:u64=2"; }));
}

TEST_F(LineCards, PortsThatAreNotReadyAreSentTheMappingToo) {
  start_all();
  ASSERT_EQ(chassis("set_card_state?card_id:u32=17&card_state:u32=0"), "100");
  hold({{"set_cos_mapping?priorities:list=:u32=0&queues:list=:u32=5", "100"}});
  EXPECT_TRUE(until([this] { return requests(1) == "100 requests:u64=2"; }));
  EXPECT_TRUE(until_answered(MAPPING + ":u32=0", "100 queues:list=:u32=5"));
}

}  // namespace
