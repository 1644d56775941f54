#include "platform/managers/observers.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "framework/xrl/xrl_error.h"
#include "tests/simulation/sim_world.h"
#include "tests/unit/platform/fake_sender.h"

using std::chrono::milliseconds;
using std::chrono::seconds;

namespace {

constexpr const char* POLICY = "policy-0123456789abcdef";

class ObserversTest : public ::testing::Test {
 protected:
  using Told = std::vector<std::string>;
  using Asked = std::vector<std::string>;

  // What the finder was asked, all agreed to: "watch CLASS", "unwatch CLASS".
  std::vector<std::string> take_asked() {
    std::vector<std::string> asked;
    while (_sender.waiting() != 0) {
      const std::string text = _sender.waiting_texts().front();
      const bool withdraws = text.find("/deregister_class_event_interest?") != std::string::npos;
      asked.push_back((withdraws ? "unwatch " : "watch ") + text.substr(text.rfind('=') + 1));
      _sender.answer();
    }
    return asked;
  }
  Told take_told() { return std::exchange(_told, {}); }

  SimWorld _world{1};
  FakeSender _sender;
  Told _told;
  Observers _observers{
      _world.loop(), _sender, "sif-1",
      [this](const std::string& observer, std::uint32_t key, const Teller::Done& done) {
        _told.push_back(observer + " " + std::to_string(key));
        _waiting.push_back(done);
        return true;
      }};
  std::vector<Teller::Done> _waiting;
};

}  // namespace

TEST_F(ObserversTest, AllAreToldEachOnItsOwn) {
  EXPECT_EQ(_observers.add("a"), DONE);
  EXPECT_EQ(_observers.add("b"), DONE);
  _observers.tell_all(7);
  EXPECT_EQ(take_told(), (Told{"a 7", "b 7"}));
  _observers.tell("b", 8);
  EXPECT_EQ(take_told(), Told{"b 8"});
  _observers.tell("c", 9);
  EXPECT_EQ(take_told(), Told{});
}

TEST_F(ObserversTest, RegisteringAgainIsNoFault) {
  EXPECT_EQ(_observers.add("a"), DONE);
  EXPECT_EQ(_observers.add("a"), DONE);
  _observers.tell_all(7);
  EXPECT_EQ(take_told(), Told{"a 7"});
}

TEST_F(ObserversTest, WhoDeregisteredIsToldNoMore) {
  EXPECT_EQ(_observers.add("a"), DONE);
  EXPECT_EQ(_observers.remove("a"), DONE);
  EXPECT_EQ(_observers.remove("a"), "the observer is not registered.");
  _observers.tell_all(7);
  EXPECT_EQ(take_told(), Told{});
}

TEST_F(ObserversTest, TheClassOfAnInstanceIsWatchedOnce) {
  EXPECT_EQ(_observers.add(POLICY), DONE);
  EXPECT_EQ(_observers.add("policy-fedcba9876543210"), DONE);
  EXPECT_EQ(take_asked(), Asked{"watch policy"});
}

TEST_F(ObserversTest, ANameThatIsNoInstanceIsWatchedAsAClass) {
  for (const char* name :
       {"policy", "policy-0123", "policy-0123456789abcdeg", "policy-0123456789abcde/",
        "-0123456789abcdef", "policy_0123456789abcdef"}) {
    EXPECT_EQ(_observers.add(name), DONE);
    EXPECT_EQ(take_asked(), Asked{std::string("watch ") + name});
  }
  EXPECT_EQ(_observers.add("policy-0123456789abcde:"), DONE);
  EXPECT_EQ(take_asked(), Asked{"watch policy-0123456789abcde%3A"});
}

TEST_F(ObserversTest, AClassWithoutObserversIsWatchedAnewForTheNextOne) {
  EXPECT_EQ(_observers.add(POLICY), DONE);
  EXPECT_EQ(_observers.remove(POLICY), DONE);
  static_cast<void>(take_asked());
  EXPECT_EQ(_observers.add(POLICY), DONE);
  EXPECT_EQ(take_asked(), Asked{"watch policy"});
}

TEST_F(ObserversTest, AClassIsWatchedUntilTheLastOfItsObserversDeregisters) {
  EXPECT_EQ(_observers.add(POLICY), DONE);
  EXPECT_EQ(_observers.add("policy"), DONE);
  static_cast<void>(take_asked());
  EXPECT_EQ(_observers.remove(POLICY), DONE);
  EXPECT_EQ(take_asked(), Asked{});
  EXPECT_EQ(_observers.remove("policy"), DONE);
  EXPECT_EQ(take_asked(), Asked{"unwatch policy"});
}

TEST_F(ObserversTest, AClassIsWatchedNoMoreWhenItsLastObserverDied) {
  EXPECT_EQ(_observers.add(POLICY), DONE);
  static_cast<void>(take_asked());
  _observers.target_died("policy", POLICY);
  EXPECT_EQ(take_asked(), Asked{"unwatch policy"});
}

TEST_F(ObserversTest, AClassIsWatchedNoMoreWhenABirthEndsItsLastRegistration) {
  EXPECT_EQ(_observers.add(POLICY), DONE);
  static_cast<void>(take_asked());
  _observers.target_born("policy", "policy-fedcba9876543210");
  EXPECT_EQ(take_asked(), Asked{"unwatch policy"});
}

TEST_F(ObserversTest, TheBirthOfAnObserverLeavesItsClassWatched) {
  EXPECT_EQ(_observers.add(POLICY), DONE);
  static_cast<void>(take_asked());
  _observers.target_born("policy", POLICY);
  EXPECT_EQ(take_asked(), Asked{});
}

TEST_F(ObserversTest, TheDeathOfAnInstanceEndsItsRegistrationAndNoOther) {
  EXPECT_EQ(_observers.add(POLICY), DONE);
  EXPECT_EQ(_observers.add("policy-fedcba9876543210"), DONE);
  _observers.target_died("policy", POLICY);
  _observers.tell_all(7);
  EXPECT_EQ(take_told(), Told{"policy-fedcba9876543210 7"});
}

TEST_F(ObserversTest, TheDeathOfAClassEndsTheRegistrationUnderItsName) {
  EXPECT_EQ(_observers.add("policy"), DONE);
  _observers.target_died("policy", POLICY);
  EXPECT_EQ(_observers.size(), 0U);
}

TEST_F(ObserversTest, ABirthEndsTheRegistrationsOfEarlierInstancesOfTheClass) {
  EXPECT_EQ(_observers.add(POLICY), DONE);
  EXPECT_EQ(_observers.add("policy"), DONE);
  EXPECT_EQ(_observers.add("other-0123456789abcdef"), DONE);
  _observers.target_born("policy", "policy-fedcba9876543210");
  _observers.tell_all(7);
  EXPECT_EQ(take_told(), (Told{"other-0123456789abcdef 7", "policy 7"}));
}

TEST_F(ObserversTest, ABirthEndsTheWaitForARetry) {
  EXPECT_EQ(_observers.add(POLICY), DONE);
  _observers.tell_all(7);
  _waiting.back()->dispatch(XrlError::SEND_FAILED());
  static_cast<void>(take_told());
  _observers.target_born("policy", POLICY);
  EXPECT_EQ(take_told(), Told{std::string(POLICY) + " 7"});
}

TEST_F(ObserversTest, ANameThatNoTargetCanHaveForItsLengthIsRefused) {
  EXPECT_EQ(_observers.add(""), "the observer has no name.");
  EXPECT_EQ(_observers.add(std::string(129, 'a')), "the observer's name is too long.");
  EXPECT_EQ(_observers.size(), 0U);
  EXPECT_EQ(take_asked(), Asked{});
  EXPECT_EQ(_observers.add(std::string(128, 'a')), DONE);
}

TEST_F(ObserversTest, ThereIsRoomForSoManyAndNoMore) {
  for (std::size_t i = 0; i < Observers::MAX_OBSERVERS; ++i) {
    EXPECT_EQ(_observers.add("a" + std::to_string(i)), DONE);
  }
  EXPECT_EQ(_observers.add("b"), "there are too many observers.");
  EXPECT_EQ(_observers.add("a0"), DONE);
}

TEST_F(ObserversTest, OneThatDiedUnheardMakesRoom) {
  EXPECT_EQ(_observers.add(POLICY), DONE);
  _observers.tell_all(7);
  static_cast<void>(take_asked());
  for (unsigned attempt = 0; attempt < Teller::MAX_UNKNOWN; ++attempt) {
    ASSERT_EQ(take_told(), Told{std::string(POLICY) + " 7"});
    _waiting.back()->dispatch(XrlError::RESOLVE_FAILED());
    _world.run_for(seconds(6));
  }
  EXPECT_EQ(_observers.size(), 0U);
  EXPECT_EQ(take_asked(), Asked{"unwatch policy"});
}

TEST_F(ObserversTest, OneThatIsHeardStaysWhenAnotherDiedUnheard) {
  EXPECT_EQ(_observers.add("a"), DONE);
  EXPECT_EQ(_observers.add(POLICY), DONE);
  _observers.tell_all(7);
  _waiting.at(0)->dispatch(XrlError::OKAY());
  for (unsigned attempt = 0; attempt < Teller::MAX_UNKNOWN; ++attempt) {
    _waiting.back()->dispatch(XrlError::RESOLVE_FAILED());
    _world.run_for(seconds(6));
  }
  EXPECT_EQ(_observers.size(), 1U);
  static_cast<void>(take_told());
  _observers.tell_all(8);
  EXPECT_EQ(take_told(), Told{"a 8"});
}

TEST_F(ObserversTest, OneThatRegistersAgainIsToldAtOnceWhatFailed) {
  EXPECT_EQ(_observers.add("a"), DONE);
  _observers.tell_all(7);
  _waiting.back()->dispatch(XrlError::SEND_FAILED());
  static_cast<void>(take_told());
  EXPECT_EQ(_observers.add("a"), DONE);
  EXPECT_EQ(take_told(), Told{"a 7"});
}
