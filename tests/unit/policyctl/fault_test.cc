#include "tools/policyctl/language/fault.h"

#include <gtest/gtest.h>

#include <sstream>

#include "tools/policyctl/language/read_configuration.h"

namespace {

std::string printed(std::string_view text, const std::vector<Fault>& faults) {
  std::ostringstream out;
  print_faults(out, {"edge.conf", std::string(text)}, faults);
  return out.str();
}

std::string printed(std::string_view text) {
  return printed(text, read_configuration(text).faults);
}

TEST(PrintFaults, ShowsTheLineTheMarkAndTheAdvice) {
  EXPECT_EQ(printed("acl 1 type 0\n  rule 1 permit srcip 10.0.0.0/8\n"),
            "edge.conf:2:17: 'srcip' is no field of a rule.\n"
            "    rule 1 permit srcip 10.0.0.0/8\n"
            "                  ^~~~~\n"
            "  Is 'src-ip' meant?\n");
}

TEST(PrintFaults, MarksBehindTheLineWhatIsMissing) {
  EXPECT_EQ(printed("cos flag"),
            "edge.conf:1:9: SWITCH is missing.\n"
            "  cos flag\n"
            "          ^\n"
            "  The form is: cos flag SWITCH\n");
}

TEST(PrintFaults, KeepsTheMarkBelowWhatItMarks) {
  EXPECT_EQ(printed("\tcos \"\xc3\xa4\x01\" on"),
            "edge.conf:1:6: '\xc3\xa4?' is not expected here.\n"
            "   cos \"\xc3\xa4?\" on\n"
            "       ^~~~\n"
            "  Expected: flag, schedule, priority, mapping.\n");
}

TEST(PrintFaults, PrintsAFaultOfNoLineAlone) {
  EXPECT_EQ(printed("x", {{0, 0, 0, "the file is empty.", "Write something."}}),
            "edge.conf: the file is empty.\n  Write something.\n");
}

TEST(PrintFaults, ShowsOfALongLineThePlaceOnly) {
  const std::string line = "cos " + std::string(5000, 'a') + " flag" + std::string(5000, 'b');
  const std::string text = printed(line);
  EXPECT_LT(text.size(), 600U);
  EXPECT_NE(text.find("\n  cos aaaa"), std::string::npos) << text;
  EXPECT_NE(text.find("\n      ^~~~~"), std::string::npos) << text;
}

TEST(PrintFaults, FindsLinesInAnyOrder) {
  EXPECT_EQ(printed("a\nb\n", {{2, 1, 1, "two.", ""}, {1, 1, 1, "one.", ""}, {9, 1, 1, "no.", ""}}),
            "edge.conf:2:1: two.\n  b\n  ^\n"
            "edge.conf:1:1: one.\n  a\n  ^\n"
            "edge.conf:9:1: no.\n  \n  ^\n");
}

TEST(PrintFaults, ManyFaultsOfALargeTextTakeAsLongAsTheirNumber) {
  std::string text;
  for (int line = 0; line < 200000; ++line) text += "cos flag maybe\n";
  const std::string all = printed(text);
  EXPECT_NE(all.find("edge.conf:200000:10: 'maybe' is none of: off, on.\n"), std::string::npos);
}

}  // namespace
