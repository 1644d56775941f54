#include "platform/sif_mgr_xrl_mirror.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/managers/sif_target.h"
#include "tests/support/log_capture.h"
#include "tests/unit/platform/sim_finder.h"

using std::chrono::seconds;

namespace {

// Writes down what it is told.
class HintRecorder : public SifMgrHintObserver {
 public:
  void tree_complete() override { add("complete"); }
  void updates_made() override { add("updates"); }

  std::vector<std::string> take() { return std::exchange(_hints, {}); }
  [[nodiscard]] std::size_t count() const { return _hints.size(); }
  std::function<void()> on_hint;

 private:
  void add(const char* hint) {
    _hints.emplace_back(hint);
    if (on_hint) on_hint();
  }
  std::vector<std::string> _hints;
};

using Hints = std::vector<std::string>;

class SifMgrXrlMirrorTest : public ::testing::Test {
 protected:
  SifMgrXrlMirrorTest() {
    add("eth-0/1/1");
    _mirror = make_mirror();
    _mirror->attach_hint_observer(&_hints);
  }

  std::unique_ptr<SifMgrXrlMirror> make_mirror() {
    return std::make_unique<SifMgrXrlMirror>(_world.loop(), "sif", IPv4::loopback(),
                                             SimFinder::PORT);
  }
  void add(const char* name) { ASSERT_EQ(_model.add_interface(name), DONE); }
  void start_sif() {
    _sif = std::make_unique<SifTarget>(_world.loop(), _model, SwitchProcess{{}, "chassis"});
  }
  void start_all() {
    _finder.start();
    start_sif();
    ASSERT_EQ(_mirror->startup(), 0);
    expect_mirrored();
  }
  // The mirror shows the model's tree before long.
  void expect_mirrored() {
    EXPECT_TRUE(_world.run_until(
        [this] { return _mirror->iftree() == _model.interfaces() && _hints.count() != 0; },
        seconds(10)))
        << _world.report();
  }

  SimWorld _world{1};
  SimFinder _finder{_world};
  SwitchModel _model;
  std::unique_ptr<SifTarget> _sif;
  HintRecorder _hints;
  std::unique_ptr<SifMgrXrlMirror> _mirror;
};

TEST_F(SifMgrXrlMirrorTest, CannotStartWithASecretThatIsNotToBeRead) {
  _finder.start();
  LogCapture log;
  ASSERT_EQ(::setenv("XRL_COOKIE_FILE", "/nowhere/secret", 1), 0);
  EXPECT_EQ(_mirror->startup(), -1);
  ::unsetenv("XRL_COOKIE_FILE");
  EXPECT_EQ(_mirror->status(), SERVICE_FAILED);
  EXPECT_EQ(log.take_lines(),
            std::vector<std::string>{"ERROR PLATFORM startup: Cannot start the mirror: cookie file "
                                     "'/nowhere/secret': No such file or directory."});
  EXPECT_EQ(_mirror->startup(), -1) << "a service that failed does not start again";
}

}  // namespace

TEST_F(SifMgrXrlMirrorTest, StartsOnce) {
  EXPECT_EQ(_mirror->status(), SERVICE_READY);
  EXPECT_EQ(_mirror->startup(), 0);
  EXPECT_EQ(_mirror->status(), SERVICE_RUNNING);
  EXPECT_EQ(_mirror->startup(), -1);
  EXPECT_EQ(_mirror->status(), SERVICE_RUNNING);
}

TEST_F(SifMgrXrlMirrorTest, ShutsDownAsOftenAsAskedAndStartsNoMore) {
  EXPECT_EQ(_mirror->startup(), 0);
  EXPECT_EQ(_mirror->shutdown(), 0);
  EXPECT_EQ(_mirror->shutdown(), 0);
  EXPECT_EQ(_mirror->status(), SERVICE_SHUTDOWN);
  EXPECT_EQ(_mirror->startup(), -1);
}

TEST_F(SifMgrXrlMirrorTest, AShutdownBeforeTheStartPreventsIt) {
  EXPECT_EQ(_mirror->shutdown(), 0);
  EXPECT_EQ(_mirror->startup(), -1);
}

TEST_F(SifMgrXrlMirrorTest, HasOneHintObserverAtMost) {
  HintRecorder other;
  EXPECT_FALSE(_mirror->attach_hint_observer(&other));
  EXPECT_FALSE(_mirror->detach_hint_observer(&other));
  EXPECT_TRUE(_mirror->detach_hint_observer(&_hints));
  EXPECT_FALSE(_mirror->detach_hint_observer(&_hints));
  EXPECT_TRUE(_mirror->attach_hint_observer(&other));
}

TEST_F(SifMgrXrlMirrorTest, TheFirstTreeIsToldAsComplete) {
  start_all();
  EXPECT_EQ(_hints.take(), Hints{"complete"});
  EXPECT_NE(_mirror->iftree().find("eth-0/1/1"), nullptr);
}

TEST_F(SifMgrXrlMirrorTest, AnEmptyFirstTreeIsToldToo) {
  ASSERT_EQ(_model.remove_interface("eth-0/1/1"), DONE);
  start_all();
  EXPECT_EQ(_hints.take(), Hints{"complete"});
}

TEST_F(SifMgrXrlMirrorTest, ALaterChangeIsToldAsAnUpdate) {
  start_all();
  static_cast<void>(_hints.take());
  add("lag1");
  ASSERT_EQ(_model.add_member("lag1", "eth-0/1/1"), DONE);
  expect_mirrored();
  for (const std::string& hint : _hints.take()) EXPECT_EQ(hint, "updates");
  EXPECT_EQ(_mirror->iftree().find("eth-0/1/1")->lagname(), "lag1");
}

TEST_F(SifMgrXrlMirrorTest, KeepsTheLastTreeWhileThereIsNoInterfaceManager) {
  start_all();
  static_cast<void>(_hints.take());
  _sif.reset();
  add("eth-0/1/2");
  _world.run_for(seconds(10));
  EXPECT_EQ(_hints.take(), Hints{});
  EXPECT_EQ(_mirror->iftree().atoms().size(), 1U);
}

TEST_F(SifMgrXrlMirrorTest, TheFirstTreeOfTheNextInterfaceManagerIsCompleteAgain) {
  start_all();
  static_cast<void>(_hints.take());
  _sif.reset();
  _world.run_for(seconds(1));
  start_sif();
  expect_mirrored();
  EXPECT_EQ(_hints.take(), Hints{"complete"});
}

TEST_F(SifMgrXrlMirrorTest, WaitsForAFinderThatComesLate) {
  start_sif();
  ASSERT_EQ(_mirror->startup(), 0);
  _world.run_for(seconds(20));
  EXPECT_EQ(_hints.take(), Hints{});
  _finder.start();
  expect_mirrored();
}

TEST_F(SifMgrXrlMirrorTest, WaitsForAnInterfaceManagerThatComesLate) {
  _finder.start();
  ASSERT_EQ(_mirror->startup(), 0);
  _world.run_for(seconds(20));
  EXPECT_EQ(_hints.take(), Hints{});
  start_sif();
  expect_mirrored();
}

TEST_F(SifMgrXrlMirrorTest, AFinderThatWasAwayMakesNoHintWhenNothingChanged) {
  LogCapture log;
  start_all();
  static_cast<void>(_hints.take());
  _finder.restart();
  _world.run_for(seconds(20));
  EXPECT_EQ(_hints.take(), Hints{});
}

TEST_F(SifMgrXrlMirrorTest, OnceKnownToEachOtherNeitherNeedsTheFinderForChanges) {
  LogCapture log;
  start_all();
  add("lag1");
  expect_mirrored();
  _finder.stop();
  _world.run_for(seconds(1));
  static_cast<void>(_hints.take());
  add("eth-0/1/2");
  expect_mirrored();
  EXPECT_EQ(_hints.take(), Hints{"updates"});
}

TEST_F(SifMgrXrlMirrorTest, AChangeThatNeedsTheFinderArrivesWhenItIsBack) {
  LogCapture log;
  start_all();
  _finder.stop();
  _world.run_for(seconds(1));
  add("lag1");
  _world.run_for(seconds(60));
  _finder.start();
  expect_mirrored();
}

TEST_F(SifMgrXrlMirrorTest, ACutConnectionLosesNoChange) {
  LogCapture log;
  start_all();
  static_cast<void>(_hints.take());
  for (int i = 0; i < 20; ++i) {
    add(("eth-0/2/" + std::to_string(i)).c_str());
    _world.network().cut_random();
    _world.run_for(std::chrono::milliseconds(i));
    _world.network().cut_random();
  }
  expect_mirrored();
}

TEST_F(SifMgrXrlMirrorTest, TellsNobodyAnythingAfterItsShutdown) {
  start_all();
  static_cast<void>(_hints.take());
  EXPECT_EQ(_mirror->shutdown(), 0);
  add("eth-0/1/2");
  _world.run_for(seconds(10));
  EXPECT_EQ(_hints.take(), Hints{});
  EXPECT_EQ(_mirror->iftree().atoms().size(), 1U);
}

TEST_F(SifMgrXrlMirrorTest, MayBeShutDownByWhoeverItTells) {
  _hints.on_hint = [this] { EXPECT_EQ(_mirror->shutdown(), 0); };
  start_all();
  add("eth-0/1/2");
  _world.run_for(seconds(10));
  EXPECT_EQ(_hints.take(), Hints{"complete"});
}

TEST_F(SifMgrXrlMirrorTest, MayBeDestroyedByWhoeverItTells) {
  _finder.start();
  start_sif();
  _hints.on_hint = [this] { _mirror.reset(); };
  ASSERT_EQ(_mirror->startup(), 0);
  _world.run_for(seconds(10));
  EXPECT_EQ(_hints.take(), Hints{"complete"});
}

TEST_F(SifMgrXrlMirrorTest, MayBeDestroyedAtAnyMomentOfItsStart) {
  _finder.start();
  start_sif();
  for (int i = 0; i < 200; ++i) {
    auto mirror = make_mirror();
    ASSERT_EQ(mirror->startup(), 0);
    // The whole start takes a few milliseconds; the interest is asked for at 10.
    _world.run_for(std::chrono::microseconds(i < 100 ? 40 * i : 10'000 + 40 * (i - 100)));
    mirror.reset();
    _world.run_for(seconds(1));
  }
}

// Its interfaces are members of one aggregate, all names as long as they may be.
TEST_F(SifMgrXrlMirrorTest, TheTreeOfTheLargestSwitchFitsIntoAReply) {
  const auto longest_name = [](std::size_t number) {
    const std::string digits = std::to_string(number);
    return std::string(SwitchModel::MAX_INTERFACE_NAME_BYTES - digits.size(), '-') + digits;
  };
  ASSERT_EQ(_model.remove_interface("eth-0/1/1"), DONE);
  ASSERT_EQ(_model.add_interface(longest_name(0)), DONE);
  for (std::size_t i = 1; i < SwitchModel::MAX_INTERFACES; ++i) {
    ASSERT_EQ(_model.add_interface(longest_name(i)), DONE);
    ASSERT_EQ(_model.add_member(longest_name(0), longest_name(i)), DONE);
  }
  start_all();
}

// More than an interface manager may have observers and interests together.
TEST_F(SifMgrXrlMirrorTest, FollowsAlsoWhenManyMirrorsLivedBefore) {
  _finder.start();
  start_sif();
  for (int i = 0; i < 150; ++i) {
    const auto mirror = make_mirror();
    ASSERT_EQ(mirror->startup(), 0);
    ASSERT_TRUE(
        _world.run_until([&] { return mirror->iftree() == _model.interfaces(); }, seconds(5)))
        << "mirror " << i;
  }
  ASSERT_EQ(_mirror->startup(), 0);
  expect_mirrored();
}

TEST_F(SifMgrXrlMirrorTest, SeveralMirrorsFollowSideBySide) {
  const auto other = make_mirror();
  ASSERT_EQ(other->startup(), 0);
  start_all();
  EXPECT_TRUE(_world.run_until([&] { return other->iftree() == _model.interfaces(); }, seconds(5)));
}
