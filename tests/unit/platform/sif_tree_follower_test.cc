#include "platform/sif_tree_follower.h"

#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <string>
#include <vector>

#include "tests/simulation/sim_world.h"
#include "tests/support/log_capture.h"
#include "tests/unit/platform/fake_sender.h"
#include "tests/unit/platform/sif_tree_samples.h"

using std::chrono::milliseconds;
using std::chrono::seconds;

namespace {

class SifTreeFollowerTest : public ::testing::Test {
 protected:
  SifTreeFollowerTest() {
    _follower = std::make_unique<SifTreeFollower>(_world.loop(), _sender, "mirror-1",
                                                  [this](SifMgrIfTree tree, bool first) {
                                                    _reads.push_back({std::move(tree), first});
                                                    if (_on_read) _on_read();
                                                  });
  }

  // Births, registers and reads the tree with that serial.
  void follow(const std::string& instance, std::uint64_t serial, const SifMgrIfTree& tree) {
    _follower->sif_born(instance);
    _sender.answer();
    _sender.answer(XrlError::OKAY(), tree_reply(serial, tree));
  }

  struct Read {
    SifMgrIfTree tree;
    bool first;
  };

  static constexpr const char* REGISTER = "sif-1 sif/0.1/register_observer?observer:txt=mirror-1";
  static constexpr const char* GET_TREE = "sif-1 sif/0.1/get_tree?";

  SimWorld _world{1};
  FakeSender _sender;
  std::vector<Read> _reads;
  std::function<void()> _on_read;
  std::unique_ptr<SifTreeFollower> _follower;
};

}  // namespace

TEST_F(SifTreeFollowerTest, SendsNothingUntilAnInterfaceManagerIsBorn) {
  _follower->tree_changed(1);
  _follower->sif_died("sif-1");
  _world.run_for(seconds(10));
  EXPECT_EQ(_sender.waiting(), 0U);
}

TEST_F(SifTreeFollowerTest, RegistersFirstAndReadsTheTreeThen) {
  _follower->sif_born("sif-1");
  EXPECT_EQ(_sender.only_text(), REGISTER);
  _sender.answer();
  EXPECT_EQ(_sender.only_text(), GET_TREE);
  _sender.answer(XrlError::OKAY(), sample_lists().reply(1));
  ASSERT_EQ(_reads.size(), 1U);
  EXPECT_TRUE(_reads[0].first);
  EXPECT_EQ(_reads[0].tree.find("eth-0/1/1")->lagname(), "lag1");
  EXPECT_EQ(_sender.waiting(), 0U);
}

TEST_F(SifTreeFollowerTest, ATreeThatMemoryDidNotSufficeForIsReadAgain) {
  _on_read = [] { throw std::bad_alloc(); };
  follow("sif-1", 1, tree_of({"lag1"}));
  EXPECT_EQ(_sender.waiting(), 0U);
  _on_read = nullptr;
  _world.run_for(milliseconds(100));
  EXPECT_EQ(_sender.only_text(), REGISTER);
  _sender.answer();
  _sender.answer(XrlError::OKAY(), tree_reply(1, tree_of({"lag1"})));
  ASSERT_EQ(_reads.size(), 2U);
  _world.run_for(seconds(10));
  EXPECT_EQ(_sender.waiting(), 0U);
}

TEST_F(SifTreeFollowerTest, AChangeIsReadOnce) {
  follow("sif-1", 1, tree_of({"lag1"}));
  _follower->tree_changed(2);
  EXPECT_EQ(_sender.only_text(), GET_TREE);
  _sender.answer(XrlError::OKAY(), tree_reply(2, tree_of({"lag1", "lag2"})));
  ASSERT_EQ(_reads.size(), 2U);
  EXPECT_FALSE(_reads[1].first);
  EXPECT_EQ(_sender.waiting(), 0U);
}

TEST_F(SifTreeFollowerTest, AChangeThatWasReadAlreadyIsNotReadAgain) {
  follow("sif-1", 5, tree_of({"lag1"}));
  _follower->tree_changed(5);
  EXPECT_EQ(_sender.waiting(), 0U);
}

TEST_F(SifTreeFollowerTest, ChangesDuringAReadingMakeOneMoreReading) {
  follow("sif-1", 1, tree_of({}));
  _follower->tree_changed(2);
  _follower->tree_changed(3);
  _follower->tree_changed(4);
  EXPECT_EQ(_sender.only_text(), GET_TREE);
  _sender.answer(XrlError::OKAY(), tree_reply(2, tree_of({"a"})));
  EXPECT_EQ(_sender.only_text(), GET_TREE);
  _sender.answer(XrlError::OKAY(), tree_reply(4, tree_of({"b"})));
  EXPECT_EQ(_sender.waiting(), 0U);
  EXPECT_EQ(_reads.back().tree, tree_of({"b"}));
}

TEST_F(SifTreeFollowerTest, ALateNotificationOfAnOlderTreeCostsOneReadingAndNoMore) {
  follow("sif-1", 7, tree_of({}));
  _follower->tree_changed(8);
  _follower->tree_changed(6);
  _sender.answer(XrlError::OKAY(), tree_reply(8, tree_of({})));
  _sender.answer(XrlError::OKAY(), tree_reply(8, tree_of({})));
  EXPECT_EQ(_sender.waiting(), 0U);
}

TEST_F(SifTreeFollowerTest, AFailedRegistrationIsTriedAgainLaterAndLater) {
  _follower->sif_born("sif-1");
  for (const int wait_ms : {100, 200, 400, 800, 1600, 3200, 5000, 5000}) {
    _sender.answer(XrlError::SEND_FAILED());
    _world.run_for(milliseconds(wait_ms - 1));
    EXPECT_EQ(_sender.waiting(), 0U) << wait_ms;
    _world.run_for(milliseconds(2));
    EXPECT_EQ(_sender.only_text(), REGISTER) << wait_ms;
  }
}

TEST_F(SifTreeFollowerTest, AfterAFailedReadingItRegistersAnewSinceItMayBeForgotten) {
  _follower->sif_born("sif-1");
  _sender.answer();
  _sender.answer(XrlError::REPLY_TIMED_OUT());
  _world.run_for(milliseconds(101));
  EXPECT_EQ(_sender.only_text(), REGISTER);
}

TEST_F(SifTreeFollowerTest, ASuccessMakesTheNextRetryAQuickOneAgain) {
  _follower->sif_born("sif-1");
  _sender.answer(XrlError::SEND_FAILED());
  _world.run_for(milliseconds(101));
  _sender.answer(XrlError::SEND_FAILED());
  _world.run_for(milliseconds(201));
  _sender.answer();
  _sender.answer(XrlError::OKAY(), tree_reply(1, tree_of({})));
  _follower->tree_changed(2);
  _sender.answer(XrlError::SEND_FAILED());
  _world.run_for(milliseconds(101));
  EXPECT_EQ(_sender.only_text(), REGISTER);
}

TEST_F(SifTreeFollowerTest, ARequestThatCannotBeQueuedIsTriedAgain) {
  _sender.refuse(true);
  _follower->sif_born("sif-1");
  _sender.refuse(false);
  _world.run_for(milliseconds(101));
  EXPECT_EQ(_sender.only_text(), REGISTER);
}

TEST_F(SifTreeFollowerTest, AReadingThatCannotBeQueuedIsTriedAgain) {
  follow("sif-1", 1, tree_of({}));
  _sender.refuse(true);
  _follower->tree_changed(2);
  _sender.refuse(false);
  _world.run_for(milliseconds(101));
  EXPECT_EQ(_sender.only_text(), REGISTER);
}

TEST_F(SifTreeFollowerTest, AChangeWhileItWaitsIsLeftToTheRetry) {
  follow("sif-1", 1, tree_of({}));
  _follower->tree_changed(2);
  _sender.answer(XrlError::SEND_FAILED());
  _follower->tree_changed(3);
  EXPECT_EQ(_sender.waiting(), 0U);
  _world.run_for(milliseconds(101));
  EXPECT_EQ(_sender.waiting(), 1U);
}

TEST_F(SifTreeFollowerTest, TheBirthOfAnotherInstanceIsFollowedFromItsFirstTree) {
  follow("sif-1", 1, tree_of({"a"}));
  _follower->sif_born("sif-2");
  EXPECT_EQ(_sender.only_text(), "sif-2 sif/0.1/register_observer?observer:txt=mirror-1");
  _sender.answer();
  _sender.answer(XrlError::OKAY(), tree_reply(1, tree_of({"a"})));
  EXPECT_TRUE(_reads.back().first);
}

TEST_F(SifTreeFollowerTest, TheDeathOfAnEarlierInstanceDoesNotDisturbTheLaterOne) {
  follow("sif-1", 1, tree_of({}));
  follow("sif-2", 1, tree_of({}));
  _follower->sif_died("sif-1");
  _follower->tree_changed(2);
  EXPECT_EQ(_sender.only_text(), "sif-2 sif/0.1/get_tree?");
}

TEST_F(SifTreeFollowerTest, TheSameInstanceBornAgainIsReadAgainButItsTreeIsNoFirstOne) {
  follow("sif-1", 1, tree_of({}));
  _follower->sif_born("sif-1");
  EXPECT_EQ(_sender.only_text(), REGISTER);
  _sender.answer();
  _sender.answer(XrlError::OKAY(), tree_reply(1, tree_of({})));
  ASSERT_EQ(_reads.size(), 2U);
  EXPECT_FALSE(_reads[1].first);
}

TEST_F(SifTreeFollowerTest, TheSameInstanceBornAgainDuringAReadingWaitsForItsEnd) {
  _follower->sif_born("sif-1");
  _sender.answer();
  _follower->sif_born("sif-1");
  EXPECT_EQ(_sender.only_text(), GET_TREE);
  _sender.answer(XrlError::OKAY(), tree_reply(1, tree_of({})));
  EXPECT_EQ(_sender.only_text(), REGISTER);
  _sender.answer();
  _sender.answer(XrlError::OKAY(), tree_reply(1, tree_of({})));
  EXPECT_EQ(_sender.waiting(), 0U);
}

TEST_F(SifTreeFollowerTest, ABirthEndsTheWaitForARetry) {
  _follower->sif_born("sif-1");
  for (int i = 0; i < 6; ++i) {
    _sender.answer(XrlError::RESOLVE_FAILED());
    if (i < 5) _world.run_for(seconds(5));
  }
  _follower->sif_born("sif-1");
  EXPECT_EQ(_sender.only_text(), REGISTER);
}

TEST_F(SifTreeFollowerTest, AfterADeathNothingIsTriedAndAnswersOfItsLifeAreIgnored) {
  _follower->sif_born("sif-1");
  _sender.answer();
  _follower->sif_died("sif-1");
  _sender.answer(XrlError::OKAY(), tree_reply(1, tree_of({"a"})));
  _world.run_for(seconds(10));
  EXPECT_TRUE(_reads.empty());
  EXPECT_EQ(_sender.waiting(), 0U);
}

TEST_F(SifTreeFollowerTest, RetriesDieWithTheirInterfaceManager) {
  _follower->sif_born("sif-1");
  _sender.answer(XrlError::SEND_FAILED());
  _follower->sif_died("sif-1");
  _world.run_for(seconds(10));
  EXPECT_EQ(_sender.waiting(), 0U);
}

TEST_F(SifTreeFollowerTest, AnAnswerAfterItsDestructionFindsNobody) {
  _follower->sif_born("sif-1");
  _follower.reset();
  _sender.answer();
  EXPECT_EQ(_sender.waiting(), 0U);
}

TEST_F(SifTreeFollowerTest, ItMayBeDestroyedByWhoeverIsToldOfATree) {
  _on_read = [this] { _follower.reset(); };
  follow("sif-1", 1, tree_of({"a"}));
  EXPECT_EQ(_reads.size(), 1U);
  _world.run_for(seconds(10));
  EXPECT_EQ(_sender.waiting(), 0U);
}

TEST_F(SifTreeFollowerTest, AMalformedTreeIsRefusedWithOneWarningAndReadAgain) {
  LogCapture log;
  follow("sif-1", 1, tree_of({"a"}));
  SampleLists lists = sample_lists();
  lists.lagnames.clear();
  _follower->tree_changed(2);
  _sender.answer(XrlError::OKAY(), lists.reply(2));
  _world.run_for(milliseconds(101));
  _sender.answer();
  _sender.answer(XrlError::OKAY(), lists.reply(2));
  EXPECT_EQ(_reads.size(), 1U);
  EXPECT_EQ(log.take_lines(),
            (std::vector<std::string>{
                "WARNING PLATFORM warn: the interface tree of sif-1 is refused: the lists of "
                "interfaces differ in length; the last one is kept"}));
  _world.run_for(milliseconds(201));
  _sender.answer();
  _sender.answer(XrlError::OKAY(), tree_reply(2, tree_of({"b"})));
  EXPECT_EQ(_reads.back().tree, tree_of({"b"}));
}

TEST_F(SifTreeFollowerTest, ARefusedRegistrationIsLoggedOnce) {
  LogCapture log;
  _follower->sif_born("sif-1");
  for (int i = 0; i < 3; ++i) {
    _sender.answer(XrlError::COMMAND_FAILED("there are too many observers."));
    _world.run_for(seconds(5));
    EXPECT_EQ(_sender.only_text(), REGISTER);
  }
  EXPECT_EQ(log.take_lines(),
            std::vector<std::string>{
                "WARNING PLATFORM warn: the interface tree of sif-1 is not to be had (102 "
                "COMMAND_FAILED there are too many observers.); the last one is kept"});
}

TEST_F(SifTreeFollowerTest, ARefusedReadingIsLoggedOnceUntilATreeWasRead) {
  const std::vector<std::string> warning{
      "WARNING PLATFORM warn: the interface tree of sif-1 is not to be had (220 INTERNAL_ERROR "
      "the reply is longer than a frame may be.); the last one is kept"};
  LogCapture log;
  _follower->sif_born("sif-1");
  for (int i = 0; i < 2; ++i) {
    for (int k = 0; k < 2; ++k) {
      _sender.answer();
      _sender.answer(XrlError::INTERNAL_ERROR("the reply is longer than a frame may be."));
      _world.run_for(seconds(5));
    }
    EXPECT_EQ(log.take_lines(), warning);
    _sender.answer();
    _sender.answer(XrlError::OKAY(), tree_reply(1, tree_of({})));
    _follower->sif_born("sif-1");
  }
}

TEST_F(SifTreeFollowerTest, AReplyWithoutItsListsIsAFailedCall) {
  LogCapture log;
  _follower->sif_born("sif-1");
  _sender.answer();
  _sender.answer(XrlError::OKAY(), {});
  EXPECT_TRUE(_reads.empty());
  _world.run_for(milliseconds(101));
  EXPECT_EQ(_sender.only_text(), REGISTER);
}

TEST_F(SifTreeFollowerTest, ATreeOfAnEarlierInstanceIsNotTakenForTheLaterOnes) {
  _follower->sif_born("sif-1");
  _sender.answer();
  _follower->sif_born("sif-2");
  _sender.answer(XrlError::OKAY(), tree_reply(1, tree_of({"of sif-1"})));
  EXPECT_TRUE(_reads.empty());
  _sender.answer();
  _sender.answer(XrlError::OKAY(), tree_reply(1, tree_of({"of sif-2"})));
  ASSERT_EQ(_reads.size(), 1U);
  EXPECT_EQ(_reads[0].tree, tree_of({"of sif-2"}));
}

TEST_F(SifTreeFollowerTest, ABirthLeavesNothingToTryAgainBehind) {
  _follower->sif_born("sif-1");
  _sender.answer(XrlError::SEND_FAILED());
  _follower->sif_born("sif-1");
  _sender.answer();
  _sender.answer(XrlError::OKAY(), tree_reply(1, tree_of({})));
  _world.run_for(seconds(10));
  EXPECT_EQ(_sender.waiting(), 0U);
}
