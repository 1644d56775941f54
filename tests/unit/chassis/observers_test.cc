#include "chassis/observers.h"

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

  // The class names that the finder was asked to report on, all agreed to.
  std::vector<std::string> take_watched() {
    std::vector<std::string> classes;
    while (_sender.waiting() != 0) {
      const std::string text = _sender.waiting_texts().front();
      classes.push_back(text.substr(text.rfind('=') + 1));
      _sender.answer();
    }
    return classes;
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
  EXPECT_EQ(take_watched(), std::vector<std::string>{"policy"});
}

TEST_F(ObserversTest, ANameThatIsNoInstanceIsWatchedAsAClass) {
  for (const char* name : {"policy", "policy-0123", "policy-0123456789abcdeg", "-0123456789abcdef",
                           "policy_0123456789abcdef"}) {
    EXPECT_EQ(_observers.add(name), DONE);
    EXPECT_EQ(take_watched(), std::vector<std::string>{name});
  }
}

TEST_F(ObserversTest, AClassWithoutObserversIsWatchedAnewForTheNextOne) {
  EXPECT_EQ(_observers.add(POLICY), DONE);
  EXPECT_EQ(_observers.remove(POLICY), DONE);
  static_cast<void>(take_watched());
  EXPECT_EQ(_observers.add(POLICY), DONE);
  EXPECT_EQ(take_watched(), std::vector<std::string>{"policy"});
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

TEST_F(ObserversTest, ThereIsRoomForSoManyAndNoMore) {
  for (std::size_t i = 0; i < Observers::MAX_OBSERVERS; ++i) {
    EXPECT_EQ(_observers.add("a" + std::to_string(i)), DONE);
  }
  EXPECT_EQ(_observers.add("b"), "there are too many observers.");
  EXPECT_EQ(_observers.add("a0"), DONE);
}
