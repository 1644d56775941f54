#include "framework/xrl/xrl_cmd_map.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

XrlCmdError first_handler(void*, XrlArgsReader&, XrlArgsWriter&) {
  return XrlCmdError::OKAY();
}
XrlCmdError second_handler(void*, XrlArgsReader&, XrlArgsWriter&) {
  return XrlCmdError::COMMAND_FAILED("second");
}

std::vector<std::string> methods(const XrlCmdMap& map) {
  std::vector<std::string> names;
  for (const auto& command : map.commands()) names.push_back(command->method);
  return names;
}

class CountingCmdMap : public XrlCmdMap {
 public:
  using XrlCmdMap::XrlCmdMap;
  int changes = 0;

 protected:
  XrlKey make_key(std::string_view method) override {
    XrlKey key{};
    key[0] = static_cast<std::uint8_t>(method.size());
    return key;
  }
  void commands_changed() override { ++changes; }
};

TEST(XrlCmdMap, HasTheNameOfItsTarget) {
  EXPECT_EQ(XrlCmdMap("policy").name(), "policy");
}

TEST(XrlCmdMap, FindsWhatWasAddedAndNothingElse) {
  XrlCmdMap map("policy");
  int target = 0;
  EXPECT_TRUE(map.add_handler("common/0.1/get_status", first_handler, &target));
  const XrlCmdMap::Command* command = map.find("common/0.1/get_status");
  ASSERT_NE(command, nullptr);
  EXPECT_EQ(command->method, "common/0.1/get_status");
  EXPECT_EQ(command->handler, &first_handler);
  EXPECT_EQ(command->target, &target);
  EXPECT_EQ(command->key, XrlKey{});
  EXPECT_EQ(map.find("common/0.1/get_statu"), nullptr);
  EXPECT_EQ(map.find("common/0.1/get_status2"), nullptr);
  EXPECT_EQ(map.find(""), nullptr);
}

TEST(XrlCmdMap, RefusesAMethodThatIsThereAndKeepsTheFirst) {
  CountingCmdMap map("policy");
  int target = 0;
  int other = 0;
  EXPECT_TRUE(map.add_handler("a/0.1/m", first_handler, &target));
  EXPECT_FALSE(map.add_handler("a/0.1/m", second_handler, &other));
  EXPECT_EQ(map.find("a/0.1/m")->handler, &first_handler);
  EXPECT_EQ(map.find("a/0.1/m")->target, &target);
  EXPECT_EQ(map.commands().size(), 1U);
  EXPECT_EQ(map.changes, 1);
}

TEST(XrlCmdMap, ListsMethodsInTheOrderTheyWereAdded) {
  XrlCmdMap map("policy");
  int target = 0;
  const std::vector<std::string> names = {"z/0.1/a", "a/0.1/z", "m/0.1/m"};
  for (const std::string& name : names) map.add_handler(name, first_handler, &target);
  EXPECT_EQ(methods(map), names);
}

TEST(XrlCmdMap, TakesBackTheMethodsOfOneTargetOnly) {
  CountingCmdMap map("policy");
  int going = 0;
  int staying = 0;
  map.add_handler("a/0.1/one", first_handler, &going);
  map.add_handler("b/0.1/two", second_handler, &staying);
  map.add_handler("c/0.1/three", first_handler, &going);
  map.remove_handlers(&going);
  EXPECT_EQ(methods(map), std::vector<std::string>{"b/0.1/two"});
  EXPECT_EQ(map.find("a/0.1/one"), nullptr);
  EXPECT_EQ(map.find("c/0.1/three"), nullptr);
  EXPECT_EQ(map.find("b/0.1/two")->handler, &second_handler);
  EXPECT_EQ(map.changes, 4);
  EXPECT_TRUE(map.add_handler("a/0.1/one", second_handler, &staying));
}

TEST(XrlCmdMap, TellsNoChangeWhenATargetHasNoMethods) {
  CountingCmdMap map("policy");
  int target = 0;
  map.remove_handlers(&target);
  EXPECT_EQ(map.changes, 0);
}

TEST(XrlCmdMap, AsksForTheKeyOfEachMethod) {
  CountingCmdMap map("policy");
  int target = 0;
  map.add_handler("a/0.1/m", first_handler, &target);
  map.add_handler("a/0.1/much", first_handler, &target);
  EXPECT_EQ(map.find("a/0.1/m")->key[0], 7);
  EXPECT_EQ(map.find("a/0.1/much")->key[0], 10);
}

TEST(XrlCmdMap, FindsEachOfAThousandMethods) {
  XrlCmdMap map("policy");
  int target = 0;
  for (int i = 0; i < 1000; ++i) {
    map.add_handler("many/0.1/m" + std::to_string(i), first_handler, &target);
  }
  for (int i = 0; i < 1000; ++i) {
    const std::string method = "many/0.1/m" + std::to_string(i);
    ASSERT_NE(map.find(method), nullptr);
    EXPECT_EQ(map.find(method)->method, method);
  }
}

TEST(XrlCmdMap, KeepsMethodsLastThatAreToStayThere) {
  class Map : public XrlCmdMap {
   public:
    using XrlCmdMap::keep_last;
    using XrlCmdMap::XrlCmdMap;
  } map("a");
  int last = 0;
  int other = 0;
  map.add_handler("z/0.1/one", first_handler, &last);
  map.add_handler("z/0.1/two", first_handler, &last);
  map.keep_last();
  map.add_handler("a/0.1/one", first_handler, &other);
  map.add_handler("a/0.1/two", first_handler, &other);
  EXPECT_EQ(methods(map),
            (std::vector<std::string>{"a/0.1/one", "a/0.1/two", "z/0.1/one", "z/0.1/two"}));
}

}  // namespace
