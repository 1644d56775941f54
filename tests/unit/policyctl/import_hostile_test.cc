// Texts that are cut off, damaged or made to hurt.
#include <random>

#include "tests/unit/policyctl/imported.h"

namespace {

struct Sample {
  const char* format;
  const char* file;
};

constexpr Sample SAMPLES[] = {
    {"classbench", "classbench-acl1-1k.rules"},
    {"openconfig-acl", "sources/acl-tree.json"},
    {"flat-config", "sources/qos-dot1p.json"},
    {"flat-config", "sources/config-flat.json"},
};

// Either it says what is wrong, or what it made can be used; and whatever it says
// is a line each.
void expect_sound(const Import& import) {
  if (import.faults.empty()) (void)printed(import);
  for (const Fault& fault : import.faults) {
    EXPECT_FALSE(fault.message.empty());
    EXPECT_EQ(fault.message.find_first_of("\n\r\x1b"), std::string::npos);
    EXPECT_LT(fault.message.size(), 400U);
  }
  for (const ImportNote& note : import.notes) {
    EXPECT_EQ(note_line(note).find_first_of("\n\r\x1b"), std::string::npos);
  }
}

TEST(ImportHostile, ATreeThatIsCutOffIsAFaultWherever) {
  const std::string text = example("sources/acl-tree.json");
  const std::size_t end = text.find_last_of('}');
  for (std::size_t length = 0; length <= end; length += 7) {
    const Import import =
        import_text(*find_import_format("openconfig-acl"), text.substr(0, length), {});
    ASSERT_EQ(import.faults.size(), 1U) << length;
    ASSERT_GT(import.faults[0].line, 0U) << length;
  }
}

TEST(ImportHostile, DamagedTextsAreImportedOrRefusedSoundly) {
  std::mt19937 random(7);
  const std::string bytes("{}[]\",:|/0129.-x\\\n\t\0\xff", 22);
  for (const Sample& sample : SAMPLES) {
    const std::string text = example(sample.file).substr(0, 20000);
    for (int round = 0; round < 60; ++round) {
      std::string damaged = text;
      for (int damage = 0; damage < 1 + round % 4; ++damage) {
        damaged[random() % damaged.size()] = bytes[random() % bytes.size()];
      }
      expect_sound(import_text(*find_import_format(sample.format), damaged, {}));
    }
  }
}

// Every scalar of the example in turn becomes something else.
TEST(ImportHostile, ValuesOfAnyKindAreImportedOrRefusedSoundly) {
  const std::string text = example("sources/acl-tree.json");
  for (const char* const value : {"null", "[]", "{}", "-1", "1e300", "99999999999999999999999999",
                                  "\"\"", "\"\\u0000\\n\"", "true", "\"10.0.0.0/8/8\""}) {
    std::size_t count = 0;
    for (std::size_t at = text.find("\": "); at != std::string::npos;
         at = text.find("\": ", at + 1)) {
      if (text[at + 3] == '{') continue;
      const std::size_t end =
          text.find_first_of(",\n", text[at + 3] == '"' ? text.find('"', at + 4) : at);
      std::string changed = text;
      expect_sound(import_text(*find_import_format("openconfig-acl"),
                               changed.replace(at + 3, end - at - 3, value), {}));
      ++count;
    }
    EXPECT_EQ(count, 109U) << value;
  }
}

TEST(ImportHostile, NamesCannotBreakOutOfALine) {
  const Import import = import_text(
      *find_import_format("flat-config"),
      R"({"a\ncos flag on": {"k": {}}, "ACL_TABLE|x\n\u001b[2J": {"type": "\n", "ports@": "p\n1"},
          "ACL_RULE|x\n\u001b[2J|\"": {"PRIORITY": 1, "PACKET_ACTION": "DROP", "VLAN_ID": 1}})",
      {});
  EXPECT_EQ(shown_faults(import.faults), Texts{});
  expect_sound(import);
  EXPECT_EQ(printed(import),
            "acl 1 type 0 description \"x\\n\\x1b[2J\"\n"
            "  rule 1 deny vlan 1 description \"\\\"\"\n"
            "interface \"p\\n1\"\n"
            "  filter acl 1 rule 1\n");
  EXPECT_EQ(note_line(import.notes.back()), "a?cos flag on: 1 entry: policyd keeps no such table.");
}

TEST(ImportHostile, ALargeTextOfOneValueIsNotQuotedWhole) {
  const std::string huge(1000000, 'x');
  expect_sound(import_text(*find_import_format("flat-config"), "\"" + huge, {}));
  expect_sound(import_text(*find_import_format("flat-config"), "\"" + huge + "\"", {}));
  expect_sound(
      import_text(*find_import_format("flat-config"),
                  R"({"ACL_RULE|T|R": {"PACKET_ACTION": "DROP", "SRC_IP": ")" + huge + "\"}}", {}));
  expect_sound(import_text(*find_import_format("classbench"), huge, {}));
}

}  // namespace
