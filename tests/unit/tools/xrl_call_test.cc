#include "tools/xrl_call.h"

#include <gtest/gtest.h>

#include <array>

#include "tests/unit/tools/fake_sender.h"

namespace {

struct Heard {
  int times = 0;
  XrlError error;
  std::string results;
};

XrlAnswer into(Heard& heard) {
  return [&heard](const XrlError& error, const XrlArgs& results) {
    ++heard.times;
    heard.error = error;
    heard.results = results.str();
  };
}

TEST(XrlCall, SendsTheRequestAsItIsWritten) {
  const std::string text =
      "finder://policy/policy_config/0.1/set_cos_mapping"
      "?priorities:list=:u32=0,:u32=1&queues:list=:u32=7,:u32=0";
  FakeSender sender;
  Heard heard;
  ASSERT_TRUE(send_xrl(sender, Xrl::parse(text), into(heard)));
  ASSERT_EQ(sender.size(), 1U);
  EXPECT_EQ(sender.request(), text);
}

TEST(XrlCall, HandsOnTheResults) {
  FakeSender sender;
  Heard heard;
  ASSERT_TRUE(send_xrl(sender, Xrl::parse("finder://a/b/0.1/c"), into(heard)));
  sender.answer(XrlError::OKAY(), "flag:bool=true&name:txt=eth-0/1/1");
  EXPECT_EQ(heard.times, 1);
  EXPECT_TRUE(heard.error.is_okay());
  EXPECT_EQ(heard.results, "flag:bool=true&name:txt=eth-0/1/1");
}

TEST(XrlCall, HandsOnAnErrorWithoutResults) {
  FakeSender sender;
  Heard heard;
  ASSERT_TRUE(send_xrl(sender, Xrl::parse("finder://a/b/0.1/c"), into(heard)));
  sender.answer(XrlError::COMMAND_FAILED("the acl does not exist."));
  EXPECT_EQ(heard.times, 1);
  EXPECT_EQ(heard.error.str(), "102 COMMAND_FAILED the acl does not exist.");
  EXPECT_EQ(heard.results, "");
}

TEST(XrlCall, AnswersInternalErrorForAReplyThatCannotBeRead) {
  FakeSender sender;
  Heard heard;
  ASSERT_TRUE(send_xrl(sender, Xrl::parse("finder://a/b/0.1/c"), into(heard)));
  sender.answer_bytes(XrlError::OKAY(), std::array<std::uint8_t, 3>{1, 9, 'x'});
  EXPECT_EQ(heard.times, 1);
  EXPECT_EQ(heard.error.code(), XrlErrorCode::INTERNAL_ERROR);
}

TEST(XrlCall, ARefusedSendNeverAnswers) {
  FakeSender sender;
  sender.room = 0;
  Heard heard;
  EXPECT_FALSE(send_xrl(sender, Xrl::parse("finder://a/b/0.1/c"), into(heard)));
  EXPECT_EQ(heard.times, 0);
}

TEST(XrlCall, ATextIsKeptOnOneLine) {
  EXPECT_EQ(on_one_line("no\nsuch\tthing\x7f."), "no such thing .");
}

TEST(XrlCall, TellsOfAnErrorByItsNameOnOneLine) {
  EXPECT_EQ(error_line(XrlError::COMMAND_FAILED("no\nsuch thing.")),
            "call_xrl: COMMAND_FAILED no such thing.");
}

}  // namespace
