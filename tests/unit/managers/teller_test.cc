#include "platform/managers/teller.h"

#include <gtest/gtest.h>

#include <memory>
#include <utility>
#include <vector>

#include "framework/xrl/xrl_error.h"
#include "tests/simulation/sim_world.h"

using std::chrono::milliseconds;
using std::chrono::seconds;

namespace {

class TellerTest : public ::testing::Test {
 protected:
  using Keys = std::vector<std::uint32_t>;

  TellerTest() {
    _teller = std::make_unique<Teller>(_world.loop(),
                                       [this](std::uint32_t key, const Teller::Done& done) {
                                         if (_refusing) return false;
                                         _waiting.emplace_back(key, done);
                                         return true;
                                       });
  }

  [[nodiscard]] Keys waiting() const {
    Keys keys;
    for (const auto& [key, done] : _waiting) keys.push_back(key);
    return keys;
  }
  // Answers the oldest.
  void answer(const XrlError& error = XrlError::OKAY()) {
    const Teller::Done done = _waiting.front().second;
    _waiting.erase(_waiting.begin());
    done->dispatch(error);
  }

  SimWorld _world{1};
  bool _refusing = false;
  std::vector<std::pair<std::uint32_t, Teller::Done>> _waiting;
  std::unique_ptr<Teller> _teller;
};

}  // namespace

TEST_F(TellerTest, EveryChangeIsSentAtOnceEvenBehindAnUnansweredOne) {
  _teller->tell(17);
  _teller->tell(17);
  _teller->tell(18);
  EXPECT_EQ(waiting(), (Keys{17, 17, 18}));
}

TEST_F(TellerTest, AnAcknowledgedChangeIsNotSentAgain) {
  _teller->tell(17);
  EXPECT_FALSE(_teller->is_done());
  answer();
  EXPECT_TRUE(_teller->is_done());
  _world.run_for(seconds(60));
  EXPECT_EQ(waiting(), Keys{});
}

TEST_F(TellerTest, ARefusalAcknowledges) {
  for (const XrlError& error : {XrlError::BAD_ARGS(), XrlError::COMMAND_FAILED("vlan has existed."),
                                XrlError::NO_SUCH_METHOD()}) {
    _teller->tell(17);
    answer(error);
    EXPECT_TRUE(_teller->is_done()) << error.str();
  }
}

TEST_F(TellerTest, WhatFailedIsSentAgainLaterAndLater) {
  _teller->tell(17);
  for (const int wait_ms : {100, 200, 400, 800, 1600, 3200, 5000, 5000}) {
    answer(XrlError::SEND_FAILED());
    _world.run_for(milliseconds(wait_ms - 1));
    EXPECT_EQ(waiting(), Keys{}) << wait_ms;
    _world.run_for(milliseconds(2));
    EXPECT_EQ(waiting(), Keys{17}) << wait_ms;
  }
}

TEST_F(TellerTest, EveryFailureThatIsNoRefusalIsRetried) {
  for (const XrlError& error :
       {XrlError::NO_FINDER(), XrlError::RESOLVE_FAILED(), XrlError::SEND_FAILED(),
        XrlError::REPLY_TIMED_OUT(), XrlError::INTERNAL_ERROR()}) {
    _teller->tell(17);
    answer(error);
    EXPECT_FALSE(_teller->is_done()) << error.str();
    _world.run_for(milliseconds(101));
    answer();
    EXPECT_TRUE(_teller->is_done()) << error.str();
  }
}

TEST_F(TellerTest, ASendThatIsNotTakenIsRetried) {
  _refusing = true;
  _teller->tell(17);
  _teller->tell(18);
  _refusing = false;
  EXPECT_EQ(waiting(), Keys{});
  _world.run_for(milliseconds(101));
  EXPECT_EQ(waiting(), (Keys{17, 18}));
}

TEST_F(TellerTest, ChangesDuringTheWaitAreToldOnceAtItsEnd) {
  _teller->tell(17);
  answer(XrlError::SEND_FAILED());
  _teller->tell(17);
  _teller->tell(17);
  _teller->tell(16);
  EXPECT_EQ(waiting(), Keys{});
  _world.run_for(milliseconds(101));
  EXPECT_EQ(waiting(), (Keys{16, 17}));
}

TEST_F(TellerTest, AFailureIsMadeGoodThoughALaterChangeWasAcknowledged) {
  _teller->tell(17);
  _teller->tell(17);
  answer(XrlError::SEND_FAILED());
  answer();
  EXPECT_FALSE(_teller->is_done());
  _world.run_for(milliseconds(101));
  EXPECT_EQ(waiting(), Keys{17});
}

TEST_F(TellerTest, SoManyAwaitTheirAnswersAndNoMore) {
  for (std::uint32_t key = 0; key < 1000; ++key) _teller->tell(key);
  EXPECT_EQ(_waiting.size(), Teller::MAX_IN_FLIGHT);
  answer();
  EXPECT_EQ(_waiting.size(), Teller::MAX_IN_FLIGHT);
  EXPECT_EQ(_waiting.back().first, Teller::MAX_IN_FLIGHT);
  while (!_waiting.empty()) answer();
  EXPECT_TRUE(_teller->is_done());
}

TEST_F(TellerTest, FailuresOfOneLossAreOneFailure) {
  for (std::uint32_t key = 0; key < 3; ++key) _teller->tell(key);
  for (int i = 0; i < 3; ++i) answer(XrlError::SEND_FAILED());
  _world.run_for(milliseconds(101));
  EXPECT_EQ(waiting(), (Keys{0, 1, 2}));
  for (int i = 0; i < 3; ++i) answer(XrlError::SEND_FAILED());
  _world.run_for(milliseconds(199));
  EXPECT_EQ(waiting(), Keys{});
  _world.run_for(milliseconds(2));
  EXPECT_EQ(waiting(), (Keys{0, 1, 2}));
}

TEST_F(TellerTest, APeerThatIsBackIsToldAtOnce) {
  _teller->tell(17);
  for (int i = 0; i < 5; ++i) {
    answer(XrlError::RESOLVE_FAILED());
    if (i < 4) _world.run_for(seconds(5));
  }
  _teller->try_now();
  EXPECT_EQ(waiting(), Keys{17});
  answer(XrlError::SEND_FAILED());
  _world.run_for(milliseconds(101));
  EXPECT_EQ(waiting(), Keys{17});
}

TEST_F(TellerTest, DestroyedItSendsNothingAndAnswersFindNobody) {
  _teller->tell(17);
  _teller->tell(18);
  answer(XrlError::SEND_FAILED());
  _teller.reset();
  answer(XrlError::SEND_FAILED());
  _world.run_for(seconds(10));
  EXPECT_EQ(waiting(), Keys{});
}

TEST_F(TellerTest, APeerThatTheFinderDoesNotKnowTimeAndAgainIsGivenUp) {
  _teller->tell(17);
  const TimePoint start = _world.now();
  for (unsigned attempt = 1; attempt <= Teller::MAX_UNKNOWN; ++attempt) {
    ASSERT_EQ(waiting(), Keys{17}) << attempt;
    answer(XrlError::RESOLVE_FAILED());
    EXPECT_EQ(_teller->has_given_up(), attempt == Teller::MAX_UNKNOWN);
    _world.run_for(seconds(5));
  }
  EXPECT_TRUE(_teller->is_done());
  EXPECT_GT(_world.now() - start, seconds(6));
}

TEST_F(TellerTest, APeerThatIsOutOfReachOtherwiseIsNotGivenUp) {
  _teller->tell(17);
  for (unsigned attempt = 1; attempt <= 10 * Teller::MAX_UNKNOWN; ++attempt) {
    ASSERT_EQ(waiting(), Keys{17}) << attempt;
    answer(attempt % Teller::MAX_UNKNOWN == 0 ? XrlError::SEND_FAILED()
                                              : XrlError::RESOLVE_FAILED());
    _world.run_for(seconds(6));
  }
  EXPECT_FALSE(_teller->has_given_up());
}

TEST_F(TellerTest, WhatFailsTogetherIsOneAttempt) {
  for (std::uint32_t key = 0; key < 2 * Teller::MAX_UNKNOWN; ++key) _teller->tell(key);
  for (std::uint32_t key = 0; key < 2 * Teller::MAX_UNKNOWN; ++key) {
    answer(XrlError::RESOLVE_FAILED());
  }
  EXPECT_FALSE(_teller->has_given_up());
}

TEST_F(TellerTest, APeerThatIsBackIsNotGivenUp) {
  _teller->tell(17);
  for (unsigned attempt = 1; attempt < Teller::MAX_UNKNOWN; ++attempt) {
    answer(XrlError::RESOLVE_FAILED());
    _world.run_for(seconds(6));
  }
  _teller->try_now();
  answer(XrlError::RESOLVE_FAILED());
  EXPECT_FALSE(_teller->has_given_up());
}
