#include "tools/policyctl/import/json_tree.h"

#include <gtest/gtest.h>

#include "tests/unit/policyctl/faults_of.h"

namespace {

using Texts = std::vector<std::string>;

Texts faults(std::string_view text) {
  std::vector<Fault> faults;
  const bool is_read = parse_json(text, faults).has_value();
  EXPECT_EQ(is_read, faults.empty());
  return shown_faults(faults);
}

TEST(JsonTree, KeepsTheOrderOfMembersAndTheTextOfNumbers) {
  std::vector<Fault> faults;
  const std::optional<JsonValue> tree = parse_json(
      R"({"b": 1, "a": [null, {"x": true}, 12345678901234567890123, -1.50], "": "t"})", faults);
  ASSERT_TRUE(tree);
  ASSERT_EQ(tree->members.size(), 3U);
  EXPECT_EQ(tree->members[0].name, "b");
  EXPECT_EQ(tree->members[0].value.text, "1");
  const std::vector<JsonValue>& elements = tree->find("a")->elements;
  ASSERT_EQ(elements.size(), 4U);
  EXPECT_EQ(elements[0].kind, JsonValue::Kind::EMPTY);
  EXPECT_EQ(elements[1].find("x")->text, "true");
  EXPECT_EQ(elements[2].text, "12345678901234567890123");
  EXPECT_EQ(elements[3].text, "-1.50");
  EXPECT_EQ(tree->find("")->text, "t");
  EXPECT_EQ(tree->find("c"), nullptr);
}

TEST(JsonTree, ATextThatIsNoJsonIsAFaultWhereItEnds) {
  EXPECT_EQ(faults(""), Texts{"1:1+1 this is no JSON: unexpected end of input; expected '[', '{', "
                              "or a literal."});
  EXPECT_EQ(faults("{\n  \"a\": 1,\n}"),
            Texts{"3:1+1 this is no JSON: unexpected '}'; expected string literal."});
  EXPECT_EQ(faults("{\"a\": \"b"),
            Texts{"1:9+1 this is no JSON: invalid string: missing closing quote."});
  EXPECT_EQ(faults("{} x"), Texts{"1:4+1 this is no JSON: invalid literal."});
  EXPECT_EQ(faults("{\"a\": \"\xff\"}").size(), 1U);
  EXPECT_EQ(faults("[1e999]").size(), 1U);
  EXPECT_EQ(faults("{\"a\": 01}").size(), 1U);
}

TEST(JsonTree, ANameThatStandsTwiceIsAFault) {
  EXPECT_EQ(faults(R"({"a": {"b": 1, "b": 2, "c": {"b": 1}}, "a": 3})"),
            (Texts{"0:0+0 /a/b: the name stands twice. | Keep one of them.",
                   "0:0+0 /a: the name stands twice. | Keep one of them."}));
}

TEST(JsonTree, NestingHasABound) {
  const std::string deep(MOST_JSON_DEPTH, '[');
  const std::string end(MOST_JSON_DEPTH, ']');
  EXPECT_EQ(faults(deep + end), Texts{});
  EXPECT_EQ(faults("[" + deep + end + "]").size(), 1U);
  EXPECT_EQ(faults(std::string(1000000, '[')).size(), 1U);
  std::string objects;
  for (int i = 0; i < 100000; ++i) objects += "{\"a\":";
  EXPECT_EQ(faults(objects).size(), 1U);
}

TEST(JsonTree, PathsCanBeShownAndFollowed) {
  EXPECT_EQ(json_path("", "a"), "/a");
  EXPECT_EQ(json_path("/a", "b/c~d"), "/a/b~1c~0d");
  EXPECT_EQ(json_path("", "a\n\x1b"), "/a??");
}

TEST(JsonTree, ValuesAreDescribedShortly) {
  const auto described = [](std::string_view text) {
    std::vector<Fault> faults;
    return describe(*parse_json(text, faults));
  };
  EXPECT_EQ(described("null"), "null");
  EXPECT_EQ(described("\"a\\nb\""), "'a?b'");
  EXPECT_EQ(described("12"), "'12'");
  EXPECT_EQ(described("{}"), "an object");
  EXPECT_EQ(described("[1]"), "an array");
}

}  // namespace
