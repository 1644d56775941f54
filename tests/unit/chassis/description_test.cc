#include "chassis/description.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/managers/switch_model.h"

namespace {

// What is wrong with a description, whether it shows in the text or in building.
std::string problem_of(const std::string& json) {
  try {
    SwitchModel model;
    build_switch(parse_description(json), model);
  } catch (const DescriptionError& error) {
    return error.what();
  }
  return "nothing";
}

}  // namespace

TEST(Description, InterfacesMembersVlansAndCardsAreBuilt) {
  SwitchModel model;
  build_switch(parse_description(R"({"interfaces": [{"name": "lag1", "members": ["eth-0/2/1"]},
                                           {"name": "eth-0/2/1"}],
                            "vlans": [20, 10], "cards": [18]})"),
               model);
  EXPECT_EQ(model.interfaces().atoms().size(), 2U);
  EXPECT_TRUE(model.interfaces().find("lag1")->members().contains("eth-0/2/1"));
  EXPECT_EQ(model.interfaces().find("eth-0/2/1")->lagname(), "lag1");
  EXPECT_EQ(model.vlans(), (std::set<std::uint32_t>{10, 20}));
  EXPECT_EQ(model.cards(), (std::map<std::uint32_t, std::uint32_t>{{18, 7}}));
}

TEST(Description, EachKeyMayBeMissing) {
  EXPECT_EQ(problem_of("{}"), "nothing");
  EXPECT_EQ(problem_of(R"({"interfaces": [], "vlans": [], "cards": []})"), "nothing");
}

TEST(Description, WhatIsNoJsonIsRefusedWithItsPlace) {
  EXPECT_EQ(problem_of("{\n  \"vlans\": [10,]}"),
            "no JSON at line 2, column 16: syntax error while parsing value - unexpected ']'; "
            "expected '[', '{', or a literal");
  EXPECT_NE(problem_of(""), "nothing");
  EXPECT_NE(problem_of("{} {}"), "nothing");
}

TEST(Description, TheWholeIsAnObject) {
  EXPECT_EQ(problem_of("[]"), "the description: an object is expected.");
}

TEST(Description, UnknownKeysAreRefused) {
  EXPECT_EQ(problem_of(R"({"vlan": [10]})"), "the description: unknown key \"vlan\".");
  EXPECT_EQ(problem_of(R"({"interfaces": [{"name": "a"}, {"name": "b", "speed": 1}]})"),
            "interfaces[1]: unknown key \"speed\".");
}

TEST(Description, RepeatedKeysAreRefused) {
  EXPECT_EQ(problem_of(R"({"vlans": [10], "vlans": [20]})"),
            "the key \"vlans\" is there twice in one object.");
  EXPECT_EQ(problem_of(R"({"interfaces": [{"name": "a", "name": "b"}]})"),
            "the key \"name\" is there twice in one object.");
}

TEST(Description, ValuesOfAnotherTypeAreRefused) {
  EXPECT_EQ(problem_of(R"({"vlans": 10})"), "vlans: a list is expected.");
  EXPECT_EQ(problem_of(R"({"interfaces": ["a"]})"), "interfaces[0]: an object is expected.");
  EXPECT_EQ(problem_of(R"({"interfaces": [{"name": 1}]})"),
            "interfaces[0].name: a text is expected.");
  EXPECT_EQ(problem_of(R"({"interfaces": [{"name": "a", "members": "b"}]})"),
            "interfaces[0].members: a list is expected.");
  EXPECT_EQ(problem_of(R"({"interfaces": [{"name": "a", "members": [1]}]})"),
            "interfaces[0].members[0]: a text is expected.");
}

TEST(Description, NumbersAreWholeAndFitInto32Bits) {
  for (const char* number :
       {"-1", "1.5", "4294967296", "\"17\"", "true", "null", "18446744073709551616"}) {
    EXPECT_EQ(problem_of(std::string(R"({"cards": [16, )") + number + "]}"),
              "cards[1]: a number from 0 to 4294967295 is expected.")
        << number;
  }
  EXPECT_EQ(problem_of(R"({"cards": [0, 4294967295]})"), "nothing");
}

TEST(Description, AnInterfaceHasAName) {
  EXPECT_EQ(problem_of(R"({"interfaces": [{"members": []}]})"),
            "interfaces[0]: the key \"name\" is missing.");
  EXPECT_EQ(problem_of(R"({"interfaces": [{"name": ""}]})"),
            "interfaces[0] \"\": the interface has no name.");
}

TEST(Description, RepeatedNamesVlansAndCardsAreRefused) {
  EXPECT_EQ(problem_of(R"({"interfaces": [{"name": "a"}, {"name": "a"}]})"),
            "interfaces[1] \"a\": the interface exists already.");
  EXPECT_EQ(problem_of(R"({"vlans": [10, 20, 10]})"), "vlans[2] 10: the vlan exists already.");
  EXPECT_EQ(problem_of(R"({"cards": [17, 17]})"), "cards[1] 17: the card is there twice.");
}

TEST(Description, VlanIdsAreFrom1To4094) {
  EXPECT_EQ(problem_of(R"({"vlans": [0]})"), "vlans[0] 0: vlan_id is bad.");
  EXPECT_EQ(problem_of(R"({"vlans": [4095]})"), "vlans[0] 4095: vlan_id is bad.");
  EXPECT_EQ(problem_of(R"({"vlans": [1, 4094]})"), "nothing");
}

TEST(Description, MembersAreKnownInterfacesOfOneAggregate) {
  EXPECT_EQ(problem_of(R"({"interfaces": [{"name": "lag1", "members": ["b"]}]})"),
            "interfaces[0].members[0] \"b\": the interface does not exist.");
  EXPECT_EQ(problem_of(R"({"interfaces": [{"name": "lag1", "members": ["a"]},
                                          {"name": "lag2", "members": ["a"]},
                                          {"name": "a"}]})"),
            "interfaces[1].members[0] \"a\": the interface is a member already.");
  EXPECT_EQ(problem_of(R"({"interfaces": [{"name": "lag1", "members": ["lag1"]}]})"),
            "interfaces[0].members[0] \"lag1\": an aggregate cannot be its own member.");
}

TEST(Description, DeepNestingIsRefusedLikeAnyOtherMistake) {
  EXPECT_EQ(problem_of("{\"vlans\": [" + std::string(10000, '[') + std::string(10000, ']') + "]}"),
            "vlans[0]: a number from 0 to 4294967295 is expected.");
}
