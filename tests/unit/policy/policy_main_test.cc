#include "policy/policy_main.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <optional>
#include <string>
#include <vector>

namespace {

PolicyOptions parse(std::vector<std::string> words) {
  words.insert(words.begin(), "policyd");
  std::vector<char*> argv;
  for (std::string& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);
  return parse_command_line(static_cast<int>(words.size()), argv.data());
}

void expect_finder(const PolicyOptions& options, const std::string& host, std::uint16_t port) {
  EXPECT_EQ(options.finder_hostname, host);
  EXPECT_EQ(options.finder_port, port);
  EXPECT_EQ(options.usage, std::nullopt);
}

TEST(CommandLine, WithoutArgumentsTheFinderIsOnThisHost) {
  expect_finder(parse({}), "127.0.0.1", 19999);
}

TEST(CommandLine, AHostAloneKeepsThePort) {
  expect_finder(parse({"-F", "host"}), "host", 19999);
  expect_finder(parse({"-Fhost"}), "host", 19999);
}

TEST(CommandLine, AHostAndAPortReplaceBoth) {
  expect_finder(parse({"-F", "host:1234"}), "host", 1234);
}

TEST(CommandLine, AColonWithoutAPortAsksForTheUsageTextWithStatusOne) {
  EXPECT_EQ(parse({"-F", "host:"}).usage, 1);
}

TEST(CommandLine, APortWithoutAHostEmptiesTheHost) {
  expect_finder(parse({"-F", ":1234"}), "", 1234);
}

TEST(CommandLine, ThePortIsCutTo16Bits) {
  expect_finder(parse({"-F", "host:70000"}), "host", 4464);
  expect_finder(parse({"-F", "host:-1"}), "host", 65535);
}

TEST(CommandLine, APortThatIsNoNumberIsZero) {
  expect_finder(parse({"-F", "host:http"}), "host", 0);
  expect_finder(parse({"-F", "host:12ab"}), "host", 12);
}

TEST(CommandLine, TheFirstColonParts) {
  expect_finder(parse({"-F", "a:5:6"}), "a", 5);
}

TEST(CommandLine, ALaterHostKeepsAnEarlierPort) {
  expect_finder(parse({"-F", "a:1", "-F", "b"}), "b", 1);
}

TEST(CommandLine, HAsksForTheUsageTextWithStatusZero) {
  EXPECT_EQ(parse({"-h"}).usage, 0);
  EXPECT_EQ(parse({"-F", "host", "-h"}).usage, 0);
}

TEST(CommandLine, AnUnknownOptionAsksForTheUsageTextWithStatusZero) {
  EXPECT_EQ(parse({"-x"}).usage, 0);
}

TEST(CommandLine, FWithoutItsArgumentAsksForTheUsageTextWithStatusZero) {
  EXPECT_EQ(parse({"-F"}).usage, 0);
}

TEST(CommandLine, AWordThatIsNoOptionAsksForTheUsageTextWithStatusOne) {
  EXPECT_EQ(parse({"stray"}).usage, 1);
  EXPECT_EQ(parse({"-F", "host", "stray"}).usage, 1);
}

constexpr const char* USAGE =
    "Usage: policyd [-F <finder_hostname>[:<finder_port>]]\n"
    "           -F <finder_hostname>[:<finder_port>]  : finder hostname and port\n"
    "           -h                                    : usage (this message)\n"
    "\n"
    "Program name:   policyd\n"
    "Module name:    POLICY\n"
    "Module version: 0.1\n";

TEST(Usage, IsPinnedLetterByLetter) {
  EXPECT_EQ(usage_text("policyd"), USAGE);
}

TEST(Usage, NamesTheProgramByItsLastPathComponent) {
  EXPECT_EQ(usage_text("/usr/sbin/policyd"), USAGE);
  EXPECT_EQ(usage_text("./policyd"), USAGE);
}

TEST(Usage, GoesToStandardErrorWhenTheStatusIsNotZero) {
  EXPECT_EXIT(usage("policyd", 1), ::testing::ExitedWithCode(1), ::testing::Eq(USAGE));
}

TEST(Usage, GoesToStandardOutputWhenTheStatusIsZero) {
  // Only standard output is left to be seen.
  const auto usage_without_standard_error = [] {
    ::dup2(STDERR_FILENO, STDOUT_FILENO);
    ::close(STDERR_FILENO);
    usage("policyd", 0);
  };
  EXPECT_EXIT(usage_without_standard_error(), ::testing::ExitedWithCode(0), ::testing::Eq(USAGE));
}

}  // namespace
