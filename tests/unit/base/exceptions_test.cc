#include "framework/base/exceptions.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "framework/base/profile.h"
#include "tests/support/log_capture.h"

namespace {

using Lines = std::vector<std::string>;

template <typename Exception>
Lines logged_for(const Exception& exception) {
  LogCapture capture;
  try {
    throw exception;
  } catch (...) {
    xorp_catch_standard_exceptions();
  }
  return capture.take_lines();
}

constexpr const char* HEAD = "ERROR BASE xorp_catch_standard_exceptions: ";

TEST(CatchStandardExceptions, LogsTypeAndText) {
  EXPECT_EQ(logged_for(std::runtime_error("out of ports")),
            (Lines{std::string(HEAD) + "std::runtime_error: out of ports"}));
}

TEST(CatchStandardExceptions, NamesTheExactTypeOfOurOwn) {
  EXPECT_EQ(
      logged_for(PVariableUnknown("x")),
      (Lines{std::string(HEAD) + "PVariableUnknown: The profile variable x does not exist."}));
}

TEST(CatchStandardExceptions, LogsAnythingElseAsUnknown) {
  EXPECT_EQ(logged_for(42), (Lines{std::string(HEAD) + "unknown exception"}));
}

TEST(CatchStandardExceptions, LogsNothingWithoutExceptionInFlight) {
  LogCapture capture;
  xorp_catch_standard_exceptions();
  EXPECT_TRUE(capture.take().empty());
}

TEST(XorpException, ItsTextIsAlsoItsWhat) {
  const XorpException exception("refused");
  EXPECT_EQ(exception.str(), "refused");
  EXPECT_STREQ(exception.what(), "refused");
}

}  // namespace
