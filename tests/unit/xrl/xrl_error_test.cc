#include "framework/xrl/xrl_error.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace {

struct Row {
  XrlError error;
  std::uint32_t code = 0;
  const char* name = nullptr;
};

const Row ROWS[] = {
    {XrlError::OKAY(), 100, "OKAY"},
    {XrlError::BAD_ARGS(), 101, "BAD_ARGS"},
    {XrlError::COMMAND_FAILED(), 102, "COMMAND_FAILED"},
    {XrlError::NO_FINDER(), 200, "NO_FINDER"},
    {XrlError::RESOLVE_FAILED(), 201, "RESOLVE_FAILED"},
    {XrlError::NO_SUCH_METHOD(), 202, "NO_SUCH_METHOD"},
    {XrlError::SEND_FAILED(), 210, "SEND_FAILED"},
    {XrlError::REPLY_TIMED_OUT(), 211, "REPLY_TIMED_OUT"},
    {XrlError::INTERNAL_ERROR(), 220, "INTERNAL_ERROR"},
};

TEST(XrlError, CodesAndNamesAreTheseNine) {
  std::set<std::uint32_t> codes;
  for (const Row& row : ROWS) {
    EXPECT_EQ(row.error.error_code(), row.code);
    EXPECT_EQ(xrl_error_name(row.error.code()), row.name);
    codes.insert(row.code);
  }
  for (std::uint32_t code = 0; code < 1000; ++code) {
    EXPECT_EQ(is_known_xrl_error(code), codes.count(code) == 1) << code;
  }
  EXPECT_EQ(xrl_error_name(static_cast<XrlErrorCode>(999)), "UNKNOWN_ERROR");
}

TEST(XrlError, OnlyOkayIsOkay) {
  for (const Row& row : ROWS) EXPECT_EQ(row.error.is_okay(), row.code == 100);
  EXPECT_TRUE(XrlError().is_okay());
}

TEST(XrlError, TellsWhetherTheTargetWasThereToAnswer) {
  const std::set<std::uint32_t> reached{100, 101, 102, 202, 220};
  for (const Row& row : ROWS) {
    EXPECT_EQ(row.error.reached_target(), reached.count(row.code) == 1) << row.name;
  }
}

TEST(XrlError, PrintsCodeNameAndNote) {
  EXPECT_EQ(XrlError::COMMAND_FAILED("the acl does not exist.").str(),
            "102 COMMAND_FAILED the acl does not exist.");
  EXPECT_EQ(XrlError::OKAY().str(), "100 OKAY");
}

TEST(XrlError, IsEqualByCodeWhateverTheNote) {
  EXPECT_EQ(XrlError::SEND_FAILED("peer gone"), XrlError::SEND_FAILED());
  EXPECT_NE(XrlError::SEND_FAILED("x"), XrlError::NO_FINDER("x"));
}

TEST(XrlCmdError, CarriesTheRefusalAndItsText) {
  EXPECT_TRUE(XrlCmdError::OKAY().is_okay());
  EXPECT_EQ(XrlCmdError::OKAY().note(), "");
  const XrlCmdError bad = XrlCmdError::BAD_ARGS("prioriy out of range.");
  EXPECT_FALSE(bad.is_okay());
  EXPECT_EQ(bad.error().str(), "101 BAD_ARGS prioriy out of range.");
  EXPECT_EQ(XrlCmdError::COMMAND_FAILED("no.").error().str(), "102 COMMAND_FAILED no.");
  EXPECT_EQ(XrlCmdError(XrlError::NO_SUCH_METHOD("x")).error().str(), "202 NO_SUCH_METHOD x");
}

}  // namespace
