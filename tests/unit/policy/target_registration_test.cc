#include <optional>

#include "tests/unit/policy/target_fixture.h"

namespace {

constexpr const char* ASK_CARD_MANAGER =
    "finder finder_event_notifier/0.1/register_class_event_interest?"
    "requester_instance:txt=policy-0123456789abcdef&class_name:txt=card_manager";
constexpr const char* ASK_VLAN =
    "finder finder_event_notifier/0.1/register_class_event_interest?"
    "requester_instance:txt=policy-0123456789abcdef&class_name:txt=vlan";
constexpr const char* LEAVE_CARD_MANAGER =
    "finder finder_event_notifier/0.1/deregister_class_event_interest?"
    "requester_instance:txt=policy-0123456789abcdef&class_name:txt=card_manager";
constexpr const char* LEAVE_VLAN =
    "finder finder_event_notifier/0.1/deregister_class_event_interest?"
    "requester_instance:txt=policy-0123456789abcdef&class_name:txt=vlan";
constexpr const char* ASK_CARD_STATES =
    "card_manager card_manager/0.1/register_card_state?"
    "card_states:list=:u32=0,:u32=8,:u32=4,:u32=9&observer:txt=policy-0123456789abcdef";
constexpr const char* LEAVE_CARD_STATES =
    "card_manager card_manager/0.1/deregister_card_state?"
    "card_states:list=:u32=0,:u32=8,:u32=4,:u32=9&observer:txt=policy-0123456789abcdef";

class Registration : public TargetFixture {
 protected:
  void start_confirmed() {
    ASSERT_EQ(_target.startup(), 0);
    _router.answer();
    _router.answer();
  }
  void card_manager_is_born() {
    ASSERT_EQ(call("finder_event_observer/0.1/xrl_target_birth?"
                   "target_class:txt=card_manager&target_instance:txt=card_manager-1"),
              OKAY);
  }
};

TEST_F(Registration, StartUpAsksForTheCardManagerThenForTheVlanManager) {
  EXPECT_EQ(_target.startup(), 0);
  EXPECT_EQ(_router.sent(), (Texts{ASK_CARD_MANAGER, ASK_VLAN}));
  EXPECT_TRUE(_target.is_running());
}

TEST_F(Registration, AnInterestCountsOnlyWhenItIsConfirmed) {
  ASSERT_EQ(_target.startup(), 0);
  EXPECT_FALSE(_target.is_finder_cardmgr_registered());
  _router.answer();
  EXPECT_TRUE(_target.is_finder_cardmgr_registered());
  EXPECT_FALSE(_target.is_finder_vlan_registered());
  _router.answer();
  EXPECT_TRUE(_target.is_finder_vlan_registered());
}

TEST_F(Registration, AMirrorThatDoesNotStartFailsTheService) {
  // A mirror runs once.
  ASSERT_EQ(_target.startup(), 0);
  _router.answer();
  _router.answer();
  ASSERT_EQ(_target.shutdown(), 0);
  _router.answer();
  _router.answer();
  EXPECT_EQ(_target.startup(), -1);
  EXPECT_EQ(_target.status(), 0x100);
  EXPECT_FALSE(_target.is_running());
  EXPECT_EQ(_router.sent(), Texts{});
}

TEST_F(Registration, ARequestThatIsNotTakenIsNotAnErrorOfStartUp) {
  _router.refuse_after(0);
  EXPECT_EQ(_target.startup(), 0);
  EXPECT_TRUE(_target.is_running());
  EXPECT_EQ(_target.register_interest("vlan"), -1);
  EXPECT_EQ(_target.deregister_interest("card_manager"), -1);
  EXPECT_EQ(_target.register_card_state(), -1);
  EXPECT_EQ(_target.deregister_card_state(), -1);
}

TEST_F(Registration, OnlyTheTwoClassesCanBeAskedFor) {
  EXPECT_EQ(_target.register_interest("sif"), -1);
  EXPECT_EQ(_target.deregister_interest(""), -1);
  EXPECT_EQ(_router.sent(), Texts{});
  EXPECT_EQ(_target.register_interest("card_manager"), 0);
  EXPECT_EQ(_target.deregister_interest("vlan"), 0);
  EXPECT_EQ(_router.sent(), (Texts{ASK_CARD_MANAGER, LEAVE_VLAN}));
}

TEST_F(Registration, ShutDownBeforeAnyConfirmationSendsNothing) {
  ASSERT_EQ(_target.startup(), 0);
  EXPECT_EQ(_target.shutdown(), 0);
  EXPECT_EQ(_router.sent(), (Texts{ASK_CARD_MANAGER, ASK_VLAN}));
  EXPECT_FALSE(_target.is_running());
}

TEST_F(Registration, ShutDownWithdrawsTheCardManagersInterestThenTheVlanManagers) {
  start_confirmed();
  EXPECT_EQ(_target.shutdown(), 0);
  EXPECT_EQ(_router.sent(), (Texts{LEAVE_CARD_MANAGER, LEAVE_VLAN}));
  _router.answer();
  EXPECT_FALSE(_target.is_finder_cardmgr_registered());
  EXPECT_TRUE(_target.is_finder_vlan_registered());
  _router.answer();
  EXPECT_FALSE(_target.is_finder_vlan_registered());
}

TEST_F(Registration, ShutDownWithdrawsOnlyWhatWasConfirmed) {
  ASSERT_EQ(_target.startup(), 0);
  _router.answer();
  EXPECT_EQ(_target.shutdown(), 0);
  EXPECT_EQ(_router.sent(), (Texts{ASK_VLAN, LEAVE_CARD_MANAGER}));
}

TEST_F(Registration, ShutDownLeavesTheCardStatesRegistered) {
  start_confirmed();
  card_manager_is_born();
  _router.answer();
  ASSERT_TRUE(_target.is_cardmgr_registered());
  ASSERT_EQ(_target.shutdown(), 0);
  EXPECT_EQ(_router.sent(), (Texts{LEAVE_CARD_MANAGER, LEAVE_VLAN}));
  EXPECT_TRUE(_target.is_cardmgr_registered());
}

TEST_F(Registration, ATargetThatNeverStartedIsDestroyedWithoutAWord) {
  FakeRouter router("policy");
  std::optional<XrlPolicyTarget> target;
  target.emplace(_world.loop(), _node, &router, _node.profile());
  target.reset();
  EXPECT_EQ(router.sent(), Texts{});
}

TEST_F(Registration, ShutDownOfATargetThatNeverStartedStopsItsMirrorForGood) {
  EXPECT_EQ(_target.shutdown(), 0);
  EXPECT_EQ(_router.sent(), Texts{});
  EXPECT_EQ(_target.startup(), -1);
}

TEST_F(Registration, DestructionWithdrawsWhatIsStillConfirmed) {
  FakeRouter router("policy");
  std::optional<XrlPolicyTarget> target;
  target.emplace(_world.loop(), _node, &router, _node.profile());
  ASSERT_EQ(target->startup(), 0);
  router.answer();
  router.answer();
  target.reset();
  EXPECT_EQ(router.sent(), (Texts{LEAVE_CARD_MANAGER, LEAVE_VLAN}));
}

TEST_F(Registration, AnAnswerThatComesAfterTheTargetIsGoneIsDropped) {
  FakeRouter router("policy");
  std::optional<XrlPolicyTarget> target;
  target.emplace(_world.loop(), _node, &router, _node.profile());
  ASSERT_EQ(target->startup(), 0);
  target.reset();
  router.answer();
  router.answer(XrlError::COMMAND_FAILED());
}

TEST_F(Registration, CardStatesAreAskedForAtTheCardManagersBirthOnly) {
  start_confirmed();
  EXPECT_EQ(_router.sent(), Texts{});
  card_manager_is_born();
  EXPECT_EQ(_router.sent(), Texts{ASK_CARD_STATES});
  EXPECT_FALSE(_target.is_cardmgr_registered());
  _router.answer();
  EXPECT_TRUE(_target.is_cardmgr_registered());
}

TEST_F(Registration, EveryBirthOfTheCardManagerAsksAgainWithTheSameStates) {
  card_manager_is_born();
  card_manager_is_born();
  EXPECT_EQ(_router.sent(), (Texts{ASK_CARD_STATES, ASK_CARD_STATES}));
}

TEST_F(Registration, CardStatesCanBeGivenBack) {
  card_manager_is_born();
  _router.answer();
  EXPECT_EQ(_target.deregister_card_state(), 0);
  EXPECT_EQ(_router.sent(), Texts{LEAVE_CARD_STATES});
  _router.answer();
  EXPECT_FALSE(_target.is_cardmgr_registered());
}

// Each request, its callback as the log names it, and the warning.
struct Refusal {
  const char* name;
  int (*send)(XrlPolicyTarget&);
  const char* callback;
  const char* warning;
  bool (XrlPolicyTarget::*flag)() const;
  bool flag_before;
};

class RefusedRegistration : public Registration, public ::testing::WithParamInterface<Refusal> {};

TEST_P(RefusedRegistration, IsWarnedAboutAndLeavesTheFlag) {
  const Refusal& refusal = GetParam();
  start_confirmed();
  card_manager_is_born();
  _router.answer();
  if (!refusal.flag_before) {
    ASSERT_EQ(_target.deregister_interest("card_manager"), 0);
    ASSERT_EQ(_target.deregister_interest("vlan"), 0);
    ASSERT_EQ(_target.deregister_card_state(), 0);
    for (int i = 0; i < 3; ++i) _router.answer();
  }
  ASSERT_EQ((_target.*refusal.flag)(), refusal.flag_before);

  ASSERT_EQ(refusal.send(_target), 0);
  LogCapture log;
  _router.answer(XrlError::COMMAND_FAILED("the error's own text is not told"));
  EXPECT_EQ((_target.*refusal.flag)(), refusal.flag_before);
  EXPECT_EQ(_router.sent(), Texts{}) << "tried again";

  const auto records = log.take();
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(records[0].level, XLOG_LEVEL_WARNING);
  EXPECT_EQ(records[0].module, "POLICY");
  EXPECT_EQ(records[0].message, refusal.warning);
  EXPECT_EQ(records[0].where.substr(records[0].where.find(' ')),
            std::string(" xrl_policy_target ") + refusal.callback);
}

INSTANTIATE_TEST_SUITE_P(
    Requests, RefusedRegistration,
    ::testing::Values(
        Refusal{"RegisterCardManager",
                [](XrlPolicyTarget& target) { return target.register_interest("card_manager"); },
                "finder_register_interest_cardmgr_cb", "Attempt to register to finder failed",
                &XrlPolicyTarget::is_finder_cardmgr_registered, false},
        Refusal{"DeregisterCardManager",
                [](XrlPolicyTarget& target) { return target.deregister_interest("card_manager"); },
                "finder_deregister_interest_cardmgr_cb", "Attempt to deregister to finder failed",
                &XrlPolicyTarget::is_finder_cardmgr_registered, true},
        Refusal{"RegisterVlan",
                [](XrlPolicyTarget& target) { return target.register_interest("vlan"); },
                "finder_register_interest_vlan_cb", "Attempt to register vlan to finder failed",
                &XrlPolicyTarget::is_finder_vlan_registered, false},
        Refusal{"DeregisterVlan",
                [](XrlPolicyTarget& target) { return target.deregister_interest("vlan"); },
                "finder_deregister_interest_vlan_cb", "Attempt to deregister vlan to finder failed",
                &XrlPolicyTarget::is_finder_vlan_registered, true},
        Refusal{"RegisterCardState",
                [](XrlPolicyTarget& target) { return target.register_card_state(); },
                "card_state_registered_response", "Attempt to register to cardmgr failed",
                &XrlPolicyTarget::is_cardmgr_registered, false},
        Refusal{"DeregisterCardState",
                [](XrlPolicyTarget& target) { return target.deregister_card_state(); },
                "card_state_deregistered_response", "Attempt to deregister to cardmgr failed",
                &XrlPolicyTarget::is_cardmgr_registered, true}),
    [](const auto& request) { return request.param.name; });

}  // namespace
