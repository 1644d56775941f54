// policyd leaves when it is told to: what it withdraws, what it waits for, and
// how it ends.
#include <memory>

#include "platform/managers/interfaces/lcmgr_tgt.h"
#include "platform/managers/switch_target.h"
#include "tests/integration/finder_tap.h"
#include "tests/integration/real_daemon.h"
#include "tests/integration/router_holder.h"

namespace {

class OrderlyStop : public RealDaemon {};

TEST_F(OrderlyStop, TheCommandIsAnsweredAndTheProcessEndsWithStatusZero) {
  start_all();
  EXPECT_EQ(shut_down(), "100");
  EXPECT_EQ(plane.policyd->wait(), 0);
  EXPECT_TRUE(until([this] {
    return ask("finder/finder/0.2/get_xrl_targets").find(":txt=policy") == std::string::npos;
  }));
}

TEST_F(OrderlyStop, WithoutASwitchItEndsToo) {
  start_without_switch();
  EXPECT_EQ(shut_down(), "100");
  EXPECT_EQ(plane.policyd->wait(), 0);
}

TEST_F(OrderlyStop, InterestIsWithdrawnInTheCardManagerFirstAndInTheVlanManagerThen) {
  plane.start_finder();
  FinderTap tap(plane);
  plane.policyd = std::make_unique<ChildProcess>(
      std::vector<std::string>{program("policyd"), "-F", tap.address()});
  // Its mirror of the interface tree has an interest of its own, in "sif".
  const auto is_wanted = [this](const std::string& class_name) {
    const std::string answer = ask("finder/finder/0.2/get_interests");
    return answer.find(":txt=" + class_name, answer.find("&classes:")) != std::string::npos;
  };
  ASSERT_TRUE(until([&] { return is_wanted("card_manager") && is_wanted("vlan"); }));
  EXPECT_EQ(shut_down(), "100");
  ASSERT_TRUE(until([&] { return !is_wanted("card_manager") && !is_wanted("vlan"); }));
  EXPECT_EQ(plane.policyd->wait(), 0);

  const std::string said = tap.said();
  const std::vector<std::size_t> withdrawn =
      FinderTap::requests_in(said, "finder_event_notifier/0.1/deregister_class_event_interest");
  ASSERT_EQ(withdrawn.size(), 2U);
  const std::size_t frame = 128;  // holds a whole request of this kind
  EXPECT_NE(said.substr(withdrawn[0], withdrawn[1] - withdrawn[0]).find("card_manager"),
            std::string::npos);
  EXPECT_NE(said.substr(withdrawn[1], frame).find("vlan"), std::string::npos);
}

// A line card that is there and takes its time: it answers when its own loop is
// turned.
class SlowLineCard : private RouterHolder, public CommonHandlers<XrlLcmgrTargetBase> {
 public:
  SlowLineCard(EventLoop& loop, const ControlPlane& plane)
      : SlowLineCard(std::make_unique<XrlStdRouter>(loop, "lcmgr021", plane.host().c_str(),
                                                    plane.port(), false)) {}
  [[nodiscard]] bool is_ready() const { return RouterHolder::router()->ready(); }
  [[nodiscard]] int requests() const { return _requests; }

  XrlCmdError lcmgr_0_1_set_port_cos_mapping(std::uint32_t /*unit*/, std::uint32_t /*slot*/,
                                             std::uint32_t /*port*/, std::uint32_t /*priority*/,
                                             std::uint32_t /*queue*/) override {
    ++_requests;
    return XrlCmdError::OKAY();
  }

 private:
  explicit SlowLineCard(std::unique_ptr<XrlStdRouter> its_router)
      : RouterHolder(std::move(its_router)),
        CommonHandlers<XrlLcmgrTargetBase>(RouterHolder::router(), {{}, "chassis"}) {}
  int _requests = 0;
};

TEST_F(OrderlyStop, RequestsThatAwaitTheirReplyAreWaitedFor) {
  start_all(R"({"interfaces": [{"name": "eth-0/1/1"}], "vlans": [20]})");
  ASSERT_EQ(chassis("stop_target?name:txt=lcmgr021"), "100");
  EventLoop its_loop;
  SlowLineCard card(its_loop, plane);
  ASSERT_TRUE(turn_until(its_loop, [&card] { return card.is_ready(); }));
  hold({{"set_cos_mapping?priorities:list=:u32=0,:u32=1&queues:list=:u32=5,:u32=6", "100"}});
  EXPECT_EQ(shut_down(), "100");

  // Interest is withdrawn at once, and what is asked meanwhile is answered.
  ASSERT_TRUE(until([this] {
    return ask("finder/finder/0.2/get_interests").find(":txt=policy-") == std::string::npos;
  }));
  EXPECT_EQ(ask("policy/common/0.1/get_status"), "100 status:u32=4&reason:txt=");
  EXPECT_EQ(ask("policy/common/0.1/get_status"), "100 status:u32=4&reason:txt=");
  hold({{"get_cos_mapping?priorities:list=:u32=0", "100 queues:list=:u32=2"}});
  EXPECT_EQ(card.requests(), 0);

  // What would be waited for, too, or lost with the process is refused.
  hold({{"set_cos_mapping?priorities:list=:u32=0&queues:list=:u32=5", "102 refused."},
        {"create_acl?acl:u32=10&type:u32=0", "102 refused."}});
  ASSERT_TRUE(turn_until(its_loop, [&card] { return card.requests() >= 2; }));
  its_loop.run();
  EXPECT_EQ(plane.policyd->wait(), 0);
}

}  // namespace
