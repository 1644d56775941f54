// With a row more in the table, everything knows the statement.
#include <gtest/gtest.h>

#include <sstream>

#include "tests/unit/policyctl/made_up/made_up_entry.h"
#include "tools/policyctl/change/complete.h"
#include "tools/policyctl/change/touched.h"
#include "tools/policyctl/entries/object_uses.h"
#include "tools/policyctl/entries/selection.h"
#include "tools/policyctl/language/read_configuration.h"
#include "tools/policyctl/language/write_configuration.h"
#include "tools/policyctl/render/examples.h"
#include "tools/policyctl/render/json_configuration.h"
#include "tools/policyctl/render/topics.h"

namespace {

SwitchConfiguration with(const std::string& text) {
  ReadConfiguration read = read_configuration(text);
  EXPECT_TRUE(read.faults.empty());
  return complete(std::move(read.configuration), bare_switch(), Unnamed::KEPT);
}

TEST(MadeUpEntry, IsReadAndWritten) {
  const std::string text = "mirror 7 queue 3 description \"a b\"\n";
  const ReadConfiguration read = read_configuration(text);
  EXPECT_TRUE(read.faults.empty());
  EXPECT_EQ(write_configuration(read.configuration), text);
  EXPECT_EQ(read_configuration(text + text).faults.at(0).message,
            "this mirror stands above already.");
}

TEST(MadeUpEntry, IsPlannedAndUndone) {
  const SwitchConfiguration before = with("mirror 1 queue 2\n");
  const Plan plan(before, with("mirror 1 queue 3\nmirror 4 queue 5\n"));
  ASSERT_EQ(plan.steps().size(), 3U);
  EXPECT_EQ(plan.steps()[0].kind->describe(plan.steps()[0]), "delete mirror 1");
  EXPECT_EQ(plan.steps()[2].kind->describe(plan.steps()[2]), "create mirror 4");
  EXPECT_EQ(describe(plan.changes()[0], plan).after, "mirror 1 queue 3");
  EXPECT_TRUE(undo(touched_by(plan), plan.target()).target == before);
}

TEST(MadeUpEntry, IsExplainedCompletedAndSelected) {
  EXPECT_TRUE(help_on({"mirror"}).value_or("").starts_with("mirror RULE queue QUEUE"));
  EXPECT_EQ(expected_after(&TOP_LEVEL, {}).literals.at(2), "mirror");
  EXPECT_NE(example_configuration().find("mirror 1 queue 2\n"), std::string::npos);
  Entries entries = with("mirror 1 queue 2\nmirror 4 queue 5\n");
  Selection::parse({"mirror", "4"}).narrow(entries);
  EXPECT_EQ(entries.of(MADE_UP).size(), 1U);
  EXPECT_EQ(parse_object(Named::MADE, {"mirror", "4"}).name(), "mirror 4");
}

TEST(MadeUpEntry, HasItsPlaceInJson) {
  std::ostringstream out;
  print_configuration_json(out, with("mirror 1 queue 2\n"));
  EXPECT_NE(out.str().find("\"mirrors\": [\n    {\n      \"mirror\": 1,\n      \"queue\": 2,"),
            std::string::npos)
      << out.str();
}

}  // namespace
