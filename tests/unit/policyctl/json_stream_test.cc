#include "tools/policyctl/render/json_stream.h"

#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <sstream>

#include "tests/unit/policyctl/random_configuration.h"
#include "tools/policyctl/render/json_configuration.h"

namespace {

TEST(JsonStream, WritesWhatTheWholeDocumentPrintsAs) {
  const Json inner = {{"a", "line\nbreak \"quoted\""}, {"b", {1, 2}}, {"c", Json::array()}};
  std::ostringstream whole;
  print_json(whole, {{"first", inner},
                     {"list", {inner, {{"list", Json::array()}}, 7}},
                     {"object", {{"x", true}}},
                     {"last", Json::array()}});
  std::ostringstream piecewise;
  JsonStream stream(piecewise);
  stream.begin_object();
  stream.add(inner, "first");
  stream.begin_list("list");
  stream.add(inner);
  stream.begin_object();
  stream.begin_list("list");
  stream.end();
  stream.end();
  stream.add(7);
  stream.end();
  stream.begin_object("object");
  stream.add(true, "x");
  stream.end();
  stream.begin_list("last");
  stream.end();
  stream.end();
  EXPECT_EQ(piecewise.str(), whole.str());
}

TEST(JsonOutput, SaysOfAFieldWhatItsValueIsNotNamedFor) {
  Configuration configuration;
  Rule rule;
  rule.action = PERMIT;
  rule.fields.append(11, "17");
  rule.fields.append(13, "http");
  rule.description = "\xff";
  configuration.acls[10].rules[1] = rule;
  std::ostringstream out;
  print_configuration_json(out, configuration.entries());
  const Json read = Json::parse(out.str()).at("acls").at(0).at("rules").at(0);
  EXPECT_EQ(read, (Json{{"rule", 1},
                        {"action", "permit"},
                        {"fields",
                         {{{"number", 11}, {"name", "protocol"}, {"value", "17"}},
                          {{"number", 13}, {"value", "http"}}}},
                        {"description", {{"base16", "ff"}}}}));
}

TEST(JsonOutput, IsWellFormedWhateverTheTextsHold) {
  EXPECT_TRUE(rc::check([] {
    std::ostringstream out;
    print_configuration_json(out, any_configuration().entries());
    RC_ASSERT(Json::accept(out.str()));
  }));
}

}  // namespace
