#include "chassis/chassis.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "chassis/interfaces/chassis_xif.h"
#include "framework/xrl/interfaces/common_xif.h"
#include "framework/xrl/interfaces/finder_event_observer_xif.h"
#include "platform/interfaces/card_manager_xif.h"
#include "platform/interfaces/lcmgr_xif.h"
#include "platform/interfaces/sif_xif.h"
#include "platform/interfaces/vlan_xif.h"
#include "tests/support/log_capture.h"
#include "tests/unit/chassis/switch_follower.h"
#include "tests/unit/platform/sim_finder.h"

using std::chrono::milliseconds;
using std::chrono::seconds;

namespace {

using Events = std::vector<std::string>;

SwitchDescription sample() {
  return parse_description(R"({"interfaces": [{"name": "eth-0/1/1"}, {"name": "eth-0/12/1"},
                                              {"name": "lag1", "members": ["eth-0/1/1"]}],
                               "vlans": [10, 20], "cards": [17, 28]})");
}

bool knows_what_is_true(const SwitchFollower& follower, const SwitchModel& model) {
  std::set<std::uint32_t> cards;
  for (const auto& [card_id, state] : model.cards()) {
    if (state == CARD_STATE_PRESENT) cards.insert(card_id);
  }
  return follower.cards() == cards && follower.vlans() == model.vlans();
}

class ChassisTest : public ::testing::Test {
 protected:
  ChassisTest() { _finder.start(); }

  void start_chassis() {
    _chassis = std::make_unique<Chassis>(_world.loop(), sample(), FinderPlace());
    expect_soon([this] { return _chassis->is_ready(); });
  }
  void start_follower() { _follower = std::make_unique<SwitchFollower>(_world.loop()); }
  void expect_soon(const std::function<bool()>& condition) {
    EXPECT_TRUE(_world.run_until(condition, seconds(60))) << _world.report();
  }
  void expect_followed() {
    expect_soon([this] { return knows_what_is_true(*_follower, _chassis->model()); });
  }

  // Sends with one client stub and waits: "OKAY" or the error.
  template <typename Client, typename Send>
  std::string ask(Send send) {
    if (!_router.ready()) expect_soon([this] { return _router.ready(); });
    std::string answer;
    Client client(_router.sender());
    EXPECT_TRUE(send(client, callback([&answer](const XrlError& error) { answer = error.str(); })));
    expect_soon([&answer] { return !answer.empty(); });
    return answer;
  }
  using ChassisClient = XrlChassisV0p1Client;
  std::string map_port(std::uint32_t slot, std::uint32_t port, std::uint32_t priority,
                       std::uint32_t queue) {
    return ask<XrlLcmgrV0p1Client>([&](auto& client, auto done) {
      const std::string target = "lcmgr02" + std::to_string(slot);
      return client.send_set_port_cos_mapping(target, 0, slot, port, priority, queue,
                                              std::move(done));
    });
  }
  std::string set_fault(std::uint32_t slot, const char* fault) {
    return ask<ChassisClient>([&](auto& client, auto done) {
      return client.send_set_line_card_fault("chassis", slot, fault, std::move(done));
    });
  }
  std::string stop_target(const char* name) {
    return ask<ChassisClient>([&](auto& client, auto done) {
      return client.send_stop_target("chassis", name, std::move(done));
    });
  }
  std::string start_target(const char* name) {
    return ask<ChassisClient>([&](auto& client, auto done) {
      return client.send_start_target("chassis", name, std::move(done));
    });
  }
  // "OKAY 3:5 4:6" or the error.
  std::string mapping_of(const char* interface) {
    std::string answer;
    XrlChassisV0p1Client client(_router.sender());
    EXPECT_TRUE(client.send_get_port_cos_mapping(
        "chassis", interface,
        callback([&answer](const XrlError& error, const XrlAtomList* priorities,
                           const XrlAtomList* queues) {
          answer = error.str();
          for (std::size_t i = 0; error.is_okay() && i < priorities->size(); ++i) {
            answer += " " + std::to_string(priorities->u32_at(i)) + ":" +
                      std::to_string(queues->u32_at(i));
          }
        })));
    expect_soon([&answer] { return !answer.empty(); });
    return answer;
  }

  SimWorld _world{1};
  SimFinder _finder{_world};
  std::unique_ptr<Chassis> _chassis;
  std::unique_ptr<SwitchFollower> _follower;
  XrlStdRouter _router{_world.loop(), "", "127.0.0.1", SimFinder::PORT, false};
};

const std::string OKAY = XrlError::OKAY().str();

}  // namespace

TEST_F(ChassisTest, IsReadyWhenAllItsTargetsHaveRegistered) {
  _finder.stop();
  _chassis = std::make_unique<Chassis>(_world.loop(), sample(), FinderPlace());
  _world.run_for(seconds(10));
  EXPECT_FALSE(_chassis->is_ready());
  _finder.start();
  expect_soon([this] { return _chassis->is_ready(); });
}

TEST_F(ChassisTest, ABadDescriptionMakesNone) {
  SwitchDescription description = sample();
  description.vlans.push_back(10);
  EXPECT_THROW(Chassis(_world.loop(), description, FinderPlace()), DescriptionError);
}

TEST_F(ChassisTest, AFollowerIsToldOfEveryVlanAndCardAtItsBirth) {
  start_chassis();
  start_follower();
  expect_followed();
  EXPECT_EQ(_follower->vlans(), (std::set<std::uint32_t>{10, 20}));
  EXPECT_EQ(_follower->cards(), (std::set<std::uint32_t>{17, 28}));
}

TEST_F(ChassisTest, AFollowerIsToldOfCardsWhateverTheirNumbers) {
  start_chassis();
  EXPECT_EQ(_chassis->model().set_card_state(3, CARD_STATE_PRESENT), DONE);
  EXPECT_EQ(_chassis->model().set_card_state(4000000000U, CARD_STATE_PRESENT), DONE);
  start_follower();
  expect_followed();
}

TEST_F(ChassisTest, AFollowerIsToldOfVlansThatAreGone) {
  start_chassis();
  start_follower();
  _follower->set_vlans({1, 10, 77, 4094});
  expect_followed();
}

TEST_F(ChassisTest, AFollowerIsToldOfCardsThatWentAwayInTheStateTheyWentWith) {
  start_chassis();
  EXPECT_EQ(_chassis->model().set_card_state(28, 9), DONE);
  EXPECT_EQ(_chassis->model().set_card_state(4000000000, 8), DONE);
  start_follower();
  _world.run_for(seconds(5));
  const Events events = _follower->take_events();
  EXPECT_EQ(std::count(events.begin(), events.end(), "card 28 9"), 1);
  EXPECT_EQ(std::count(events.begin(), events.end(), "card 4000000000 8"), 1);
}

TEST_F(ChassisTest, AFollowerIsToldOfCardsThatAnEarlierSwitchHad) {
  start_chassis();
  start_follower();
  _follower->set_cards({16, 17, 1039});
  expect_followed();
}

TEST_F(ChassisTest, EachChangeIsToldInOrder) {
  start_chassis();
  start_follower();
  expect_followed();
  _world.run_for(seconds(1));
  static_cast<void>(_follower->take_events());
  SwitchModel& model = _chassis->model();
  EXPECT_EQ(model.set_card_state(17, 0), DONE);
  EXPECT_EQ(model.set_card_state(17, 7), DONE);
  EXPECT_EQ(model.set_card_state(99, 4), DONE);
  expect_soon([this] { return _follower->event_count() == 3; });
  EXPECT_EQ(_follower->take_events(), (Events{"card 17 0", "card 17 7", "card 99 4"}));
  EXPECT_EQ(model.create_vlan(30), DONE);
  _world.run_for(seconds(1));
  EXPECT_EQ(model.delete_vlan(30), DONE);
  expect_soon([this] { return _follower->event_count() == 2; });
  EXPECT_EQ(_follower->take_events(), (Events{"vlan 30 1", "vlan 30 0"}));
}

TEST_F(ChassisTest, AFollowerThatComesBackIsToldAnew) {
  start_chassis();
  start_follower();
  expect_followed();
  _follower.reset();
  EXPECT_EQ(_chassis->model().create_vlan(30), DONE);
  EXPECT_EQ(_chassis->model().set_card_state(17, 8), DONE);
  _world.run_for(seconds(1));
  start_follower();
  expect_followed();
}

TEST_F(ChassisTest, AManagerThatComesBackTellsAnew) {
  LogCapture log;
  start_chassis();
  start_follower();
  expect_followed();
  EXPECT_EQ(stop_target("vlan"), OKAY);
  EXPECT_EQ(stop_target("card_manager"), OKAY);
  EXPECT_EQ(_chassis->model().delete_vlan(10), DONE);
  EXPECT_EQ(_chassis->model().set_card_state(17, 8), DONE);
  _world.run_for(seconds(1));
  EXPECT_TRUE(_follower->cards().contains(17));
  EXPECT_EQ(start_target("vlan"), OKAY);
  EXPECT_EQ(start_target("card_manager"), OKAY);
  expect_followed();
}

TEST_F(ChassisTest, TheWholeSwitchMayComeBack) {
  LogCapture log;
  start_chassis();
  start_follower();
  expect_followed();
  _chassis.reset();
  _follower->set_vlans({10, 20, 30});
  _world.run_for(seconds(1));
  start_chassis();
  expect_followed();
}

TEST_F(ChassisTest, LineCardsStoreWhatTheyAreSent) {
  start_chassis();
  EXPECT_EQ(map_port(12, 1, 3, 5), OKAY);
  EXPECT_EQ(map_port(12, 1, 4, 6), OKAY);
  EXPECT_EQ(mapping_of("eth-0/12/1"), OKAY + " 3:5 4:6");
  EXPECT_EQ(mapping_of("eth-0/1/1"), OKAY);
  EXPECT_EQ(mapping_of("eth-0/1/2"), "102 COMMAND_FAILED the interface does not exist.");
  EXPECT_EQ(_chassis->model().find_line_card(12)->requests(), 2U);
}

TEST_F(ChassisTest, AnInterfaceThatIsNoPortIsPortZeroOfSlotZero) {
  start_chassis();
  EXPECT_EQ(map_port(0, 0, 3, 5), OKAY);
  EXPECT_EQ(mapping_of("lag1"), OKAY + " 3:5");
}

TEST_F(ChassisTest, ALineCardRefusesWhatItCannotStore) {
  start_chassis();
  EXPECT_EQ(map_port(1, 1, 8, 0), "102 COMMAND_FAILED priority is bad.");
  EXPECT_EQ(map_port(1, 1, 0, 8), "102 COMMAND_FAILED queue is bad.");
}

TEST_F(ChassisTest, ARefusingLineCardAnswersWithAnErrorUntilItIsWell) {
  start_chassis();
  EXPECT_EQ(set_fault(1, "refuse"), OKAY);
  EXPECT_EQ(map_port(1, 1, 3, 5), "102 COMMAND_FAILED the line card refuses.");
  EXPECT_EQ(map_port(12, 1, 3, 5), OKAY);
  EXPECT_EQ(set_fault(1, "none"), OKAY);
  EXPECT_EQ(map_port(1, 1, 3, 5), OKAY);
  EXPECT_EQ(_chassis->model().find_line_card(1)->requests(), 2U);
}

TEST_F(ChassisTest, ASilentLineCardAnswersNothing) {
  start_chassis();
  EXPECT_EQ(set_fault(1, "silent"), OKAY);
  EXPECT_EQ(map_port(1, 1, 3, 5), "211 REPLY_TIMED_OUT no reply from 'lcmgr021' in time.");
  EXPECT_EQ(mapping_of("eth-0/1/1"), OKAY);
  EXPECT_EQ(_chassis->model().find_line_card(1)->requests(), 1U);
}

TEST_F(ChassisTest, AClosingLineCardClosesTheConnection) {
  LogCapture log;
  start_chassis();
  EXPECT_EQ(set_fault(1, "close"), OKAY);
  const std::string answer = map_port(1, 1, 3, 5);
  EXPECT_EQ(answer.substr(0, 15), "210 SEND_FAILED") << answer;
  EXPECT_EQ(mapping_of("eth-0/1/1"), OKAY);
}

TEST_F(ChassisTest, FaultsOfUnknownNamesAndLineCardsAreRefused) {
  start_chassis();
  EXPECT_EQ(set_fault(1, "dead"), "101 BAD_ARGS fault is none of none, refuse, silent, close.");
  EXPECT_EQ(set_fault(2, "none"), "102 COMMAND_FAILED the line card does not exist.");
}

TEST_F(ChassisTest, TargetsAreStoppedAndStartedByName) {
  start_chassis();
  EXPECT_EQ(map_port(1, 1, 3, 5), OKAY);
  EXPECT_EQ(stop_target("lcmgr021"), OKAY);
  EXPECT_EQ(stop_target("lcmgr021"), "102 COMMAND_FAILED the target is stopped already.");
  EXPECT_EQ(map_port(1, 1, 3, 6).substr(0, 3), "201");
  EXPECT_EQ(start_target("lcmgr021"), OKAY);
  EXPECT_EQ(start_target("lcmgr021"), "102 COMMAND_FAILED the target runs already.");
  EXPECT_EQ(mapping_of("eth-0/1/1"), OKAY + " 3:5");
  EXPECT_EQ(stop_target("chassis"), "102 COMMAND_FAILED the target does not exist.");
  EXPECT_EQ(start_target("lcmgr022"), "102 COMMAND_FAILED the target does not exist.");
}

TEST_F(ChassisTest, IsReadyWithoutTheTargetsThatAreStopped) {
  start_chassis();
  EXPECT_EQ(stop_target("sif"), OKAY);
  EXPECT_TRUE(_chassis->is_ready());
}

TEST_F(ChassisTest, ObserversComeAndGoByTheirNames) {
  start_chassis();
  const std::string nobody = "102 COMMAND_FAILED the observer is not registered.";
  const std::string nameless = "102 COMMAND_FAILED the observer has no name.";
  const auto watch_tree = [this](const char* name) {
    return ask<XrlSifV0p1Client>([name](auto& client, auto done) {
      return client.send_register_observer("sif", name, std::move(done));
    });
  };
  const auto leave_tree = [this](const char* name) {
    return ask<XrlSifV0p1Client>([name](auto& client, auto done) {
      return client.send_deregister_observer("sif", name, std::move(done));
    });
  };
  EXPECT_EQ(watch_tree(""), nameless);
  EXPECT_EQ(leave_tree("a"), nobody);
  EXPECT_EQ(watch_tree("a"), OKAY);
  EXPECT_EQ(leave_tree("a"), OKAY);
  EXPECT_EQ(leave_tree("a"), nobody);
  const auto watch_cards = [this](const char* name) {
    return ask<XrlCardManagerV0p1Client>([name](auto& client, auto done) {
      return client.send_register_card_state("card_manager", {}, name, std::move(done));
    });
  };
  const auto leave_cards = [this](const char* name) {
    return ask<XrlCardManagerV0p1Client>([name](auto& client, auto done) {
      return client.send_deregister_card_state("card_manager", {}, name, std::move(done));
    });
  };
  EXPECT_EQ(watch_cards(""), nameless);
  EXPECT_EQ(leave_cards("a"), nobody);
  EXPECT_EQ(watch_cards("a"), OKAY);
  EXPECT_EQ(leave_cards("a"), OKAY);
}

TEST_F(ChassisTest, TheVlanManagerTellsOfItsVlans) {
  start_chassis();
  expect_soon([this] { return _router.ready(); });
  std::optional<XrlAtomList> vlans;
  EXPECT_TRUE(
      XrlVlanV0p1Client(_router.sender())
          .send_get_vlans("vlan", callback([&](const XrlError& error, const XrlAtomList* l) {
                            EXPECT_EQ(error, XrlError::OKAY());
                            vlans = *l;
                          })));
  expect_soon([&] { return vlans.has_value(); });
  ASSERT_EQ(vlans->size(), 2U);
  EXPECT_EQ(vlans->u32_at(0), 10U);
  EXPECT_EQ(vlans->u32_at(1), 20U);
}

TEST_F(ChassisTest, TheVlanManagerFollowsThePolicyDaemonAlone) {
  start_chassis();
  const auto event = [this](bool birth, const char* of_class, const char* instance) {
    return ask<XrlFinderEventObserverV0p1Client>([&](auto& client, auto done) {
      return birth ? client.send_xrl_target_birth("vlan", of_class, instance, std::move(done))
                   : client.send_xrl_target_death("vlan", of_class, instance, std::move(done));
    });
  };
  EXPECT_EQ(event(false, "policy", "policy-1"), OKAY);
  start_follower();
  expect_followed();
  EXPECT_EQ(event(true, "sif", "sif-1"), OKAY);
  EXPECT_EQ(event(false, "policy", "policy-1"), OKAY);
  EXPECT_EQ(_chassis->model().create_vlan(30), DONE);
  expect_followed();
}

TEST_F(ChassisTest, AnInterfaceOfANewSlotBringsItsLineCardManager) {
  start_chassis();
  EXPECT_EQ(_chassis->model().add_interface("eth-0/9/1"), DONE);
  expect_soon([this] { return _chassis->is_ready(); });
  EXPECT_EQ(map_port(9, 1, 3, 5), OKAY);
}

TEST_F(ChassisTest, OnlyTheTargetChassisCanBeShutDown) {
  start_chassis();
  for (const char* target : {"sif", "card_manager", "vlan", "lcmgr021"}) {
    EXPECT_EQ(ask<XrlCommonV0p1Client>([&](auto& client, auto done) {
                return client.send_shutdown(target, std::move(done));
              }),
              "102 COMMAND_FAILED only the target chassis can be shut down.");
  }
  EXPECT_FALSE(_chassis->is_done());
  EXPECT_EQ(ask<XrlCommonV0p1Client>([&](auto& client, auto done) {
              return client.send_shutdown("chassis", std::move(done));
            }),
            OKAY);
  EXPECT_TRUE(_chassis->is_done());
}

TEST_F(ChassisTest, TellsThatItIsShuttingDownOnceAskedTo) {
  start_chassis();
  EXPECT_EQ(ask<XrlCommonV0p1Client>([&](auto& client, auto done) {
              return client.send_shutdown("chassis", std::move(done));
            }),
            OKAY);
  std::string told;
  EXPECT_TRUE(
      XrlCommonV0p1Client(_router.sender())
          .send_get_status("chassis", callback([&told](const XrlError&, const std::uint32_t* status,
                                                       const std::string_view* reason) {
                             told = std::to_string(*status) + " '" + std::string(*reason) + "'";
                           })));
  expect_soon([&told] { return !told.empty(); });
  EXPECT_EQ(told, "4 ''");
}

TEST_F(ChassisTest, EveryTargetTellsItsNameVersionAndStatus) {
  start_chassis();
  expect_soon([this] { return _router.ready(); });
  for (const char* target : {"sif", "card_manager", "vlan", "lcmgr021", "lcmgr0212", "chassis"}) {
    XrlCommonV0p1Client client(_router.sender());
    std::string told;
    EXPECT_TRUE(client.send_get_target_name(
        target, callback([&](const XrlError&, const std::string_view* name) { told += *name; })));
    EXPECT_TRUE(client.send_get_version(
        target, callback([&](const XrlError&, const std::string_view* version) {
          told.append(" ").append(*version);
        })));
    EXPECT_TRUE(client.send_get_status(
        target,
        callback([&](const XrlError&, const std::uint32_t* status, const std::string_view* reason) {
          told.append(" ").append(std::to_string(*status)).append(" ").append(*reason);
        })));
    _world.run_for(seconds(1));
    EXPECT_EQ(told, std::string(target) + " chassis/0.0 3 ready");
  }
}

TEST_F(ChassisTest, TheTreeIsShownWithItsAggregates) {
  start_chassis();
  expect_soon([this] { return _router.ready(); });
  std::string told;
  XrlSifV0p1Client client(_router.sender());
  EXPECT_TRUE(client.send_get_tree(
      "sif", callback([&](const XrlError&, const std::uint64_t*, const XrlAtomList* names,
                          const XrlAtomList* lagmembers, const XrlAtomList* lagnames,
                          const XrlAtomList* member_lags, const XrlAtomList* member_names) {
        told = names->str() + " " + lagmembers->str() + " " + lagnames->str() + " " +
               member_lags->str() + " " + member_names->str();
      })));
  expect_soon([&] { return !told.empty(); });
  EXPECT_EQ(told,
            ":txt=eth-0/1/1,:txt=eth-0/12/1,:txt=lag1 :u32=1,:u32=0,:u32=0 "
            ":txt=lag1,:txt=,:txt= :txt=lag1 :txt=eth-0/1/1");
}

namespace {

// One system in which things change, break and come back as the seed draws.
class TroubledSwitch {
 public:
  explicit TroubledSwitch(std::uint64_t seed) : _world(seed) {
    _finder.start();
    restart_chassis();
    restart_follower();
  }

  // What was changed is not changed again, so that a loss is not made good by
  // the next change.
  void change_something() {
    SwitchModel& model = _chassis->model();
    ++_changes;
    ASSERT_EQ(model.set_card_state(100 + _changes, CARD_STATE_PRESENT), DONE);
    ASSERT_EQ(model.create_vlan(100 + _changes), DONE);
  }
  void restart_something() {
    switch (random().below(4)) {
      case 0:
        _finder.restart();
        break;
      case 1:
        restart_chassis();
        break;
      case 2:
        restart_follower();
        break;
      default:
        ASSERT_EQ(_chassis->targets().stop("vlan"), DONE);
        ASSERT_EQ(_chassis->targets().start("vlan"), DONE);
        break;
    }
  }
  void cut_something() { _world.network().cut_random(); }
  void wait(Duration longest) { _world.run_for(random().between(Duration(0), longest)); }

  [[nodiscard]] bool settles() {
    return _world.run_until([&] { return knows_what_is_true(*_follower, _chassis->model()); },
                            seconds(120));
  }
  [[nodiscard]] std::string report() const { return _world.report(); }
  [[nodiscard]] SimRandom& random() { return _world.random(); }

 private:
  void restart_chassis() {
    _chassis.reset();
    _chassis = std::make_unique<Chassis>(_world.loop(), sample(), FinderPlace());
  }
  void restart_follower() {
    _follower.reset();
    _follower = std::make_unique<SwitchFollower>(_world.loop());
  }

  SimWorld _world;
  SimFinder _finder{_world};
  std::uint32_t _changes = 0;
  std::unique_ptr<Chassis> _chassis;
  std::unique_ptr<SwitchFollower> _follower;
};

}  // namespace

class ChassisConvergence : public ::testing::TestWithParam<std::uint64_t> {};

TEST_P(ChassisConvergence, AfterRestartsAndCutsTheFollowerKnowsWhatIsTrue) {
  LogCapture log;
  TroubledSwitch troubled(GetParam());
  for (int step = 0; step < 20; ++step) {
    troubled.wait(milliseconds(300));
    troubled.change_something();
    if (troubled.random().chance(200)) troubled.cut_something();
    if (troubled.random().chance(300)) troubled.restart_something();
  }
  EXPECT_TRUE(troubled.settles()) << troubled.report();
}

// Without restarts nothing is told anew, so only what is told again helps.
TEST_P(ChassisConvergence, AfterCutsAloneTheFollowerKnowsWhatIsTrue) {
  LogCapture log;
  TroubledSwitch troubled(GetParam());
  EXPECT_TRUE(troubled.settles()) << troubled.report();
  for (int step = 0; step < 50; ++step) {
    troubled.change_something();
    troubled.wait(milliseconds(1));
    for (int cut = 0; cut < 4; ++cut) troubled.cut_something();
    troubled.wait(milliseconds(200));
  }
  EXPECT_TRUE(troubled.settles()) << troubled.report();
}

INSTANTIATE_TEST_SUITE_P(Seeds, ChassisConvergence, ::testing::Range<std::uint64_t>(1, 9));
