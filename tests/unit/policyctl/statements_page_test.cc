// docs/policyctl.md shows the table of statements.
#include <gtest/gtest.h>

#include <fstream>
#include <set>
#include <string>

#include "tools/policyctl/language/statements.h"

namespace {

std::string in_code(std::string_view text) {
  return text.empty() ? std::string() : "`" + std::string(text) + "`";
}

// "get_a, get_b" with each in code.
std::string requests(std::string_view names) {
  std::string text(names);
  for (std::size_t at = 0; (at = text.find(", ", at)) != std::string::npos; at += 4) {
    text.replace(at, 2, "`, `");
  }
  return in_code(text);
}

std::string documented_rows() {
  std::string rows;
  for (const Statement& each : statements()) {
    rows += "| " + in_code(each.pattern) + " | " + in_code(each.context->heads) + " | " +
            std::string(each.help) + " | " + requests(each.reads) + " | " + requests(each.sends) +
            " |\n";
  }
  std::set<std::string_view> seen;
  for (const Statement& each : statements()) {
    for (const PatternElement& element : each.elements) {
      if (element.argument == nullptr || !seen.insert(element.word).second) continue;
      rows += "| " + in_code(element.word) + " | " + argument_syntax(*element.argument) + " | " +
              std::string(element.argument->help) + " |\n";
    }
  }
  return rows;
}

TEST(Statements, ThePageShowsThemAndTheirArguments) {
  std::ifstream page(POLICYCTL_PAGE);
  std::string shown;
  bool is_theirs = false;
  for (std::string line; std::getline(page, line);) {
    if (line.starts_with("## ")) is_theirs = line == "## The language";
    if (is_theirs && line.starts_with("| `")) shown += line + '\n';
  }
  EXPECT_EQ(shown, documented_rows());
}

}  // namespace
