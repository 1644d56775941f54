#include "tools/policyctl/language/statements.h"

#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <set>
#include <sstream>

#include "tools/policyctl/language/statement_match.h"

namespace {

// The commands that the daemon's interface file declares.
const std::set<std::string>& commands() {
  static const std::set<std::string> COMMANDS = [] {
    std::ifstream file(POLICY_CONFIG_XIF);
    std::stringstream text;
    text << file.rdbuf();
    const std::string content = std::regex_replace(text.str(), std::regex("//[^\n]*"), "");
    const std::regex declaration(R"(([a-z_0-9]+)\s*(\?|->|;))");
    std::set<std::string> names;
    std::string rest = content.substr(content.find('{') + 1);
    std::stringstream statements(rest);
    for (std::string each; std::getline(statements, each, ';');) {
      std::smatch match;
      each += ';';
      if (std::regex_search(each, match, declaration)) names.insert(match[1]);
    }
    return names;
  }();
  return COMMANDS;
}

std::vector<std::string> names_of(std::string_view list) {
  std::vector<std::string> names;
  std::stringstream text{std::string(list)};
  for (std::string name; std::getline(text, name, ',');) {
    name.erase(0, name.find_first_not_of(' '));
    names.push_back(name);
  }
  return names;
}

TEST(Statements, ReadAndSendCommandsThatTheDaemonHas) {
  ASSERT_EQ(commands().count("create_acl"), 1U);
  ASSERT_EQ(commands().count("get_schedule_algorithm"), 1U);
  for (const Statement& each : statements()) {
    for (const std::string_view list : {each.reads, each.sends}) {
      for (const std::string& name : names_of(list)) {
        EXPECT_EQ(commands().count(name), 1U) << each.pattern << ": " << name;
      }
    }
  }
}

TEST(Statements, ThatHoldSomethingCanBeReadBackAndBroughtAbout) {
  for (const Statement& each : statements()) {
    const bool only_opens = *each.kind->facts().presence == Presence::OUTSIDE;
    EXPECT_EQ(each.reads.empty(), only_opens) << each.pattern;
    EXPECT_EQ(each.sends.empty(), only_opens) << each.pattern;
  }
}

TEST(Statements, ReadBySomethingThatChangesNothing) {
  for (const Statement& each : statements()) {
    for (const std::string& name : names_of(each.reads)) {
      EXPECT_TRUE(name.starts_with("get_")) << each.pattern << ": " << name;
    }
    for (const std::string& name : names_of(each.sends)) {
      EXPECT_FALSE(name.starts_with("get_")) << each.pattern << ": " << name;
    }
  }
}

TEST(Statements, AreFoundByTheirKinds) {
  for (const Statement& each : statements()) {
    EXPECT_EQ(&statements_of(*each.kind)[each.form], &each) << each.pattern;
  }
}

const Statement& statement_like(std::string_view word) {
  for (const Statement& each : statements()) {
    if (each.elements[0].word == word) return each;
  }
  throw std::out_of_range(std::string(word));
}

TEST(Statements, HaveHelpAndPatternsThatBeginWithAKeyword) {
  for (const Statement& each : statements()) {
    EXPECT_FALSE(each.help.empty()) << each.pattern;
    EXPECT_FALSE(each.help.ends_with('.')) << each.pattern;
    EXPECT_EQ(each.elements[0].kind, PatternElement::Kind::LITERAL) << each.pattern;
  }
}

TEST(Statements, PatternsAreTheirElements) {
  for (const Statement& each : statements()) {
    std::string joined;
    bool is_open = false;
    for (const PatternElement& element : each.elements) {
      if (!joined.empty()) joined += ' ';
      if (element.optional) joined += '[';
      is_open = is_open || element.optional;
      joined += element.word;
      EXPECT_EQ(element.argument != nullptr, element.kind == PatternElement::Kind::ARGUMENT);
      if (element.argument != nullptr) {
        EXPECT_EQ(element.argument->name, element.word);
      }
    }
    if (is_open) joined += ']';
    EXPECT_EQ(joined, each.pattern);
  }
}

TEST(Statements, HaveNoMoreArgumentsThanThereIsSpaceFor) {
  for (const Statement& each : statements()) {
    std::size_t count = 0;
    for (const PatternElement& element : each.elements) count += element.argument ? 1 : 0;
    EXPECT_LE(count, StatementValues::MOST_ARGUMENTS) << each.pattern;
  }
}

TEST(Statements, ArgumentsSayHowTheyAreWritten) {
  for (const Statement& each : statements()) {
    for (const PatternElement& element : each.elements) {
      if (element.argument == nullptr) continue;
      EXPECT_FALSE(element.argument->help.empty()) << element.word;
      EXPECT_FALSE(argument_syntax(*element.argument).empty()) << element.word;
    }
  }
  const Argument& action = *statement_like("rule").elements[2].argument;
  EXPECT_EQ(argument_syntax(action), "deny, permit");
  EXPECT_EQ(choice(action, 0), "deny");
  EXPECT_EQ(choice(action, 1), "permit");
  EXPECT_EQ(argument_syntax(*statement_like("vlan").elements[1].argument), "1..4094");
  EXPECT_EQ(argument_syntax(*statement_like("interface").elements[1].argument), "text");
}

}  // namespace
