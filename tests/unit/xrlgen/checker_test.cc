#include "framework/xrlgen/checker.h"

#include <gtest/gtest.h>

#include <string>

#include "framework/xrlgen/names.h"
#include "framework/xrlgen/parser.h"

using xrlgen::Interface;
using xrlgen::parse_interface;
using xrlgen::parse_target;
using xrlgen::problem_with_name;
using xrlgen::SourceError;

namespace {

template <typename Action>
std::string problem_of(Action action) {
  try {
    action();
  } catch (const SourceError& problem) {
    return problem.what();
  }
  return "no problem";
}

std::string interface_problem(const std::string& text) {
  return problem_of([&] { check_interface(parse_interface("a.xif", text)); });
}
std::string method_problem(const std::string& text) {
  return interface_problem("interface a/0.1 {\n" + text + "\n}");
}
std::string target_problem(const std::string& text, const std::vector<Interface>& known) {
  return problem_of([&] { (void)resolve_target(parse_target("a.tgt", text), known); });
}

}  // namespace

TEST(Names, AreLowerCaseWordsJoinedByUnderscores) {
  EXPECT_EQ(problem_with_name("acl"), "");
  EXPECT_EQ(problem_with_name("get_acls"), "");
  EXPECT_EQ(problem_with_name("number1s"), "");
  EXPECT_EQ(problem_with_name("x_2"), "");
}

TEST(Names, BeginWithALowerCaseLetter) {
  EXPECT_EQ(problem_with_name("2fast"), "'2fast' does not begin with a lower-case letter");
  EXPECT_EQ(problem_with_name("_acl"), "'_acl' does not begin with a lower-case letter");
  EXPECT_EQ(problem_with_name("Acl"), "'Acl' does not begin with a lower-case letter");
  EXPECT_EQ(problem_with_name(""), "'' does not begin with a lower-case letter");
}

TEST(Names, HaveLettersDigitsAndUnderscoresAlone) {
  for (const char* name : {"a/b", "a:b", "a`b", "a{b", "a-b", "a b", "a\xc3\xa4"}) {
    EXPECT_EQ(problem_with_name(name),
              "'" + std::string(name) + "' holds more than lower-case letters, digits and '_'");
  }
  EXPECT_EQ(problem_with_name("az09"), "");
}

TEST(Names, HaveNoUpperCaseLetters) {
  EXPECT_EQ(problem_with_name("getAcls"),
            "'getAcls' holds more than lower-case letters, digits and '_'");
}

TEST(Names, HaveNoStrayUnderscores) {
  EXPECT_EQ(problem_with_name("acl_"), "'acl_' is not words joined by single underscores");
  EXPECT_EQ(problem_with_name("acl__id"), "'acl__id' is not words joined by single underscores");
}

TEST(Names, AreNotReservedInCpp) {
  for (const char* word : {"class", "alignas", "xor_eq", "co_await", "std", "errno", "bool"})
    EXPECT_EQ(problem_with_name(word), "'" + std::string(word) + "' is reserved in C++");
}

TEST(Names, BecomeCamelCase) {
  EXPECT_EQ(xrlgen::camel_case("policy_config"), "PolicyConfig");
  EXPECT_EQ(xrlgen::camel_case("sif"), "Sif");
  EXPECT_EQ(xrlgen::camel_case("x_2y"), "X2y");
}

TEST(InterfaceCheck, BadNamesAreRefusedWhereTheyStand) {
  EXPECT_EQ(interface_problem("interface Acl/0.1 { read m; }"),
            "a.xif:1:11: bad name: 'Acl' does not begin with a lower-case letter");
  EXPECT_EQ(method_problem("read delete;"), "a.xif:2:6: bad name: 'delete' is reserved in C++");
  EXPECT_EQ(method_problem("read m ? class:u32;"),
            "a.xif:2:10: bad name: 'class' is reserved in C++");
  EXPECT_EQ(method_problem("read m -> new:u32;"), "a.xif:2:11: bad name: 'new' is reserved in C++");
}

TEST(InterfaceCheck, InterfaceHasAMethod) {
  EXPECT_EQ(interface_problem("interface a/0.1 { }"),
            "a.xif:1:11: interface 'a/0.1' has no methods");
}

TEST(InterfaceCheck, MethodIsDeclaredOnce) {
  EXPECT_EQ(method_problem("read m;\n read m ? a:u32;"), "a.xif:3:7: duplicate method 'm'");
}

TEST(InterfaceCheck, MethodsHaveDifferentNamesInCpp) {
  EXPECT_EQ(method_problem("read get_1;\nread get1;"),
            "a.xif:3:6: methods 'get_1' and 'get1' are both Get1CB in C++");
}

TEST(InterfaceCheck, ArgumentIsDeclaredOnceAMethod) {
  EXPECT_EQ(method_problem("read m ? a:u32 & b:u32 & a:txt;"),
            "a.xif:2:26: duplicate argument 'a' of method 'm'");
  EXPECT_EQ(method_problem("read m ? a:u32; read n ? a:u32;"), "no problem");
}

TEST(InterfaceCheck, ResultIsDeclaredOnceAMethod) {
  EXPECT_EQ(method_problem("read m -> a:u32 & a:u32;"),
            "a.xif:2:19: duplicate result 'a' of method 'm'");
}

TEST(InterfaceCheck, ResultIsNotCalledLikeAnArgument) {
  EXPECT_EQ(method_problem("read m ? a:u32 -> a:u32;"),
            "a.xif:2:19: result 'a' of method 'm' is called like an argument");
}

class TargetCheck : public testing::Test {
 protected:
  std::vector<Interface> _known = {
      parse_interface("b.xif", "interface common/0.1 { read a; }"),
      parse_interface("c.xif", "interface common/0.2 { read a; read b; }"),
      parse_interface("d.xif", "interface common_0_1_a/0.1 { read b; }"),
      parse_interface("e.xif", "interface common/1.0 { read a_0_1_b; }"),
  };
};

TEST_F(TargetCheck, InterfacesAreFoundByNameAndVersion) {
  const auto interfaces = resolve_target(
      parse_target("a.tgt", "target a { implements common/0.2; implements common/0.1; }"), _known);
  ASSERT_EQ(interfaces.size(), 2U);
  EXPECT_EQ(interfaces[0], &_known[1]);
  EXPECT_EQ(interfaces[1], &_known[0]);
}

TEST_F(TargetCheck, BadNameIsRefused) {
  EXPECT_EQ(target_problem("target switch { implements common/0.1; }", _known),
            "a.tgt:1:8: bad name: 'switch' is reserved in C++");
}

TEST_F(TargetCheck, TargetImplementsSomething) {
  EXPECT_EQ(target_problem("target a { }", _known), "a.tgt:1:8: target 'a' implements nothing");
}

TEST_F(TargetCheck, UnknownInterfaceIsRefused) {
  EXPECT_EQ(target_problem("target a { implements common/0.1; implements acl/0.1; }", _known),
            "a.tgt:1:46: unknown interface 'acl/0.1'");
}

TEST_F(TargetCheck, UnknownVersionOfAKnownInterfaceIsRefused) {
  EXPECT_EQ(target_problem("target a { implements common/0.3; }", _known),
            "a.tgt:1:23: unknown interface 'common/0.3'");
}

TEST_F(TargetCheck, SameInterfaceTwiceIsRefused) {
  EXPECT_EQ(target_problem("target a { implements common/0.1; implements common/0.1; }", _known),
            "a.tgt:1:46: interface 'common/0.1' is implemented twice");
}

TEST_F(TargetCheck, HandlersHaveDifferentNamesInCpp) {
  std::vector<Interface> known;
  known.push_back(parse_interface("b.xif", "interface a/0.1 { read b_0_1_c; }"));
  known.push_back(parse_interface("c.xif", "interface a_0_1_b/0.1 { read c; }"));
  EXPECT_EQ(
      target_problem("target t { implements a/0.1; implements a_0_1_b/0.1; }", known),
      "a.tgt:1:41: methods 'a/0.1/b_0_1_c' and 'a_0_1_b/0.1/c' are both a_0_1_b_0_1_c in C++");
}

TEST_F(TargetCheck, InterfaceIsDeclaredInOneFile) {
  EXPECT_EQ(problem_of([&] { check_unique(_known); }), "no problem");
  _known.push_back(parse_interface("f.xif", "interface common/0.2 { read c; }"));
  EXPECT_EQ(problem_of([&] { check_unique(_known); }),
            "f.xif:1:11: interface 'common/0.2' is declared in c.xif too");
}
