#include "framework/xrlgen/parser.h"

#include <gtest/gtest.h>

#include <string>

#include "framework/xrlgen/lexer.h"

using xrlgen::Interface;
using xrlgen::Method;
using xrlgen::MethodKind;
using xrlgen::parse_interface;
using xrlgen::parse_target;
using xrlgen::SourceError;
using xrlgen::Target;

namespace {

Interface interface_of(const std::string& text) {
  return parse_interface("a.xif", text);
}
Method method_of(const std::string& text) {
  return interface_of("interface a/0.1 { " + text + " }").methods.at(0);
}

std::string interface_problem(const std::string& text) {
  try {
    (void)parse_interface("a.xif", text);
  } catch (const SourceError& problem) {
    return problem.what();
  }
  return "no problem";
}
std::string target_problem(const std::string& text) {
  try {
    (void)parse_target("a.tgt", text);
  } catch (const SourceError& problem) {
    return problem.what();
  }
  return "no problem";
}

}  // namespace

TEST(InterfaceFile, HasANameAndAVersion) {
  const Interface interface = interface_of("interface policy_config/12.34 { read m; }");
  EXPECT_EQ(interface.name.name.text, "policy_config");
  EXPECT_EQ(interface.name.major, 12U);
  EXPECT_EQ(interface.name.minor, 34U);
  EXPECT_EQ(interface.name.str(), "policy_config/12.34");
}

TEST(InterfaceFile, KeepsItsMethodsInOrder) {
  const Interface interface =
      interface_of("interface a/0.1 { read second; read first; read third; }");
  ASSERT_EQ(interface.methods.size(), 3U);
  EXPECT_EQ(interface.methods[0].name.text, "second");
  EXPECT_EQ(interface.methods[1].name.text, "first");
  EXPECT_EQ(interface.methods[2].name.text, "third");
}

TEST(InterfaceFile, SaysOfEachMethodWhatKindItIs) {
  const Interface interface =
      interface_of("interface a/0.1 { read m; change n; control o; admin p; }");
  ASSERT_EQ(interface.methods.size(), 4U);
  EXPECT_EQ(interface.methods[0].kind, MethodKind::READ);
  EXPECT_EQ(interface.methods[1].kind, MethodKind::CHANGE);
  EXPECT_EQ(interface.methods[2].kind, MethodKind::CONTROL);
  EXPECT_EQ(interface.methods[3].kind, MethodKind::ADMIN);
}

TEST(InterfaceFile, MethodMayBeCalledLikeAKind) {
  const Method method = method_of("admin read;");
  EXPECT_EQ(method.kind, MethodKind::ADMIN);
  EXPECT_EQ(method.name.text, "read");
}

TEST(InterfaceFile, MethodWithoutAKindIsRefused) {
  EXPECT_EQ(interface_problem("interface a/0.1 { get_acls; }"),
            "a.xif:1:19: expected 'read', 'change', 'control', 'admin' or '}', found 'get_acls'");
  EXPECT_EQ(interface_problem("interface a/0.1 { change; }"),
            "a.xif:1:25: expected a method name, found ';'");
}

TEST(InterfaceFile, MethodMayHaveNeitherArgumentsNorResults) {
  const Method method = method_of("read clear;");
  EXPECT_TRUE(method.arguments.empty());
  EXPECT_TRUE(method.results.empty());
}

TEST(InterfaceFile, MethodMayHaveArgumentsAlone) {
  const Method method = method_of("read create_acl ? acl:u32 & kind:txt;");
  ASSERT_EQ(method.arguments.size(), 2U);
  EXPECT_EQ(method.arguments[0].name.text, "acl");
  EXPECT_EQ(method.arguments[0].type->name, "u32");
  EXPECT_EQ(method.arguments[1].name.text, "kind");
  EXPECT_EQ(method.arguments[1].type->name, "txt");
  EXPECT_TRUE(method.results.empty());
}

TEST(InterfaceFile, MethodMayHaveResultsAlone) {
  const Method method = method_of("read get_flag -> flag:bool;");
  EXPECT_TRUE(method.arguments.empty());
  ASSERT_EQ(method.results.size(), 1U);
  EXPECT_EQ(method.results[0].type->name, "bool");
}

TEST(InterfaceFile, MethodMayHaveArgumentsAndResults) {
  const Method method = method_of("read get ? a:u32 -> b:u32 & c:u64;");
  EXPECT_EQ(method.arguments.size(), 1U);
  EXPECT_EQ(method.results.size(), 2U);
}

TEST(InterfaceFile, KnowsElevenTypes) {
  for (const char* type :
       {"u32", "i32", "u64", "i64", "bool", "txt", "ipv4", "ipv6", "mac", "binary", "list"}) {
    const Method method = method_of(std::string("read m ? a:") + type + ";");
    EXPECT_EQ(method.arguments.at(0).type->name, type);
    EXPECT_EQ(method.arguments.at(0).element, nullptr);
  }
}

TEST(InterfaceFile, ListMaySayWhatItHolds) {
  for (const char* type :
       {"u32", "i32", "u64", "i64", "bool", "txt", "ipv4", "ipv6", "mac", "binary", "list"}) {
    const Method method = method_of(std::string("read m ? a:list<") + type + ">;");
    EXPECT_EQ(method.arguments.at(0).type->name, "list");
    ASSERT_NE(method.arguments.at(0).element, nullptr);
    EXPECT_EQ(method.arguments.at(0).element->name, type);
  }
}

TEST(InterfaceFile, BlanksAndLineBreaksMeanNothing) {
  const Method method = method_of("read m\r\n?\ta : list < u32 >\n&b:u32->c:u32 ;");
  EXPECT_EQ(method.arguments.size(), 2U);
  EXPECT_EQ(method.results.size(), 1U);
}

TEST(InterfaceFile, CommentsMayStandAnywhere) {
  const Interface interface = interface_of(
      "// head\ninterface /* a name */ a/0.1 { // begin\n read m /* ; } \n */ ? a:u32; // "
      "end\n}\n// "
      "tail");
  EXPECT_EQ(interface.methods.size(), 1U);
}

TEST(InterfaceFile, CommentAboveAMethodBelongsToIt) {
  const Interface interface = interface_of(
      "// one\n// two\ninterface a/0.1 {\n  // three  \n  //four\n  read m;\n  read n; // behind\n "
      " read o;\n}");
  using Lines = std::vector<std::string>;
  EXPECT_EQ(interface.comment, (Lines{" one", " two"}));
  EXPECT_EQ(interface.methods[0].comment, (Lines{" three", "four"}));
  EXPECT_TRUE(interface.methods[1].comment.empty());
  EXPECT_TRUE(interface.methods[2].comment.empty());
}

TEST(InterfaceFile, CommentBeforeAnEmptyLineBelongsToNoMethod) {
  const Method method = method_of("\n// adrift\n\nread m;");
  EXPECT_TRUE(method.comment.empty());
}

TEST(InterfaceFile, CommentCannotSwallowTheLineBelowIt) {
  const Method method = method_of("\n// path C:\\ \\\\\nread m;");
  EXPECT_EQ(method.comment, std::vector<std::string>{" path C:"});
}

TEST(InterfaceFile, ContentMayBeEmptyOfMethodsForTheParser) {
  EXPECT_TRUE(interface_of("interface a/0.1 {}").methods.empty());
}

TEST(InterfaceFile, MistakesAreNamedWithFileLineAndColumn) {
  EXPECT_EQ(interface_problem("interface a/0.1 {\n  // x\n  read m ? acl:u33;\n}"),
            "a.xif:3:16: unknown type 'u33', none of u32 i32 u64 i64 bool txt ipv4 ipv6 mac binary "
            "list");
}

TEST(InterfaceFile, EmptyFileIsRefused) {
  EXPECT_EQ(interface_problem(""), "a.xif:1:1: expected 'interface', found end of file");
}

TEST(InterfaceFile, TargetInItIsRefused) {
  EXPECT_EQ(interface_problem("target a { }"), "a.xif:1:1: expected 'interface', found 'target'");
}

TEST(InterfaceFile, InterfaceNeedsAName) {
  EXPECT_EQ(interface_problem("interface { }"),
            "a.xif:1:11: expected an interface name, found '{'");
}

TEST(InterfaceFile, InterfaceNeedsAVersion) {
  EXPECT_EQ(interface_problem("interface a { m; }"),
            "a.xif:1:13: expected '/' and a version after 'a', found '{'");
  EXPECT_EQ(interface_problem("interface a/ { m; }"),
            "a.xif:1:14: expected a major version number, found '{'");
  EXPECT_EQ(interface_problem("interface a/1 { read m; }"),
            "a.xif:1:15: expected '.' and a minor version number, found '{'");
  EXPECT_EQ(interface_problem("interface a/1. { read m; }"),
            "a.xif:1:16: expected a minor version number, found '{'");
  EXPECT_EQ(interface_problem("interface a/1.x { m; }"),
            "a.xif:1:15: expected a minor version number, found 'x'");
}

TEST(InterfaceFile, VersionNumberIsPlain) {
  EXPECT_EQ(interface_problem("interface a/0.01 { read m; }"),
            "a.xif:1:15: version number '01' begins with a zero");
  EXPECT_EQ(interface_problem("interface a/65535.65535 { read m; }"), "no problem");
  EXPECT_EQ(interface_problem("interface a/65536.0 { read m; }"),
            "a.xif:1:13: version number '65536' is larger than 65535");
  EXPECT_EQ(interface_problem("interface a/0.99999999999999999999999 { read m; }"),
            "a.xif:1:15: version number '99999999999999999999999' is larger than 65535");
}

TEST(InterfaceFile, InterfaceNeedsItsBraces) {
  EXPECT_EQ(interface_problem("interface a/0.1 m;"),
            "a.xif:1:17: expected '{' after interface 'a/0.1', found 'm'");
  EXPECT_EQ(interface_problem("interface a/0.1 { read m;"),
            "a.xif:1:26: expected 'read', 'change', 'control', 'admin' or '}', found end of file");
}

TEST(InterfaceFile, MethodEndsInASemicolon) {
  EXPECT_EQ(interface_problem("interface a/0.1 { read create_acl ? acl:u32\n change delete_acl; }"),
            "a.xif:2:2: expected ';' after method 'create_acl', found 'change'");
  EXPECT_EQ(interface_problem("interface a/0.1 { read clear }"),
            "a.xif:1:30: expected ';' after method 'clear', found '}'");
}

TEST(InterfaceFile, ArgumentsAndResultsAreNamed) {
  EXPECT_EQ(interface_problem("interface a/0.1 { read m ? ; }"),
            "a.xif:1:28: expected an argument name, found ';'");
  EXPECT_EQ(interface_problem("interface a/0.1 { read m ? a:u32 & ; }"),
            "a.xif:1:36: expected an argument name, found ';'");
  EXPECT_EQ(interface_problem("interface a/0.1 { read m -> ; }"),
            "a.xif:1:29: expected a result name, found ';'");
}

TEST(InterfaceFile, ArgumentsHaveATypeEach) {
  EXPECT_EQ(interface_problem("interface a/0.1 { read m ? acl; }"),
            "a.xif:1:31: expected ':' and a type after 'acl', found ';'");
  EXPECT_EQ(interface_problem("interface a/0.1 { read m ? acl:; }"),
            "a.xif:1:32: expected a type, found ';'");
}

TEST(InterfaceFile, ListElementHasAKnownType) {
  EXPECT_EQ(interface_problem("interface a/0.1 { read m ? acls:list<; }"),
            "a.xif:1:38: expected a type, found ';'");
  EXPECT_EQ(interface_problem("interface a/0.1 { read m ? acls:list<u32; }"),
            "a.xif:1:41: expected '>' after 'list<u32', found ';'");
  EXPECT_EQ(interface_problem("interface a/0.1 { read m ? acls:list<acl>; }"),
            "a.xif:1:38: unknown type 'acl', none of u32 i32 u64 i64 bool txt ipv4 ipv6 mac binary "
            "list");
}

TEST(InterfaceFile, ListOfListsSaysNoMoreThanThat) {
  EXPECT_EQ(interface_problem("interface a/0.1 { read m ? a:list<list<u32>>; }"),
            "a.xif:1:39: expected '>' after 'list<list', found '<'");
}

TEST(InterfaceFile, OnlyListsHaveElements) {
  EXPECT_EQ(interface_problem("interface a/0.1 { read m ? a:u32<u32>; }"),
            "a.xif:1:33: expected ';' after method 'm', found '<'");
}

TEST(InterfaceFile, HoldsOneInterface) {
  EXPECT_EQ(interface_problem("interface a/0.1 { read m; } interface b/0.1 { read m; }"),
            "a.xif:1:29: expected end of file (one interface a file), found 'interface'");
}

TEST(InterfaceFile, StrayCharactersAreRefused) {
  EXPECT_EQ(interface_problem("interface a/0.1 { read m ! }"),
            "a.xif:1:26: unexpected character '!'");
  EXPECT_EQ(interface_problem("interface a/0.1 { read m - }"),
            "a.xif:1:26: unexpected character '-'");
  EXPECT_EQ(interface_problem("\xff"), "a.xif:1:1: unexpected byte 0xff");
  EXPECT_EQ(interface_problem("\x7f"), "a.xif:1:1: unexpected byte 0x7f");
  EXPECT_EQ(interface_problem(std::string("\0", 1)), "a.xif:1:1: unexpected byte 0x00");
  EXPECT_EQ(interface_problem("// a\n// \x1b[31m"), "a.xif:2:1: unexpected byte 0x1b in a comment");
  EXPECT_EQ(interface_problem("// \x7f"), "a.xif:1:1: unexpected byte 0x7f in a comment");
  EXPECT_EQ(interface_problem("//\ta\r\ninterface a/0.1 { read m; }"), "no problem");
}

TEST(InterfaceFile, CommentNeedsItsEnd) {
  EXPECT_EQ(interface_problem("interface a/0.1 {\n /* m;\n }"), "a.xif:2:2: comment without end");
  EXPECT_EQ(interface_problem("/*/"), "a.xif:1:1: comment without end");
}

TEST(InterfaceFile, NameHasAtMost64Characters) {
  const std::string longest(xrlgen::MAX_NAME_BYTES, 'm');
  EXPECT_EQ(interface_problem("interface a/0.1 { read " + longest + "; }"), "no problem");
  EXPECT_EQ(interface_problem("interface a/0.1 { read " + longest + "m; }"),
            "a.xif:1:24: name longer than 64 characters");
}

TEST(InterfaceFile, HasAtMost262144Bytes) {
  const std::string text = "interface a/0.1 { read m; }";
  const std::string largest = text + std::string(xrlgen::MAX_FILE_BYTES - text.size(), ' ');
  EXPECT_EQ(interface_problem(largest), "no problem");
  EXPECT_EQ(interface_problem(largest + " "), "a.xif:1:1: the file is larger than 262144 bytes");
}

TEST(TargetFile, NamesWhatATargetImplementsInOrder) {
  const Target target =
      parse_target("a.tgt", "target policy { implements common/0.1; implements acl/2.3; }");
  EXPECT_EQ(target.name.text, "policy");
  ASSERT_EQ(target.implements.size(), 2U);
  EXPECT_EQ(target.implements[0].str(), "common/0.1");
  EXPECT_EQ(target.implements[1].str(), "acl/2.3");
}

TEST(TargetFile, MistakesAreNamed) {
  EXPECT_EQ(target_problem("interface a/0.1 { }"),
            "a.tgt:1:1: expected 'target', found 'interface'");
  EXPECT_EQ(target_problem("target { }"), "a.tgt:1:8: expected a target name, found '{'");
  EXPECT_EQ(target_problem("target a implements"),
            "a.tgt:1:10: expected '{' after target 'a', found 'implements'");
  EXPECT_EQ(target_problem("target a { common/0.1; }"),
            "a.tgt:1:12: expected 'implements' or '}', found 'common'");
  EXPECT_EQ(target_problem("target a { implements ; }"),
            "a.tgt:1:23: expected an interface name, found ';'");
  EXPECT_EQ(target_problem("target a { implements common; }"),
            "a.tgt:1:29: expected '/' and a version after 'common', found ';'");
  EXPECT_EQ(target_problem("target a { implements common/0.1 }"),
            "a.tgt:1:34: expected ';' after 'common/0.1', found '}'");
  EXPECT_EQ(target_problem("target a { implements common/0.1;"),
            "a.tgt:1:34: expected 'implements' or '}', found end of file");
  EXPECT_EQ(target_problem("target a { } }"),
            "a.tgt:1:14: expected end of file (one target a file), found '}'");
}
