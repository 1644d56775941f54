#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <set>

#include "common/match_fields.h"
#include "tools/policyctl/command_line/manual.h"
#include "tools/policyctl/commands/command.h"
#include "tools/policyctl/language/read_configuration.h"
#include "tools/policyctl/language/write_configuration.h"
#include "tools/policyctl/render/examples.h"
#include "tools/policyctl/render/topics.h"
#include "tools/policyctl/shell/shell_forms.h"

namespace {

class HelpOnTheCommandLine : public testing::Test {
 protected:
  static std::string help(const std::vector<std::string>& topic) { return help_text(topic); }
  // As it stands in the manual's source, blanks and line breaks aside.
  static std::string squeezed(const std::string& text) {
    std::string squeezed;
    for (const char c : text) {
      if (c != ' ' && c != '\n' && c != '\\') squeezed += c;
    }
    return squeezed;
  }
};

TEST_F(HelpOnTheCommandLine, TellsOfEveryStatement) {
  for (const Statement& each : statements()) {
    const std::string text = help({std::string(each.elements[0].word)});
    EXPECT_NE(text.find(each.pattern), std::string::npos) << each.pattern;
    EXPECT_NE(help({"statements"}).find(each.pattern), std::string::npos) << each.pattern;
    EXPECT_NE(example_of(each), "") << each.pattern;
  }
}

TEST_F(HelpOnTheCommandLine, NarrowsDownToOneStatement) {
  EXPECT_EQ(help({"cos", "mapping"}),
            "cos mapping PRIORITY queue QUEUE\n"
            "  the queue of frames of a priority, as the line cards are programmed\n"
            "\n"
            "  PRIORITY  0..7; 802.1p priority\n"
            "  QUEUE     0..7; egress queue\n"
            "\n"
            "  Read by: get_cos_mapping\n"
            "  Made by: set_cos_mapping\n"
            "\n"
            "  For example: cos mapping 0 queue 2\n");
}

TEST_F(HelpOnTheCommandLine, TellsOfEveryFieldAndExitStatus) {
  for (const MatchField& field : match_fields()) {
    const std::string name(field.name);
    EXPECT_NE(help({"fields"}).find(name), std::string::npos);
    EXPECT_NE(help({name}).find("rule 1 permit " + name + " "), std::string::npos);
  }
  for (const ExitStatusHelp& each : exit_statuses()) {
    EXPECT_NE(help({"exit-statuses"}).find(each.meaning), std::string::npos);
  }
}

TEST(ExitStatuses, ThePageTellsOfThemAsHelpDoes) {
  std::string rows;
  for (const ExitStatusHelp& each : exit_statuses()) {
    rows += "| " + std::to_string(static_cast<int>(each.status)) + " | " +
            std::string(each.meaning) + " |\n";
  }
  std::ifstream file(POLICYCTL_PAGE);
  const std::string page{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  const std::string head = "| status | meaning |\n| --- | --- |\n";
  EXPECT_NE(page.find(head + rows + "\n"), std::string::npos) << rows;
}

std::string in_code(const Command& command, Where where) {
  return can_be_typed(command.typed, where) ? "`" + usage_of(command, where) + "`" : "";
}

TEST(Commands, ThePageTellsOfThemAsTheirTableDoes) {
  const char* const TOUCHES[] = {"", "reads", "changes"};
  std::string rows;
  for (const Command& each : commands()) {
    if (!each.is_told_of()) continue;
    rows += "| " + in_code(each, Where::COMMAND_LINE) + " | " + in_code(each, Where::SHELL) +
            " | " + TOUCHES[static_cast<int>(each.touches)] + " | " + std::string(each.help) +
            " |\n";
  }
  std::ifstream file(POLICYCTL_PAGE);
  const std::string page{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  const std::string head =
      "| on the command line | in the shell | the switch | what it does |\n"
      "| --- | --- | --- | --- |\n";
  EXPECT_NE(page.find(head + rows + "\n"), std::string::npos) << rows;
}

TEST(Commands, HaveEachNameOnceWhereTheyAreTyped) {
  for (const Where where : {Where::COMMAND_LINE, Where::SHELL}) {
    std::set<std::string_view> names;
    for (const Command& each : commands()) {
      if (!can_be_typed(each.typed, where)) continue;
      EXPECT_TRUE(names.insert(each.name).second) << each.name;
    }
  }
}

TEST_F(HelpOnTheCommandLine, RefusesATopicThatIsNoneAndNamesTheNearest) {
  try {
    (void)help({"aply"});
    FAIL();
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.status(), ExitStatus::USAGE);
    EXPECT_STREQ(failure.what(), "there is no help on 'aply'.");
    EXPECT_EQ(failure.advice(), "Is 'apply' meant?");
  }
  EXPECT_THROW((void)help({"guard"}), Failure);
}

TEST_F(HelpOnTheCommandLine, HasAllInTheManual) {
  const std::string page = squeezed(manual_page());
  const auto has = [&page](const std::string& text) {
    EXPECT_NE(page.find(squeezed(text)), std::string::npos) << text;
  };
  for (const Command& command : commands()) {
    const bool is_on_command_line = can_be_typed(command.typed, Where::COMMAND_LINE);
    if (is_on_command_line && command.is_told_of())
      has(".SS " + usage_of(command, Where::COMMAND_LINE));
    for (const CommandOption& option : command.options) has(".B " + option.dashed());
  }
  for (const Statement& each : statements()) has(".B " + std::string(each.pattern));
  for (const MatchField& field : match_fields()) has(".B " + std::string(field.name));
  for (const CommandForm& form : shell_forms().all()) has(".B " + form.pattern);
  for (const ExitStatusHelp& each : exit_statuses()) has(std::string(each.meaning).substr(1));
}

TEST_F(HelpOnTheCommandLine, HasNoHiddenCommandInTheManual) {
  const std::string page = manual_page();
  EXPECT_EQ(page.find(".SS guard"), std::string::npos);
  EXPECT_EQ(page.find(".SS complete\n"), std::string::npos);
}

TEST(ExampleConfiguration, HasNoFaultsAndIsWrittenAsItIs) {
  const ReadConfiguration read = read_configuration(example_configuration());
  EXPECT_TRUE(read.faults.empty());
  EXPECT_TRUE(read_configuration(write_configuration(read.configuration)).configuration ==
              read.configuration);
}

TEST(FieldExamples, CanBeRead) {
  for (const MatchField& field : match_fields()) {
    const std::string rule = "acl 1 type 0\n  rule 1 permit " + std::string(field.name) + " " +
                             std::string(field.example) + "\n";
    EXPECT_TRUE(read_configuration(rule).faults.empty()) << rule;
  }
}

}  // namespace
