#include "framework/finder/finder_server.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "framework/base/exceptions.h"
#include "tests/simulation/sim_world.h"
#include "tests/support/log_capture.h"
#include "tests/unit/finder/finder_peer.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

using Lines = std::vector<std::string>;

const NetAddress LOOPBACK = NetAddress::tcp(IPv4::loopback(), 19999);

class FinderServerTest : public testing::Test {
 protected:
  std::unique_ptr<FinderPeer> peer() {
    return std::make_unique<FinderPeer>(_world, _server->address());
  }

  SimWorld _world{11};
  std::unique_ptr<FinderServer> _server =
      std::make_unique<FinderServer>(_world.loop(), LOOPBACK, AllowList(), "");
};

TEST_F(FinderServerTest, ListsItselfWhenNobodyElseIsThere) {
  const auto caller = peer();
  EXPECT_EQ(caller->call("finder/0.2/get_xrl_targets"), "targets:list=:txt=finder");
  EXPECT_EQ(caller->call("finder/0.2/get_instances"),
            "targets:list=:txt=finder&instances:list=:txt=finder&"
            "addresses:list=:txt=127.0.0.1%3A19999");
  EXPECT_EQ(caller->call("finder/0.2/get_interests"), "requesters:list=&classes:list=");
}

TEST_F(FinderServerTest, AnswersTheCommonInterface) {
  const auto caller = peer();
  EXPECT_EQ(caller->call("common/0.1/get_target_name"), "name:txt=finder");
  EXPECT_EQ(caller->call("common/0.1/get_version"), "version:txt=finder/0.2");
  EXPECT_EQ(caller->call("common/0.1/get_status"), "status:u32=3&reason:txt=ready");
  EXPECT_EQ(caller->call("common/0.1/shutdown"), "COMMAND_FAILED the finder serves for ever.");
}

TEST_F(FinderServerTest, ListsItsOwnMethods) {
  const auto caller = peer();
  EXPECT_EQ(caller->call("finder/0.2/get_methods", "target:txt=finder"),
            "methods:list=:txt=common/0.1/get_target_name,:txt=common/0.1/get_version,"
            ":txt=common/0.1/get_status,:txt=common/0.1/shutdown,"
            ":txt=finder/0.2/register_target,:txt=finder/0.2/deregister_target,"
            ":txt=finder/0.2/resolve_target,:txt=finder/0.2/get_xrl_targets,"
            ":txt=finder/0.2/get_instances,:txt=finder/0.2/get_methods,"
            ":txt=finder/0.2/get_interests,"
            ":txt=finder_event_notifier/0.1/register_class_event_interest,"
            ":txt=finder_event_notifier/0.1/deregister_class_event_interest,"
            ":txt=statistics/0.1/get_changes");
  EXPECT_EQ(caller->call("finder/0.2/get_methods", "target:txt=fnder"),
            "RESOLVE_FAILED no target 'fnder' is registered; is 'finder' meant?");
}

TEST_F(FinderServerTest, ResolvesWhatWasRegisteredKeysIncluded) {
  const auto policy = peer();
  const XrlArgs registered = FinderPeer::registration("policy", "policy-1");
  EXPECT_EQ(policy->call("finder/0.2/register_target", registered), "");
  const auto caller = peer();
  EXPECT_EQ(caller->call("finder/0.2/resolve_target", "target:txt=policy"),
            "instance_name:txt=policy-1&" + registered[2].str() + "&" + registered[3].str() + "&" +
                registered[4].str());
  EXPECT_EQ(caller->call("finder/0.2/get_instances"),
            "targets:list=:txt=finder,:txt=policy&instances:list=:txt=finder,:txt=policy-1&"
            "addresses:list=:txt=127.0.0.1%3A19999,:txt=127.0.0.1%3A4711");
}

TEST_F(FinderServerTest, RefusesListsThatAreNotAlignedAndKeysOfAnotherLength) {
  const auto policy = peer();
  const std::string head =
      "instance_name:txt=policy-1&class_name:txt=policy&addresses:list=:txt=127.0.0.1%3A1&";
  EXPECT_EQ(
      policy->call("finder/0.2/register_target", head + "methods:list=:txt=a/0.1/m&keys:list="),
      "BAD_ARGS 1 methods have 0 keys.");
  XrlArgs short_key = XrlArgs::parse(head + "methods:list=:txt=a/0.1/m");
  XrlAtomList keys;
  keys.append(XrlAtom::unnamed(XrlAtom::Binary(15, 1)));
  short_key.add(XrlAtom("keys", keys));
  EXPECT_EQ(policy->call("finder/0.2/register_target", short_key),
            "BAD_ARGS key 1 is not 16 bytes long.");
  EXPECT_EQ(policy->call("finder/0.2/get_xrl_targets"), "targets:list=:txt=finder");
}

TEST_F(FinderServerTest, RefusesMoreThanTheRegistryTakesWithItsText) {
  const auto policy = peer();
  XrlArgs args = XrlArgs::parse("instance_name:txt=policy-1&class_name:txt=policy");
  XrlAtomList addresses;
  for (int i = 0; i < 5000; ++i) addresses.append("127.0.0.1:1");
  args.add(XrlAtom("addresses", addresses));
  args.add(XrlAtom("methods", XrlAtomList()));
  args.add(XrlAtom("keys", XrlAtomList()));
  EXPECT_EQ(policy->call("finder/0.2/register_target", args),
            "BAD_ARGS a target may have at most 8 addresses.");
  args = XrlArgs::parse(
      "instance_name:txt=policy-1&class_name:txt=policy&addresses:list=:txt=127.0.0.1%3A1");
  XrlAtomList methods;
  XrlAtomList keys;
  for (int i = 0; i < 5000; ++i) {
    methods.append("a/0.1/m" + std::to_string(i));
    keys.append(XrlAtom::unnamed(XrlAtom::Binary(16, 1)));
  }
  args.add(XrlAtom("methods", methods));
  args.add(XrlAtom("keys", keys));
  EXPECT_EQ(policy->call("finder/0.2/register_target", args),
            "BAD_ARGS a target may have at most 1024 methods.");
}

TEST_F(FinderServerTest, TellsBirthsAndDeathsOfAWatchedClass) {
  const auto policy = peer();
  policy->register_target("policy", "policy-1");
  EXPECT_EQ(policy->watch("policy-1", "vlan"), "");
  EXPECT_EQ(policy->told(), Lines{});
  const auto vlan = peer();
  EXPECT_EQ(vlan->register_target("vlan", "vlan-1"), "");
  EXPECT_EQ(policy->told(),
            (Lines{"xrl_target_birth target_class:txt=vlan&target_instance:txt=vlan-1"}));
  EXPECT_EQ(vlan->call("finder/0.2/deregister_target", "instance_name:txt=vlan-1"), "");
  EXPECT_EQ(policy->told(),
            (Lines{"xrl_target_death target_class:txt=vlan&target_instance:txt=vlan-1"}));
  EXPECT_EQ(policy->call("finder/0.2/get_interests"),
            "requesters:list=:txt=policy-1&classes:list=:txt=vlan");
}

TEST_F(FinderServerTest, TellsABirthRightAfterTheAnswerWhenTheClassLives) {
  const auto vlan = peer();
  vlan->register_target("vlan", "vlan-1");
  const auto policy = peer();
  policy->register_target("policy", "policy-1");
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(policy->watch("policy-1", "vlan"), "");
    EXPECT_EQ(policy->told(),
              (Lines{"xrl_target_birth target_class:txt=vlan&target_instance:txt=vlan-1"}));
  }
}

TEST_F(FinderServerTest, TakesALostConnectionForADeath) {
  const auto vlan = peer();
  vlan->register_target("vlan", "vlan-1");
  const auto policy = peer();
  policy->register_target("policy", "policy-1");
  policy->watch("policy-1", "vlan");
  policy->call("finder/0.2/resolve_target", "target:txt=vlan");
  policy->told();
  vlan->leave();
  EXPECT_EQ(policy->told(),
            (Lines{"target_died instance_name:txt=vlan-1",
                   "xrl_target_death target_class:txt=vlan&target_instance:txt=vlan-1"}));
  EXPECT_EQ(_server->registry().session_count(), 1U);
}

TEST_F(FinderServerTest, StopsTellingAfterTheInterestIsWithdrawn) {
  const auto policy = peer();
  policy->register_target("policy", "policy-1");
  policy->watch("policy-1", "vlan");
  EXPECT_EQ(policy->call("finder_event_notifier/0.1/deregister_class_event_interest",
                         "requester_instance:txt=policy-1&class_name:txt=vlan"),
            "");
  const auto vlan = peer();
  vlan->register_target("vlan", "vlan-1");
  EXPECT_EQ(policy->told(), Lines{});
}

TEST_F(FinderServerTest, TellsASecondOfAClassThatItHasToWait) {
  const auto first = peer();
  first->register_target("policy", "policy-1");
  const auto second = peer();
  EXPECT_EQ(second->register_target("policy", "policy-2"),
            "COMMAND_FAILED the class 'policy' is registered by another target.");
  first->leave();
  EXPECT_EQ(second->register_target("policy", "policy-2"), "");
}

TEST_F(FinderServerTest, KeepsOrderWhenManyRequestsShareATurn) {
  const auto watcher = peer();
  watcher->register_target("policy", "policy-1");
  watcher->watch("policy-1", "vlan");
  const auto vlan = peer();
  Lines expected;
  for (int i = 0; i < 50; ++i) {
    const std::string instance = "vlan-" + std::to_string(i);
    vlan->send("finder/0.2/register_target", FinderPeer::registration("vlan", instance));
    vlan->send("finder/0.2/deregister_target", XrlArgs::parse("instance_name:txt=" + instance));
    const std::string args = " target_class:txt=vlan&target_instance:txt=" + instance;
    expected.push_back("xrl_target_birth" + args);
    expected.push_back("xrl_target_death" + args);
  }
  EXPECT_EQ(vlan->call("finder/0.2/get_xrl_targets"), "targets:list=:txt=finder,:txt=policy");
  EXPECT_EQ(watcher->told(), expected);
}

TEST_F(FinderServerTest, ClosesASessionThatTakesNoNews) {
  // As long as names can be, to need fewer of them.
  const std::string watched(finder_limits::MAX_NAME_BYTES, 'w');
  const std::string instance(finder_limits::MAX_NAME_BYTES, 'i');
  const XrlArgs birth = FinderPeer::registration(watched, instance);
  const XrlArgs death = XrlArgs::parse("instance_name:txt=" + instance);
  const auto sleeper = peer();
  sleeper->register_target("policy", "policy-1");
  sleeper->watch("policy-1", watched);
  ASSERT_TRUE(_world.network().hold(_world.network().connections().front().id));
  const auto busy = peer();
  LogCapture log;
  Lines lines;
  // A birth and a death are at least four names long together.
  const std::size_t enough =
      finder_limits::MAX_UNSENT_BYTES / (4 * finder_limits::MAX_NAME_BYTES) + 1024;
  for (std::size_t i = 0; i < enough && lines.empty(); ++i) {
    busy->send("finder/0.2/register_target", birth);
    busy->send("finder/0.2/deregister_target", death);
    if (i % 256 == 0) {
      busy->call("finder/0.2/get_xrl_targets");
      lines = log.take_lines();
    }
  }
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_NE(lines[0].find(": the session takes no news"), std::string::npos) << lines[0];
  EXPECT_EQ(_server->registry().session_count(), 1U);
  EXPECT_EQ(busy->call("finder/0.2/get_xrl_targets"), "targets:list=:txt=finder");
}

TEST_F(FinderServerTest, MakesRoomByClosingWhoOnlyAsksAndNeverARegisteredTarget) {
  _server.reset();
  _server = std::make_unique<FinderServer>(_world.loop(), LOOPBACK, AllowList(), "", 3);
  const auto daemon = peer();
  daemon->register_target("policy", "policy-1");
  const auto silent = peer();
  silent->call("finder/0.2/get_xrl_targets");
  const auto asker = peer();
  asker->call("finder/0.2/get_xrl_targets");
  LogCapture log;
  const auto late = peer();
  EXPECT_EQ(late->call("finder/0.2/get_xrl_targets"), "targets:list=:txt=finder,:txt=policy");
  _world.run_for(seconds(1));
  EXPECT_TRUE(daemon->is_up());
  EXPECT_FALSE(silent->is_up());
  EXPECT_TRUE(asker->is_up());
  EXPECT_EQ(log.take_lines().size(), 1U);
}

TEST_F(FinderServerTest, RefusesMoreRegisteredTargetsThanItHasRoomFor) {
  _server.reset();
  _server = std::make_unique<FinderServer>(_world.loop(), LOOPBACK, AllowList(), "", 1);
  const auto daemon = peer();
  daemon->register_target("policy", "policy-1");
  LogCapture log;
  const auto late = peer();
  _world.run_for(seconds(1));
  EXPECT_FALSE(late->is_up());
  EXPECT_EQ(daemon->call("finder/0.2/get_xrl_targets"), "targets:list=:txt=finder,:txt=policy");
  EXPECT_EQ(log.take_lines().size(), 1U);
}

TEST_F(FinderServerTest, RefusesToShareItsAddress) {
  try {
    const FinderServer second(_world.loop(), LOOPBACK, AllowList(), "");
    FAIL() << "two finders on one address";
  } catch (const XorpException& e) {
    EXPECT_EQ(e.str(), "cannot listen on 127.0.0.1:19999: Address already in use");
  }
}

TEST_F(FinderServerTest, MayBeDestroyedWithSessionsOpenAndStartAgain) {
  const auto policy = peer();
  policy->register_target("policy", "policy-1");
  _server.reset();
  _world.run_for(seconds(1));
  EXPECT_FALSE(policy->is_up());
  _server = std::make_unique<FinderServer>(_world.loop(), LOOPBACK, AllowList(), "");
  EXPECT_EQ(peer()->call("finder/0.2/get_xrl_targets"), "targets:list=:txt=finder");
}

// ------------------------------------------------------------------ access

class FinderAccess : public testing::Test {
 protected:
  static NetAddress at(const char* host) {
    IPv4 address;
    EXPECT_TRUE(IPv4::parse(host, address));
    return NetAddress::tcp(address, 19999);
  }
  SimWorld _world{12};
};

TEST_F(FinderAccess, IsForThisHostAloneUnlessNetsAreAllowed) {
  const FinderServer server(_world.loop(), at("0.0.0.0"), AllowList(), "");
  EXPECT_TRUE(FinderPeer(_world, at("127.0.0.1")).is_up());
  LogCapture log;
  EXPECT_FALSE(FinderPeer(_world, at("10.1.0.1")).is_up());
  const Lines lines = log.take_lines();
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(lines[0].rfind("WARNING XRL admit: refused 10.1.0.1:", 0), 0U) << lines[0];
}

TEST_F(FinderAccess, IsForTheNetsThatAreAllowed) {
  AllowList allowed;
  ASSERT_TRUE(allowed.add("10.1.0.0/16"));
  const FinderServer server(_world.loop(), at("0.0.0.0"), allowed, "");
  EXPECT_TRUE(FinderPeer(_world, at("10.1.0.1")).is_up());
  const LogCapture log;
  EXPECT_FALSE(FinderPeer(_world, at("10.2.0.1")).is_up());
}

TEST_F(FinderAccess, NeedsTheCookieWhenThereIsOne) {
  const FinderServer server(_world.loop(), LOOPBACK, AllowList(), "0123456789abcdef");
  EXPECT_TRUE(FinderPeer(_world, LOOPBACK, "0123456789abcdef").is_up());
  for (const char* wrong : {"", "0123456789abcdeF"}) {
    const LogCapture log;
    const FinderPeer stranger(_world, LOOPBACK, wrong);
    _world.run_for(seconds(1));
    EXPECT_FALSE(stranger.is_up()) << wrong;
  }
  EXPECT_EQ(server.registry().session_count(), 0U);
}

}  // namespace
