#include "tests/unit/policyctl/imported.h"

namespace {

Import imported(const std::string& text, std::uint32_t acl = 1) {
  return import_text(*find_import_format("classbench"), text, {acl});
}

constexpr const char* FORM =
    " | A line is: @SRC/LEN DST/LEN LOW : HIGH LOW : HIGH 0xPR/0xMA 0xFLAG/0xMASK, with a tab "
    "behind each field.";

TEST(ImportClassbench, TheSmallSetBecomesOneList) {
  const Import import = imported(example("classbench-acl1-1k.rules"), 10);
  EXPECT_EQ(shown_faults(import.faults), Texts{});
  EXPECT_EQ(notes_of(import), Texts{});
  EXPECT_EQ(import.configuration.of(ACL).size(), 1U);
  EXPECT_EQ(rules_of(import), 942U);
  const std::string text = printed(import);
  EXPECT_TRUE(text.starts_with("acl 10 type 0\n  rule 1 permit src-ip 176.19.181.33/32 "))
      << text.substr(0, 200);
  EXPECT_TRUE(text.ends_with("\n  rule 942 permit\n"));
}

TEST(ImportClassbench, TheLargeSetBecomesOneList) {
  const Import import = imported(example("classbench-acl1-10k.rules"));
  EXPECT_EQ(shown_faults(import.faults), Texts{});
  EXPECT_EQ(rules_of(import), 9774U);
  const std::string text = printed(import);
  EXPECT_NE(text.find("  rule 1 permit src-ip 186.11.101.36/32 dst-ip 20.69.109.43/32 protocol 6 "
                      "dst-port 1521 tcp-flags 0x1000/0x1000\n"),
            std::string::npos);
}

TEST(ImportClassbench, EveryBadLineIsNamedWithItsPlace) {
  EXPECT_EQ(shown_faults(imported("@0.0.0.0/0\t0.0.0.0/0\t0 : 65535\t0 : 65535\t0x00/0x00\t"
                                  "0x0000/0x0000\t\r\n"
                                  "# comment\n"
                                  "@10.0.0.999/8\n"
                                  "\n")
                             .faults),
            (Texts{"2:1+9 '@' expected." + std::string(FORM),
                   "3:2+12 IPv4 address expected." + std::string(FORM),
                   "4:1+1 '@' expected." + std::string(FORM)}));
}

TEST(ImportClassbench, AnEmptySetIsAFault) {
  EXPECT_EQ(shown_faults(imported("").faults), Texts{"0:0+0 the set has no rules."});
}

TEST(ImportFormats, AreFoundByTheirNames) {
  EXPECT_EQ(find_import_format("classbench")->name, "classbench");
  EXPECT_EQ(find_import_format("openconfig-acl")->name, "openconfig-acl");
  EXPECT_EQ(find_import_format("flat-config")->name, "flat-config");
  EXPECT_EQ(find_import_format("flat"), nullptr);
  EXPECT_EQ(import_formats().size(), 3U);
}

}  // namespace
