#include "tools/classbench/classbench_rule.h"

#include <gtest/gtest.h>

#include "common/match_values.h"

namespace {

// "NAME=TEXT ..." of the fields that the line looks at.
std::string fields(std::string_view line) {
  std::string text;
  for (const MatchValue& value : match_values(parse_classbench_line(line))) {
    if (!text.empty()) text += ' ';
    text += std::string(value.field->name) + "=" + value.text;
  }
  return text;
}

// "COLUMN PROBLEM" of a refused line.
std::string refusal(std::string_view line) {
  try {
    (void)parse_classbench_line(line);
  } catch (const ClassbenchLineError& error) {
    return std::to_string(error.column()) + " " + error.what();
  }
  return "accepted";
}

TEST(ClassbenchRule, HasAnExactDestinationPort) {
  EXPECT_EQ(fields("@176.19.181.33/32\t90.145.23.162/32\t0 : 65535\t1550 : 1550\t0x06/0xFF\t"
                   "0x0000/0x0200\t"),
            "src-ip=176.19.181.33/32 dst-ip=90.145.23.162/32 protocol=6 dst-port=1550 "
            "tcp-flags=0x0000/0x0200");
}

TEST(ClassbenchRule, HasRangesOfPorts) {
  EXPECT_EQ(fields("@10.0.0.0/8\t192.0.2.0/24\t0 : 1023\t1300 : 1349\t0x11/0xFF\t0x0000/0x0000\t"),
            "src-ip=10.0.0.0/8 dst-ip=192.0.2.0/24 protocol=17 src-port=0-1023 "
            "dst-port=1300-1349");
}

TEST(ClassbenchRule, HasAProtocolWithoutPorts) {
  EXPECT_EQ(fields("@10.0.0.0/8\t192.0.2.0/24\t0 : 65535\t0 : 65535\t0x01/0xff\t0x0000/0x0000\t"),
            "src-ip=10.0.0.0/8 dst-ip=192.0.2.0/24 protocol=1");
}

TEST(ClassbenchRule, ComparesAFlag) {
  EXPECT_EQ(fields("@0.0.0.0/0\t0.0.0.0/0\t0 : 65535\t0 : 65535\t0x06/0xFF\t0x1000/0x1000\t"),
            "protocol=6 tcp-flags=0x1000/0x1000");
}

TEST(ClassbenchRule, WhatMatchesEverythingIsLeftOut) {
  EXPECT_EQ(fields("@0.0.0.0/0\t0.0.0.0/0\t0 : 65535\t0 : 65535\t0x00/0x00\t0x0000/0x0000\t"), "");
}

TEST(ClassbenchRule, ZeroIsAProtocolAPortAndAFlagLikeAnyOther) {
  EXPECT_EQ(fields("@0.0.0.0/1\t0.0.0.0/32\t0 : 0\t65535 : 65535\t0x00/0xFF\t0x0000/0xffff\t"),
            "src-ip=0.0.0.0/1 dst-ip=0.0.0.0/32 protocol=0 src-port=0 dst-port=65535 "
            "tcp-flags=0x0000/0xffff");
}

TEST(ClassbenchRule, ItsFieldsAreInOrderAndValuesOfTheirKind) {
  const std::vector<MatchValue> values = match_values(parse_classbench_line(
      "@10.0.0.0/8\t192.0.2.0/24\t0 : 1023\t1300 : 1349\t0x11/0xFF\t0x0A00/0x0A00\t"));
  ASSERT_EQ(values.size(), 6U);
  for (std::size_t i = 0; i < values.size(); ++i) {
    EXPECT_EQ(match_value_problem(*values[i].field, values[i].text), "");
    if (i > 0) {
      EXPECT_LT(values[i - 1].field->number, values[i].field->number);
    }
  }
}

struct BadLine {
  const char* line;
  const char* refusal;
};

TEST(ClassbenchRule, TellsTheColumnOfWhatIsWrong) {
  ASSERT_EQ(refusal("@1.2.3.4/32\t5.6.7.8/32\t1 : 1\t1 : 1\t0x06/0xFF\t0x1000/0x1000\t"),
            "accepted");
  const BadLine lines[] = {
      {"", "1 '@' expected"},
      {"1.2.3.4/32\t", "1 '@' expected"},
      {"@\t", "2 IPv4 address expected"},
      {"@1.2.3/32\t", "2 IPv4 address expected"},
      {"@1.2.3.256/32\t", "2 IPv4 address expected"},
      {"@1.2.3.04/32\t", "2 IPv4 address expected"},
      {"@1.2.3.4\t", "9 '/' expected"},
      {"@1.2.3.4/\t", "10 number 0..32 expected"},
      {"@1.2.3.4/33\t", "10 number 0..32 expected"},
      {"@1.2.3.4/032\t", "10 number 0..32 expected"},
      {"@1.2.3.4/99999999999\t", "10 number 0..32 expected"},
      {"@1.2.3.5/31\t", "2 host bits must be zero"},
      {"@128.0.0.0/0\t", "2 host bits must be zero"},
      {"@1.2.3.4/32 5.6.7.8/32\t", "12 tab expected"},
      {"@1.2.3.4/32\t@5.6.7.8/32\t", "13 IPv4 address expected"},
      {"@1.2.3.4/32\t5.6.7.9/31\t", "13 host bits must be zero"},
      {"@1.2.3.4/32\t5.6.7.8/32", "23 tab expected"},
      {"@1.2.3.4/32\t5.6.7.8/32\t0:65535\t", "25 ' : ' expected"},
      {"@1.2.3.4/32\t5.6.7.8/32\t0 :65535\t", "25 ' : ' expected"},
      {"@1.2.3.4/32\t5.6.7.8/32\t0 : 65536\t", "28 number 0..65535 expected"},
      {"@1.2.3.4/32\t5.6.7.8/32\t-1 : 1\t", "24 number 0..65535 expected"},
      {"@1.2.3.4/32\t5.6.7.8/32\t2 : 1\t", "24 the range ends before it begins"},
      {"@1.2.3.4/32\t5.6.7.8/32\t1 : 1\t2 : 1\t", "30 the range ends before it begins"},
      {"@1.2.3.4/32\t5.6.7.8/32\t1 : 1\t1 : 1\t6/0xFF\t",
       "36 0x and 2 hexadecimal digits expected"},
      {"@1.2.3.4/32\t5.6.7.8/32\t1 : 1\t1 : 1\t0x6/0xFF\t",
       "36 0x and 2 hexadecimal digits expected"},
      {"@1.2.3.4/32\t5.6.7.8/32\t1 : 1\t1 : 1\t0x006/0xFF\t",
       "36 0x and 2 hexadecimal digits expected"},
      {"@1.2.3.4/32\t5.6.7.8/32\t1 : 1\t1 : 1\t0x06\t", "40 '/' expected"},
      {"@1.2.3.4/32\t5.6.7.8/32\t1 : 1\t1 : 1\t0x06/0x06\t",
       "36 the mask of a protocol must be 0x00 or 0xFF"},
      {"@1.2.3.4/32\t5.6.7.8/32\t1 : 1\t1 : 1\t0x06/0x00\t",
       "36 bits outside of the mask must be zero"},
      {"@1.2.3.4/32\t5.6.7.8/32\t1 : 1\t1 : 1\t0x06/0xFF\t",
       "46 0x and 4 hexadecimal digits expected"},
      {"@1.2.3.4/32\t5.6.7.8/32\t1 : 1\t1 : 1\t0x06/0xFF\t0x1000/0x0200\t",
       "46 bits outside of the mask must be zero"},
      {"@1.2.3.4/32\t5.6.7.8/32\t1 : 1\t1 : 1\t0x06/0xFF\t0x1000/0x1000", "59 tab expected"},
      {"@1.2.3.4/32\t5.6.7.8/32\t1 : 1\t1 : 1\t0x06/0xFF\t0x1000/0x1000\t ",
       "60 end of line expected"},
      {"@1.2.3.4/32\t5.6.7.8/32\t1 : 1\t1 : 1\t0x06/0xFF\t0x1000/0x1000\t\r",
       "60 end of line expected"},
  };
  for (const BadLine& bad : lines) EXPECT_EQ(refusal(bad.line), bad.refusal) << bad.line;
}

}  // namespace
