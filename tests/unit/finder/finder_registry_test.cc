#include "framework/finder/finder_registry.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/unit/finder/finder_samples.h"

namespace {

using finder_samples::BIRTH;
using finder_samples::DEATH;
using finder_samples::key;
using finder_samples::observer;
using finder_samples::own_target;
using finder_samples::target;

using Lines = std::vector<std::string>;

class FinderRegistryTest : public testing::Test {
 protected:
  FinderSession open() {
    const std::optional<FinderSession> session = _registry.open_session();
    EXPECT_TRUE(session.has_value());
    return *session;
  }
  FinderSession open_with(FinderTarget registered) {
    const FinderSession session = open();
    accept(_registry.register_target(session, std::move(registered)));
    return session;
  }
  Lines told() { return finder_samples::str(_registry.take_notices()); }
  Lines classes() {
    Lines names;
    for (const FinderTarget* found : _registry.targets()) names.push_back(found->class_name);
    return names;
  }
  Lines interests() {
    Lines lines;
    for (const FinderInterest& interest : _registry.interests()) {
      lines.push_back(interest.requester + " in " + interest.class_name);
    }
    return lines;
  }
  std::string resolved(FinderSession session, const std::string& name) {
    const FinderTarget* found = nullptr;
    const XrlCmdError answer = _registry.resolve(session, name, found);
    return answer.is_okay() ? found->instance_name : answer.note();
  }
  static void accept(const XrlCmdError& answer) {
    EXPECT_TRUE(answer.is_okay()) << answer.error().str();
  }
  // "BAD_ARGS the class name is malformed."; empty when accepted.
  static std::string refusal(const XrlCmdError& answer) {
    if (answer.is_okay()) return {};
    return std::string(xrl_error_name(answer.error().code())) + " " + answer.note();
  }

  FinderRegistry _registry{own_target()};
};

using Sessions = FinderRegistryTest;
using Registration = FinderRegistryTest;
using LookUp = FinderRegistryTest;
using Interest = FinderRegistryTest;
using Limits = FinderRegistryTest;

// ---------------------------------------------------------------- sessions

TEST_F(Sessions, StartEmptyAndAreCounted) {
  EXPECT_EQ(_registry.session_count(), 0U);
  const FinderSession session = open();
  EXPECT_EQ(_registry.session_count(), 1U);
  EXPECT_EQ(_registry.target_of(session), nullptr);
  _registry.close_session(session);
  EXPECT_EQ(_registry.session_count(), 0U);
}

TEST_F(Sessions, AreNeverNamedTwice) {
  const FinderSession first = open();
  _registry.close_session(first);
  EXPECT_NE(open(), first);
}

TEST_F(Sessions, ThatEndAreTheDeathOfTheirTarget) {
  const FinderSession watcher = open_with(observer("policy", "policy-1"));
  const FinderSession card_manager = open_with(target("card_manager", "card_manager-1"));
  accept(_registry.register_interest(watcher, "policy-1", "card_manager"));
  EXPECT_EQ(resolved(watcher, "card_manager"), "card_manager-1");
  told();
  _registry.close_session(card_manager);
  EXPECT_EQ(told(), (Lines{"target_died of card_manager card_manager-1 to 1",
                           "death of card_manager card_manager-1 to 1"}));
  EXPECT_EQ(classes(), (Lines{"finder", "policy"}));
}

TEST_F(Sessions, ThatEndDropTheirInterestsAndAreToldNothingMore) {
  const FinderSession watcher = open_with(observer("policy", "policy-1"));
  accept(_registry.register_interest(watcher, "policy-1", "vlan"));
  accept(_registry.register_interest(watcher, "policy-1", "policy"));
  EXPECT_EQ(resolved(watcher, "policy"), "policy-1");
  told();
  _registry.close_session(watcher);
  open_with(target("vlan", "vlan-1"));
  EXPECT_EQ(told(), Lines{});
  EXPECT_EQ(interests(), Lines{});
}

// ------------------------------------------------------------ registration

TEST_F(Registration, MakesATargetKnownByClassAndByInstance) {
  FinderTarget policy = observer("policy", "policy-1");
  policy.addresses = {"unix:/run/policy", "10.0.0.1:4711"};
  const FinderSession session = open_with(policy);
  ASSERT_NE(_registry.target_of(session), nullptr);
  EXPECT_EQ(*_registry.target_of(session), policy);
  for (const char* name : {"policy", "policy-1"}) {
    const FinderTarget* found = nullptr;
    accept(_registry.find(name, found));
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(*found, policy);
  }
}

TEST_F(Registration, OfAClassThatAnotherSessionOwnsIsRefusedAndDisturbsNobody) {
  const FinderSession first = open_with(target("policy", "policy-1"));
  const FinderSession watcher = open_with(observer("watcher", "watcher-1"));
  accept(_registry.register_interest(watcher, "watcher-1", "policy"));
  EXPECT_EQ(resolved(watcher, "policy"), "policy-1");
  told();
  const FinderSession second = open();
  EXPECT_EQ(refusal(_registry.register_target(second, target("policy", "policy-2"))),
            "COMMAND_FAILED the class 'policy' is registered by another target.");
  EXPECT_EQ(told(), Lines{});
  EXPECT_EQ(_registry.target_of(second), nullptr);
  EXPECT_EQ(resolved(watcher, "policy"), "policy-1");

  _registry.close_session(first);
  accept(_registry.register_target(second, target("policy", "policy-2")));
  EXPECT_EQ(told(), (Lines{"target_died of policy policy-1 to 2", "death of policy policy-1 to 2",
                           "birth of policy policy-2 to 2"}));
}

TEST_F(Registration, OfAnInstanceThatAnotherSessionOwnsIsRefused) {
  open_with(target("policy", "policy-1"));
  EXPECT_EQ(refusal(_registry.register_target(open(), target("vlan", "policy-1"))),
            "COMMAND_FAILED the instance 'policy-1' is registered by another target.");
  EXPECT_EQ(classes(), (Lines{"finder", "policy"}));
}

TEST_F(Registration, CannotShadowAClassByAnInstanceOrAnInstanceByAClass) {
  open_with(target("policy", "policy-1"));
  EXPECT_EQ(refusal(_registry.register_target(open(), target("policy-1", "other-1"))),
            "COMMAND_FAILED the class 'policy-1' is registered by another target.");
  EXPECT_EQ(refusal(_registry.register_target(open(), target("other", "policy"))),
            "COMMAND_FAILED the instance 'policy' is registered by another target.");
}

TEST_F(Registration, MayUseOneNameAsClassAndInstance) {
  const FinderSession session = open_with(target("sif", "sif"));
  EXPECT_EQ(resolved(session, "sif"), "sif");
}

TEST_F(Registration, OfTheFindersOwnNamesIsRefused) {
  const FinderSession session = open();
  EXPECT_EQ(refusal(_registry.register_target(session, target("finder", "mine-1"))),
            "COMMAND_FAILED the class 'finder' is registered by another target.");
  EXPECT_EQ(refusal(_registry.register_target(session, target("mine", "finder"))),
            "COMMAND_FAILED the instance 'finder' is registered by another target.");
}

TEST_F(Registration, AgainWithNothingChangedTellsNobody) {
  const FinderSession watcher = open_with(observer("watcher", "watcher-1"));
  const FinderSession policy = open_with(observer("policy", "policy-1"));
  accept(_registry.register_interest(watcher, "watcher-1", "policy"));
  EXPECT_EQ(resolved(watcher, "policy"), "policy-1");
  told();
  accept(_registry.register_target(policy, observer("policy", "policy-1")));
  EXPECT_EQ(told(), Lines{});
}

TEST_F(Registration, AgainReplacesAddressesMethodsAndKeysWithoutDeathOrBirth) {
  const FinderSession watcher = open_with(observer("watcher", "watcher-1"));
  const FinderSession policy = open_with(observer("policy", "policy-1"));
  accept(_registry.register_interest(watcher, "watcher-1", "policy"));
  accept(_registry.register_interest(policy, "policy-1", "vlan"));

  FinderTarget moved = observer("policy", "policy-1");
  moved.addresses = {"127.0.0.1:4712"};
  FinderTarget grown = moved;
  grown.methods.push_back({"common/0.1/get_version", key(1)});
  FinderTarget rekeyed = grown;
  rekeyed.methods.back().key = key(2);
  for (const FinderTarget& changed : {moved, grown, rekeyed}) {
    EXPECT_EQ(resolved(watcher, "policy"), "policy-1");
    told();
    accept(_registry.register_target(policy, changed));
    EXPECT_EQ(told(), (Lines{"target_died of policy policy-1 to 1"}));
    EXPECT_EQ(*_registry.target_of(policy), changed);
  }
  EXPECT_EQ(interests(), (Lines{"watcher-1 in policy", "policy-1 in vlan"}));
}

TEST_F(Registration, UnderAnotherClassOrInstanceIsADeathAndABirth) {
  const FinderSession watcher = open_with(observer("watcher", "watcher-1"));
  accept(_registry.register_interest(watcher, "watcher-1", "policy"));
  accept(_registry.register_interest(watcher, "watcher-1", "polish"));
  const FinderSession session = open_with(observer("policy", "policy-1"));
  accept(_registry.register_interest(session, "policy-1", "vlan"));
  EXPECT_EQ(resolved(watcher, "policy"), "policy-1");
  told();

  accept(_registry.register_target(session, observer("policy", "policy-2")));
  EXPECT_EQ(told(), (Lines{"target_died of policy policy-1 to 1", "death of policy policy-1 to 1",
                           "birth of policy policy-2 to 1"}));
  EXPECT_EQ(interests(), (Lines{"watcher-1 in policy", "watcher-1 in polish"}));

  accept(_registry.register_target(session, observer("polish", "policy-2")));
  EXPECT_EQ(told(), (Lines{"death of policy policy-2 to 1", "birth of polish policy-2 to 1"}));
  EXPECT_EQ(classes(), (Lines{"finder", "polish", "watcher"}));
  EXPECT_EQ(resolved(watcher, "policy-1"), "no target 'policy-1' is registered.");
}

TEST_F(Registration, ThatIsRefusedLeavesTheOldTargetAlive) {
  open_with(target("vlan", "vlan-1"));
  const FinderSession session = open_with(target("policy", "policy-1"));
  EXPECT_EQ(refusal(_registry.register_target(session, target("vlan", "policy-1"))),
            "COMMAND_FAILED the class 'vlan' is registered by another target.");
  EXPECT_EQ(*_registry.target_of(session), target("policy", "policy-1"));
}

TEST_F(Registration, EndsWithDeregistration) {
  const FinderSession session = open_with(observer("policy", "policy-1"));
  accept(_registry.register_interest(session, "policy-1", "vlan"));
  accept(_registry.deregister_target(session, "policy-1"));
  EXPECT_EQ(_registry.target_of(session), nullptr);
  EXPECT_EQ(classes(), (Lines{"finder"}));
  EXPECT_EQ(interests(), Lines{});
  EXPECT_EQ(refusal(_registry.deregister_target(session, "policy-1")),
            "COMMAND_FAILED the instance 'policy-1' is not registered by this session.");
}

TEST_F(Registration, IsNotForOthersToEnd) {
  open_with(target("policy", "policy-1"));
  EXPECT_EQ(refusal(_registry.deregister_target(open(), "policy-1")),
            "COMMAND_FAILED the instance 'policy-1' is not registered by this session.");
  EXPECT_EQ(refusal(_registry.deregister_target(open(), "no good")),
            "BAD_ARGS the instance name is malformed.");
  EXPECT_EQ(classes(), (Lines{"finder", "policy"}));
}

TEST_F(Registration, MayHaveNoMethods) {
  const FinderSession session = open_with(target("policy", "policy-1"));
  EXPECT_TRUE(_registry.target_of(session)->methods.empty());
}

// ---------------------------------------------------------- what is refused

struct BadTarget {
  const char* what;
  void (*spoil)(FinderTarget& target);
  const char* text;
};

class MalformedRegistration : public testing::TestWithParam<BadTarget> {};

TEST_P(MalformedRegistration, IsRefusedAndChangesNothing) {
  FinderRegistry registry(own_target());
  const FinderSession session = *registry.open_session();
  FinderTarget spoilt = observer("policy", "policy-1");
  GetParam().spoil(spoilt);
  const XrlCmdError answer = registry.register_target(session, spoilt);
  EXPECT_EQ(answer.error().code(), XrlErrorCode::BAD_ARGS);
  EXPECT_EQ(answer.note(), GetParam().text);
  EXPECT_EQ(registry.target_of(session), nullptr);
  EXPECT_EQ(registry.targets().size(), 1U);
}

const BadTarget BAD_TARGETS[] = {
    {"EmptyClass", [](FinderTarget& t) { t.class_name = ""; }, "the class name is malformed."},
    {"ClassWithBlank", [](FinderTarget& t) { t.class_name = "a b"; },
     "the class name is malformed."},
    {"ClassWithSlash", [](FinderTarget& t) { t.class_name = "a/b"; },
     "the class name is malformed."},
    {"ClassWithBrace", [](FinderTarget& t) { t.class_name = "a{"; },
     "the class name is malformed."},
    {"ClassWithNul", [](FinderTarget& t) { t.class_name = std::string("a\0", 2); },
     "the class name is malformed."},
    {"ClassWithHighBit", [](FinderTarget& t) { t.class_name = "caf\xc3\xa9"; },
     "the class name is malformed."},
    {"LongClass", [](FinderTarget& t) { t.class_name = std::string(129, 'c'); },
     "the class name is malformed."},
    {"EmptyInstance", [](FinderTarget& t) { t.instance_name = ""; },
     "the instance name is malformed."},
    {"LongInstance", [](FinderTarget& t) { t.instance_name = std::string(129, 'i'); },
     "the instance name is malformed."},
    {"InstanceWithLineBreak", [](FinderTarget& t) { t.instance_name = "a\n"; },
     "the instance name is malformed."},
    {"NoAddress", [](FinderTarget& t) { t.addresses.clear(); }, "a target needs an address."},
    {"TooManyAddresses", [](FinderTarget& t) { t.addresses.assign(9, "127.0.0.1:1"); },
     "a target may have at most 8 addresses."},
    {"BadAddress", [](FinderTarget& t) { t.addresses.emplace_back("localhost:1"); },
     "address 2 is malformed."},
    {"LongAddress", [](FinderTarget& t) { t.addresses = {"unix:/" + std::string(123, 'p')}; },
     "address 1 is malformed."},
    {"TooManyMethods",
     [](FinderTarget& t) {
       for (int i = 0; i < 1023; ++i) t.methods.push_back({"a/0.1/m" + std::to_string(i), {}});
     },
     "a target may have at most 1024 methods."},
    {"MethodTwice",
     [](FinderTarget& t) {
       t.methods.push_back({"a/0.1/m", key(1)});
       t.methods.push_back({"a/0.1/n", key(2)});
       t.methods.push_back({"a/0.1/m", key(3)});
     },
     "the method 'a/0.1/m' is given twice."},
    {"MethodWithoutVersion",
     [](FinderTarget& t) {
       t.methods.push_back({"a/m", {}});
     },
     "method 3 is malformed."},
    {"MethodWithoutSlash",
     [](FinderTarget& t) {
       t.methods.push_back({"a", {}});
     },
     "method 3 is malformed."},
    {"MethodOfFourParts",
     [](FinderTarget& t) {
       t.methods.push_back({"a/0.1/m/n", {}});
     },
     "method 3 is malformed."},
    {"MethodWithEmptyInterface",
     [](FinderTarget& t) {
       t.methods.push_back({"/0.1/m", {}});
     },
     "method 3 is malformed."},
    {"MethodWithEmptyVersion",
     [](FinderTarget& t) {
       t.methods.push_back({"a//m", {}});
     },
     "method 3 is malformed."},
    {"MethodWithEmptyName",
     [](FinderTarget& t) {
       t.methods.push_back({"a/0.1/", {}});
     },
     "method 3 is malformed."},
    {"MethodWithOtherCharacters",
     [](FinderTarget& t) {
       t.methods.push_back({"a/0.1/m?", {}});
     },
     "method 3 is malformed."},
    {"LongMethod",
     [](FinderTarget& t) {
       t.methods.push_back({"a/0.1/" + std::string(250, 'm'), {}});
     },
     "method 3 is malformed."},
};

INSTANTIATE_TEST_SUITE_P(Rows, MalformedRegistration, testing::ValuesIn(BAD_TARGETS),
                         [](const auto& row) { return std::string(row.param.what); });

TEST_F(Registration, TakesNamesOfAllAllowedCharactersAndLengths) {
  FinderTarget longest = target(std::string(128, 'c'), "AZaz09_-.:@");
  longest.addresses.assign(8, "127.0.0.1:1");
  longest.methods = {{"a/0.1/" + std::string(249, 'm'), key(1)}, {"A-Z/0.1/m:@._-", key(2)}};
  const FinderSession session = open_with(longest);
  EXPECT_EQ(*_registry.target_of(session), longest);
  open_with(target("c", "i"));
}

// ---------------------------------------------------------------- look-ups

TEST_F(LookUp, OfANameNobodyHasIsRefusedAndOffersTheNearestClass) {
  open_with(target("policy", "policy-1"));
  const FinderSession session = open();
  const FinderTarget* found = nullptr;
  EXPECT_EQ(refusal(_registry.resolve(session, "polcy", found)),
            "RESOLVE_FAILED no target 'polcy' is registered; is 'policy' meant?");
  EXPECT_EQ(refusal(_registry.find("chassis", found)),
            "RESOLVE_FAILED no target 'chassis' is registered.");
  EXPECT_EQ(refusal(_registry.find("pol icy", found)),
            "RESOLVE_FAILED the target name is malformed.");
  EXPECT_EQ(found, nullptr);
}

TEST_F(LookUp, FindsTheFinderItself) {
  EXPECT_EQ(resolved(open(), "finder"), "finder");
  EXPECT_EQ(classes(), (Lines{"finder"}));
}

TEST_F(LookUp, MakesEverySessionThatResolvedHearOfTheDeathOnce) {
  const FinderSession policy = open_with(target("policy", "policy-1"));
  const FinderSession second = open();
  open();
  const FinderSession fourth = open();
  EXPECT_EQ(resolved(fourth, "policy"), "policy-1");
  EXPECT_EQ(resolved(second, "policy"), "policy-1");
  EXPECT_EQ(resolved(second, "policy-1"), "policy-1");
  accept(_registry.deregister_target(policy, "policy-1"));
  EXPECT_EQ(told(),
            (Lines{"target_died of policy policy-1 to 2", "target_died of policy policy-1 to 4"}));
}

TEST_F(LookUp, ThatIsOnlyFindingIsNotRemembered) {
  const FinderSession policy = open_with(target("policy", "policy-1"));
  const FinderTarget* found = nullptr;
  accept(_registry.find("policy", found));
  _registry.close_session(policy);
  EXPECT_EQ(told(), Lines{});
}

TEST_F(LookUp, IsForgottenOnceTheDeathWasTold) {
  const FinderSession session = open();
  const FinderSession policy = open_with(target("policy", "policy-1"));
  EXPECT_EQ(resolved(session, "policy"), "policy-1");
  accept(_registry.deregister_target(policy, "policy-1"));
  accept(_registry.register_target(policy, target("policy", "policy-1")));
  told();
  _registry.close_session(policy);
  EXPECT_EQ(told(), Lines{});
}

TEST_F(LookUp, OfATargetByItselfIsToldItsOwnDeregistration) {
  const FinderSession session = open_with(target("policy", "policy-1"));
  EXPECT_EQ(resolved(session, "policy"), "policy-1");
  accept(_registry.deregister_target(session, "policy-1"));
  EXPECT_EQ(told(), (Lines{"target_died of policy policy-1 to 1"}));
}

// --------------------------------------------------------------- interests

TEST_F(Interest, InAClassThatLivesIsToldItsBirthOnEveryRepetition) {
  open_with(target("vlan", "vlan-1"));
  const FinderSession session = open_with(observer("policy", "policy-1"));
  for (int i = 0; i < 3; ++i) {
    accept(_registry.register_interest(session, "policy-1", "vlan"));
    EXPECT_EQ(told(), (Lines{"birth of vlan vlan-1 to 2"}));
  }
  EXPECT_EQ(interests(), (Lines{"policy-1 in vlan"}));
}

TEST_F(Interest, HearsOfBirthsAndDeathsToCome) {
  const FinderSession session = open_with(observer("policy", "policy-1"));
  accept(_registry.register_interest(session, "policy-1", "vlan"));
  EXPECT_EQ(told(), Lines{});
  for (const char* instance : {"vlan-1", "vlan-2"}) {
    const FinderSession vlan = open_with(target("vlan", instance));
    EXPECT_EQ(told(), (Lines{std::string("birth of vlan ") + instance + " to 1"}));
    _registry.close_session(vlan);
    EXPECT_EQ(told(), (Lines{std::string("death of vlan ") + instance + " to 1"}));
  }
}

TEST_F(Interest, IsToldWithTheKeysThatTheRequesterRegistered) {
  const FinderSession session = open_with(observer("policy", "policy-1"));
  accept(_registry.register_interest(session, "policy-1", "vlan"));
  const FinderSession vlan = open_with(target("vlan", "vlan-1"));
  EXPECT_EQ(resolved(session, "vlan"), "vlan-1");
  _registry.close_session(vlan);
  const std::vector<FinderNotice> notices = _registry.take_notices();
  ASSERT_EQ(notices.size(), 3U);
  EXPECT_EQ(notices[0].kind, FinderNotice::Kind::BIRTH);
  EXPECT_EQ(notices[0].key, key(0xbb));
  EXPECT_EQ(notices[1].kind, FinderNotice::Kind::TARGET_DIED);
  EXPECT_EQ(notices[1].key, key(0));
  EXPECT_EQ(notices[2].kind, FinderNotice::Kind::DEATH);
  EXPECT_EQ(notices[2].key, key(0xdd));
}

TEST_F(Interest, OfManyIsToldInOrderOfSessionsAndDeathsAfterTargetDied) {
  const FinderSession first = open_with(observer("a", "a-1"));
  const FinderSession second = open_with(observer("b", "b-1"));
  accept(_registry.register_interest(second, "b-1", "vlan"));
  accept(_registry.register_interest(first, "a-1", "vlan"));
  const FinderSession vlan = open_with(target("vlan", "vlan-1"));
  EXPECT_EQ(told(), (Lines{"birth of vlan vlan-1 to 1", "birth of vlan vlan-1 to 2"}));
  EXPECT_EQ(resolved(second, "vlan"), "vlan-1");
  EXPECT_EQ(resolved(first, "vlan"), "vlan-1");
  _registry.close_session(vlan);
  EXPECT_EQ(told(), (Lines{"target_died of vlan vlan-1 to 1", "target_died of vlan vlan-1 to 2",
                           "death of vlan vlan-1 to 1", "death of vlan vlan-1 to 2"}));
}

TEST_F(Interest, IsInTheNameOfTheSessionsOwnInstanceOnly) {
  open_with(observer("policy", "policy-1"));
  const FinderSession other = open_with(observer("vlan", "vlan-1"));
  const FinderSession unregistered = open();
  const std::string text =
      "COMMAND_FAILED the instance 'policy-1' is not registered by this session.";
  for (const FinderSession session : {other, unregistered}) {
    EXPECT_EQ(refusal(_registry.register_interest(session, "policy-1", "vlan")), text);
    EXPECT_EQ(refusal(_registry.deregister_interest(session, "policy-1", "vlan")), text);
  }
  EXPECT_EQ(refusal(_registry.register_interest(other, "vlan", "policy")),
            "COMMAND_FAILED the instance 'vlan' is not registered by this session.");
  EXPECT_EQ(refusal(_registry.register_interest(other, "", "policy")),
            "BAD_ARGS the instance name is malformed.");
  EXPECT_EQ(interests(), Lines{});
}

TEST_F(Interest, IsInAWellFormedClass) {
  const FinderSession session = open_with(observer("policy", "policy-1"));
  EXPECT_EQ(refusal(_registry.register_interest(session, "policy-1", "v lan")),
            "BAD_ARGS the class name is malformed.");
  EXPECT_EQ(refusal(_registry.deregister_interest(session, "policy-1", "")),
            "BAD_ARGS the class name is malformed.");
}

TEST_F(Interest, NeedsTheMethodsThatTakeTheNews) {
  FinderTarget half = target("policy", "policy-1");
  const FinderSession session = open_with(half);
  EXPECT_EQ(refusal(_registry.register_interest(session, "policy-1", "vlan")),
            "COMMAND_FAILED the instance 'policy-1' has no method '" + BIRTH + "'.");
  half.methods = {{BIRTH, key(1)}};
  accept(_registry.register_target(session, half));
  EXPECT_EQ(refusal(_registry.register_interest(session, "policy-1", "vlan")),
            "COMMAND_FAILED the instance 'policy-1' has no method '" + DEATH + "'.");
}

TEST_F(Interest, OfATargetThatGaveUpTheMethodIsSilent) {
  const FinderSession session = open_with(observer("policy", "policy-1"));
  accept(_registry.register_interest(session, "policy-1", "vlan"));
  FinderTarget half = target("policy", "policy-1");
  half.methods = {{DEATH, key(1)}};
  accept(_registry.register_target(session, half));
  _registry.close_session(open_with(target("vlan", "vlan-1")));
  EXPECT_EQ(told(), (Lines{"death of vlan vlan-1 to 1"}));
}

TEST_F(Interest, EndsWhenItIsWithdrawn) {
  const FinderSession session = open_with(observer("policy", "policy-1"));
  accept(_registry.register_interest(session, "policy-1", "vlan"));
  accept(_registry.deregister_interest(session, "policy-1", "vlan"));
  open_with(target("vlan", "vlan-1"));
  EXPECT_EQ(told(), Lines{});
  EXPECT_EQ(interests(), Lines{});
}

TEST_F(Interest, MayBeWithdrawnWhereThereIsNone) {
  const FinderSession session = open_with(observer("policy", "policy-1"));
  accept(_registry.deregister_interest(session, "policy-1", "vlan"));
  EXPECT_EQ(told(), Lines{});
}

TEST_F(Interest, InTheFinderIsToldItsBirth) {
  const FinderSession session = open_with(observer("policy", "policy-1"));
  accept(_registry.register_interest(session, "policy-1", "finder"));
  EXPECT_EQ(told(), (Lines{"birth of finder finder to 1"}));
}

TEST_F(Interest, IsListedByClassThenBySession) {
  const FinderSession first = open_with(observer("b", "b-1"));
  const FinderSession second = open_with(observer("a", "a-1"));
  accept(_registry.register_interest(second, "a-1", "vlan"));
  accept(_registry.register_interest(first, "b-1", "vlan"));
  accept(_registry.register_interest(first, "b-1", "card_manager"));
  EXPECT_EQ(interests(), (Lines{"b-1 in card_manager", "b-1 in vlan", "a-1 in vlan"}));
}

// ------------------------------------------------------------------ limits

TEST_F(Limits, RefuseSessionsPastTheLastOne) {
  std::optional<FinderSession> last;
  for (std::size_t i = 0; i < finder_limits::MAX_SESSIONS; ++i) last = open();
  EXPECT_FALSE(_registry.open_session().has_value());
  _registry.close_session(*last);
  EXPECT_TRUE(_registry.open_session().has_value());
}

TEST_F(Limits, HoldForTheMethodsOfAllTargets) {
  const auto with_methods = [](int number) {
    FinderTarget made = target("c" + std::to_string(number), "i" + std::to_string(number));
    for (std::size_t i = 0; i < finder_limits::MAX_METHODS_PER_TARGET; ++i) {
      made.methods.push_back({"a/0.1/m" + std::to_string(i), {}});
    }
    return made;
  };
  FinderSession last{};
  const int full = finder_limits::MAX_METHODS / finder_limits::MAX_METHODS_PER_TARGET;
  for (int i = 0; i < full; ++i) last = open_with(with_methods(i));
  FinderTarget one_more = target("more", "more-1");
  const FinderSession session = open_with(one_more);
  one_more.methods = {{"a/0.1/m", {}}};
  const std::string text = "COMMAND_FAILED at most 65536 methods of all targets can be registered.";
  EXPECT_EQ(refusal(_registry.register_target(session, one_more)), text);
  EXPECT_TRUE(_registry.target_of(session)->methods.empty());

  FinderTarget changed = with_methods(full - 1);
  changed.methods[0].key = key(1);
  accept(_registry.register_target(last, changed));
  changed.methods.pop_back();
  accept(_registry.register_target(last, changed));
  accept(_registry.register_target(session, one_more));
  EXPECT_EQ(refusal(_registry.register_target(last, with_methods(full - 1))), text);
  _registry.close_session(session);
  accept(_registry.register_target(last, with_methods(full - 1)));
}

TEST_F(Limits, HoldForTheInterestsOfASession) {
  const FinderSession session = open_with(observer("policy", "policy-1"));
  for (std::size_t i = 0; i < finder_limits::MAX_INTERESTS_PER_SESSION; ++i) {
    accept(_registry.register_interest(session, "policy-1", "c" + std::to_string(i)));
  }
  EXPECT_EQ(refusal(_registry.register_interest(session, "policy-1", "more")),
            "COMMAND_FAILED at most 64 classes can be of interest to a target.");
  accept(_registry.register_interest(session, "policy-1", "c0"));
  accept(_registry.deregister_interest(session, "policy-1", "c0"));
  accept(_registry.register_interest(session, "policy-1", "more"));
}

TEST_F(Limits, HoldForTheInterestsOfAllSessions) {
  const std::size_t full = finder_limits::MAX_INTERESTS / finder_limits::MAX_INTERESTS_PER_SESSION;
  FinderSession first{};
  for (std::size_t i = 0; i < full; ++i) {
    const std::string name = "o" + std::to_string(i);
    const FinderSession session = open_with(observer(name, name));
    if (i == 0) first = session;
    for (std::size_t j = 0; j < finder_limits::MAX_INTERESTS_PER_SESSION; ++j) {
      accept(_registry.register_interest(session, name, "c" + std::to_string(j)));
    }
  }
  const FinderSession session = open_with(observer("policy", "policy-1"));
  EXPECT_EQ(refusal(_registry.register_interest(session, "policy-1", "c0")),
            "COMMAND_FAILED at most 16384 interests of all targets can be registered.");
  _registry.close_session(first);
  accept(_registry.register_interest(session, "policy-1", "c0"));
}

TEST_F(Limits, HoldForTheTargetsThatASessionResolved) {
  const FinderSession session = open();
  FinderSession first{};
  for (std::size_t i = 0; i < finder_limits::MAX_RESOLUTIONS_PER_SESSION; ++i) {
    const std::string name = "t" + std::to_string(i);
    const FinderSession owner = open_with(target(name, name));
    if (i == 0) first = owner;
    EXPECT_EQ(resolved(session, name), name);
  }
  open_with(target("more", "more-1"));
  EXPECT_EQ(resolved(session, "more"), "at most 1024 targets can be resolved by a session.");
  EXPECT_EQ(resolved(session, "t1"), "t1");
  _registry.close_session(first);
  EXPECT_EQ(resolved(session, "more"), "more-1");
}

TEST_F(Limits, HoldForWhatAllSessionsResolved) {
  std::vector<FinderSession> sessions;
  for (std::size_t i = 0; i < 256; ++i) {
    const std::string name = "t" + std::to_string(i);
    sessions.push_back(open_with(target(name, name)));
  }
  for (const FinderSession session : sessions) {
    for (std::size_t i = 0; i < 256; ++i) {
      const FinderTarget* found = nullptr;
      accept(_registry.resolve(session, "t" + std::to_string(i), found));
    }
  }
  const FinderSession late = open();
  EXPECT_EQ(resolved(late, "t0"), "at most 65536 resolved targets of all sessions are kept.");
  _registry.close_session(sessions.back());
  EXPECT_EQ(resolved(late, "t0"), "t0");
}

}  // namespace
