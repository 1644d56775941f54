// policyd's command line, as a real process: which stream and which status.
#include <gtest/gtest.h>

#include "tests/integration/control_plane.h"

namespace {

using Words = std::vector<std::string>;

std::string usage_of(const std::string& name) {
  return "Usage: " + name +
         " [-F <finder_hostname>[:<finder_port>]]\n"
         "           -F <finder_hostname>[:<finder_port>]  : finder hostname and port\n"
         "           -h                                    : usage (this message)\n"
         "\n"
         "Program name:   " +
         name +
         "\n"
         "Module name:    POLICY\n"
         "Module version: 0.1\n";
}

ChildProcess::Options policyd(const Words& words, const std::string& argv0 = "policyd") {
  Words argv{program("policyd")};
  argv.insert(argv.end(), words.begin(), words.end());
  return {argv, {}, -1, argv0};
}

void expect_help(const Words& words, const std::string& complaint) {
  ChildProcess process(policyd(words));
  EXPECT_EQ(process.wait(), 0);
  EXPECT_EQ(process.output(), usage_of("policyd"));
  EXPECT_EQ(process.errors(), complaint);
}

void expect_complaint(const Words& words) {
  ChildProcess process(policyd(words));
  EXPECT_EQ(process.wait(), 1);
  EXPECT_EQ(process.output(), "");
  EXPECT_EQ(process.errors(), usage_of("policyd"));
}

TEST(CommandLine, HelpIsPrintedOnStandardOutputWithStatusZero) {
  expect_help({"-h"}, "");
}

TEST(CommandLine, AnUnknownOptionGetsTheUsageOnStandardOutputWithStatusZero) {
  expect_help({"-x"}, "policyd: invalid option -- 'x'\n");
}

TEST(CommandLine, AFinderOptionWithoutArgumentGetsTheUsageOnStandardOutputWithStatusZero) {
  expect_help({"-F"}, "policyd: option requires an argument -- 'F'\n");
}

TEST(CommandLine, AStrayArgumentGetsTheUsageOnStandardErrorWithStatusOne) {
  expect_complaint({"stray"});
  expect_complaint({"-F", "127.0.0.1:1", "stray"});
}

TEST(CommandLine, AFinderWithoutPortAfterItsColonGetsTheUsageOnStandardErrorWithStatusOne) {
  expect_complaint({"-F", "host:"});
}

TEST(CommandLine, TheFirstFaultDecides) {
  expect_help({"-h", "-F", "host:"}, "");
  expect_complaint({"-F", "host:", "-h"});
}

TEST(CommandLine, TheProgramIsNamedByTheLastComponentOfItsPath) {
  for (const auto& [argv0, name] : std::vector<std::pair<std::string, std::string>>{
           {"/usr/sbin/switch-policy", "switch-policy"}, {"name", "name"}, {"./a/b", "b"}}) {
    ChildProcess process(policyd({"-h"}, argv0));
    EXPECT_EQ(process.wait(), 0);
    EXPECT_EQ(process.output(), usage_of(name));
  }
}

TEST(CommandLine, AFaultThatEndsTheDaemonIsToldAndTheStatusIsZeroAllTheSame) {
  ChildProcess::Options options = policyd({});
  options.environment = {{"XRL_COOKIE_FILE", "/no/such/file"}};
  ChildProcess process(options);
  EXPECT_EQ(process.wait(), 0);
  EXPECT_EQ(process.output(), "");
  const std::vector<std::string> lines = log_lines(process.errors());
  ASSERT_EQ(lines.size(), 1U) << process.errors();
  EXPECT_TRUE(lines[0].starts_with("ERROR policyd[")) << lines[0];
  EXPECT_TRUE(
      lines[0].ends_with("xorp_catch_standard_exceptions: XorpException: cookie file "
                         "'/no/such/file': No such file or directory."))
      << lines[0];
}

}  // namespace
