#include "tools/call_options.h"

#include <gtest/gtest.h>

namespace {

using std::chrono_literals::operator""ms;
using std::chrono_literals::operator""s;

constexpr const char* REQUEST = "finder://policy/common/0.1/get_status";

CallOptions parse(std::vector<const char*> words) {
  words.insert(words.begin(), "call_xrl");
  return parse_call_options(static_cast<int>(words.size()), words.data());
}

// "STATUS TEXT" of a refused command line.
std::string refusal(const std::vector<const char*>& words) {
  try {
    (void)parse(words);
  } catch (const CallUsage& usage) {
    return std::to_string(usage.status()) + " " + usage.what();
  }
  return "accepted";
}

TEST(CallOptions, AsksTheFinderOfThisHostUnlessToldOtherwise) {
  const CallOptions options = parse({REQUEST});
  EXPECT_EQ(options.finder.host, "127.0.0.1");
  EXPECT_EQ(options.finder.port, 19999);
  EXPECT_EQ(options.patience, Duration(5s));
  EXPECT_FALSE(options.wait_for_targets);
  EXPECT_FALSE(options.from_input);
  ASSERT_EQ(options.requests.size(), 1U);
  EXPECT_EQ(options.requests[0].str(), REQUEST);
}

TEST(CallOptions, AHostWithoutPortKeepsTheUsualPort) {
  const CallOptions options = parse({"-F", "10.0.0.1", REQUEST});
  EXPECT_EQ(options.finder.host, "10.0.0.1");
  EXPECT_EQ(options.finder.port, 19999);
}

TEST(CallOptions, TakesHostAndPort) {
  const CallOptions options = parse({"-F", "switch7:65535", REQUEST});
  EXPECT_EQ(options.finder.host, "switch7");
  EXPECT_EQ(options.finder.port, 65535);
}

TEST(CallOptions, RefusesAFinderThatIsNoPlace) {
  EXPECT_EQ(refusal({"-F", "a:0", REQUEST}), "2 -F: HOST[:PORT] is expected, not a:0");
  EXPECT_EQ(refusal({"-F", "", REQUEST}), "2 -F: HOST[:PORT] is expected, not ");
}

TEST(CallOptions, PatienceIsInSeconds) {
  EXPECT_EQ(parse({"-t", "0.25", REQUEST}).patience, Duration(250ms));
  EXPECT_EQ(refusal({"-t", "-1", REQUEST}).substr(0, 1), "2");
  EXPECT_EQ(refusal({"-t", "soon", REQUEST}).substr(0, 1), "2");
  EXPECT_EQ(refusal({"-t", "nan", REQUEST}), "2 -t: 'nan' is no number 0..86400");
  EXPECT_EQ(refusal({"-t", "inf", REQUEST}).substr(0, 1), "2");
}

TEST(CallOptions, CanWaitForTargets) {
  EXPECT_TRUE(parse({"-w", REQUEST}).wait_for_targets);
}

TEST(CallOptions, TakesManyRequests) {
  EXPECT_EQ(parse({REQUEST, REQUEST, REQUEST}).requests.size(), 3U);
}

TEST(CallOptions, ADashMeansStandardInput) {
  const CallOptions options = parse({"-"});
  EXPECT_TRUE(options.from_input);
  EXPECT_TRUE(options.requests.empty());
}

TEST(CallOptions, RefusesToWaitForTargetsOfStandardInput) {
  EXPECT_EQ(refusal({"-w", "-"}), "2 -w: requests from standard input do not wait for targets");
}

TEST(CallOptions, FetchesALogInsteadOfSendingRequests) {
  const CallOptions options = parse({"--profile", "policy_profile1", "-t", "2"});
  EXPECT_EQ(options.profile, "policy_profile1");
  EXPECT_EQ(options.patience, Duration(2s));
  EXPECT_TRUE(options.requests.empty());
  EXPECT_EQ(parse({REQUEST}).profile, "");
}

TEST(CallOptions, RefusesToFetchALogAndSendRequestsAtOnce) {
  EXPECT_EQ(refusal({"--profile", "policy_profile1", REQUEST}).substr(0, 2), "2 ");
  EXPECT_EQ(refusal({"--profile", "policy_profile1", "-"}).substr(0, 2), "2 ");
  EXPECT_EQ(refusal({"--profile", "policy_profile1", "-w"}).substr(0, 2), "2 ");
  EXPECT_EQ(refusal({"--profile"}).substr(0, 2), "2 ");
  EXPECT_EQ(refusal({"--profile", ""}).substr(0, 2), "2 ");
}

TEST(CallOptions, HelpIsNoFault) {
  EXPECT_EQ(refusal({"-h"}).substr(0, 2), "0 ");
  EXPECT_NE(refusal({"--help"}).find("finder://TARGET/INTERFACE/VERSION/METHOD"),
            std::string::npos);
}

TEST(CallOptions, RefusesACommandLineWithoutRequestAndUnknownOptions) {
  EXPECT_EQ(refusal({}).substr(0, 2), "2 ");
  EXPECT_EQ(refusal({"-x", REQUEST}).substr(0, 2), "2 ");
  EXPECT_EQ(refusal({"-F"}).substr(0, 2), "2 ");
}

TEST(CallOptions, RefusesTheWholeCommandLineForOneMalformedRequest) {
  const std::string text = refusal({REQUEST, "finder://policy/common/0.1/get_status?acl:u33=1"});
  EXPECT_EQ(text.substr(0, 2), "2 ");
  EXPECT_NE(text.find("^"), std::string::npos);
}

TEST(CallOptions, MarksThePlaceOfAParseError) {
  EXPECT_EQ(show_parse_error("finder://a?x", XrlParseError("no interface", 10)),
            XrlParseError("no interface", 10).str() +
                "\n  finder://a?x"
                "\n            ^");
}

TEST(CallOptions, ShowsOnlyWhatIsAroundThePlaceInALongRequest) {
  const std::string shown = show_parse_error(std::string(1000, 'a') + "!" + std::string(1000, 'b'),
                                             XrlParseError("", 1000));
  EXPECT_NE(shown.find("\n  " + std::string(60, 'a') + "!" + std::string(59, 'b') + "\n"),
            std::string::npos);
  EXPECT_TRUE(shown.ends_with("\n  " + std::string(60, ' ') + "^"));
}

TEST(CallOptions, ThePlaceMayBeTheEndOfTheRequest) {
  EXPECT_TRUE(show_parse_error("ab", XrlParseError("", 2)).ends_with("\n  ab\n    ^"));
}

}  // namespace
