#include "common/match_fields.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <set>
#include <sstream>

#include "common/match_values.h"

namespace {

TEST(MatchFields, EachHasANumberOfItsOwnThatTheDaemonTakes) {
  std::set<std::uint32_t> numbers;
  for (const MatchField& field : match_fields()) {
    EXPECT_TRUE(numbers.insert(field.number).second) << field.number;
    EXPECT_LE(field.number, LAST_MATCH_FIELD);
  }
  EXPECT_FALSE(numbers.empty());
}

TEST(MatchFields, EachHasAHyphenatedLowerCaseNameOfItsOwn) {
  std::set<std::string_view> names;
  for (const MatchField& field : match_fields()) {
    EXPECT_TRUE(names.insert(field.name).second) << field.name;
    EXPECT_EQ(field.name.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789-"),
              std::string_view::npos)
        << field.name;
  }
}

TEST(MatchFields, TheExampleOfEachIsAValueOfIt) {
  for (const MatchField& field : match_fields()) {
    EXPECT_EQ(match_value_problem(field, field.example), "") << field.name;
  }
}

TEST(MatchFields, EachIsFoundByNameAndByNumber) {
  for (const MatchField& field : match_fields()) {
    EXPECT_EQ(find_match_field(field.name), &field);
    EXPECT_EQ(find_match_field(field.number), &field);
  }
}

TEST(MatchFields, AnUnknownNameAndAReservedNumberAreNotFound) {
  EXPECT_EQ(find_match_field("scr-ip"), nullptr);
  EXPECT_EQ(find_match_field(""), nullptr);
  EXPECT_EQ(find_match_field(LAST_MATCH_FIELD), nullptr);
  EXPECT_EQ(find_match_field(LAST_MATCH_FIELD + 1), nullptr);
}

// The numbers stand in configurations that were stored; they stay.
TEST(MatchFields, NumbersKeepTheirMeaning) {
  std::ostringstream names;
  for (const MatchField& field : match_fields()) names << field.number << ' ' << field.name << ' ';
  EXPECT_EQ(names.str(),
            "0 src-mac 1 dst-mac 2 ethertype 3 vlan 4 dot1p 5 inner-vlan 6 inner-dot1p 7 src-ip "
            "8 dst-ip 9 src-ip6 10 dst-ip6 11 protocol 12 src-port 13 dst-port 14 tcp-flags "
            "15 icmp-type 16 icmp-code 17 icmp6-type 18 icmp6-code 19 igmp-type 20 dscp "
            "21 precedence 22 tos 23 ecn 24 fragment 25 ttl 26 ip-options 27 flow-label "
            "28 packet-length 29 arp-operation 30 in-ports 31 out-ports 32 time-range ");
}

TEST(MatchFields, SayHowTheirValuesAreWritten) {
  const auto syntax = [](std::string_view name) {
    return match_value_syntax(*find_match_field(name));
  };
  EXPECT_EQ(syntax("src-mac"), "ADDRESS or ADDRESS/MASK");
  EXPECT_EQ(syntax("ethertype"), "0x0000..0xffff");
  EXPECT_EQ(syntax("vlan"), "1..4094");
  EXPECT_EQ(syntax("dst-ip"), "ADDRESS/LENGTH");
  EXPECT_EQ(syntax("src-port"), "LOW or LOW-HIGH, 0..65535");
  EXPECT_EQ(syntax("tcp-flags"), "0xVALUE/0xMASK");
  EXPECT_EQ(syntax("fragment"), "no, any, first, not-first");
  EXPECT_EQ(syntax("in-ports"), "INTERFACE,...");
  EXPECT_EQ(syntax("time-range"), "NAME");
}

std::string documented_row(std::uint32_t number) {
  std::ostringstream row;
  row << "| " << number << " | ";
  if (const MatchField* const field = find_match_field(number)) {
    row << '`' << field->name << "` | " << field->help << " | " << match_value_syntax(*field)
        << " | `" << field->example << "` |";
  } else {
    row << "reserved | | | |";
  }
  return row.str();
}

TEST(MatchFields, ThePageShowsThisTable) {
  std::ifstream page(MATCH_FIELDS_PAGE);
  std::string shown;
  for (std::string line; std::getline(page, line);) {
    if (line.starts_with("| ") && line.find_first_of("0123456789") == 2) shown += line + '\n';
  }
  std::string expected;
  for (std::uint32_t number = 0; number <= LAST_MATCH_FIELD; ++number) {
    expected += documented_row(number) + '\n';
  }
  EXPECT_EQ(shown, expected);
}

}  // namespace
