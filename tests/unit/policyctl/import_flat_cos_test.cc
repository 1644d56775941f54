#include "tests/unit/policyctl/imported.h"

namespace {

Import imported(const std::string& text) {
  return import_text(*find_import_format("flat-config"), text, {});
}

// Queues 0 to 3 of both ports, with the scheduler of each port's last queue.
std::string queues(const std::string& last_of_p1, const std::string& last_of_p2) {
  return R"({"SCHEDULER|s0": {"type": "DWRR", "weight": "14"},
             "SCHEDULER|s1": {"type": "DWRR", "weight": "15"},
             "SCHEDULER|strict": {"type": "STRICT"},
             "QUEUE": {"p1|0-2": {"scheduler": "s0"}, "p1|3": {"scheduler": ")" +
         last_of_p1 + R"("}, "p2|0": {"scheduler": "[SCHEDULER|s0]"},
             "p2|1-2": {"scheduler": "s0"}, "p2|3": {"scheduler": ")" +
         last_of_p2 + "\"}}}";
}

TEST(ImportFlatCos, PriorityMapsAreChainedWithTrafficClasses) {
  const Import import = imported(example("sources/qos-dot1p.json"));
  EXPECT_EQ(shown_faults(import.faults), Texts{});
  EXPECT_EQ(printed(import),
            "cos mapping 0 queue 1\ncos mapping 1 queue 0\ncos mapping 2 queue 2\n"
            "cos mapping 3 queue 3\ncos mapping 4 queue 4\ncos mapping 5 queue 5\n"
            "cos mapping 6 queue 6\ncos mapping 7 queue 7\n");
  EXPECT_EQ(notes_of(import),
            (Texts{"SCHEDULER: 2 entries: no QUEUE names a scheduler; the schedule is left out.",
                   "TC_TO_PRIORITY_GROUP_MAP: 1 entry: policyd keeps no such table.",
                   "MAP_PFC_PRIORITY_TO_QUEUE: 1 entry: policyd keeps no such table.",
                   "WRED_PROFILE: 1 entry: policyd keeps no such table."}));
}

TEST(ImportFlatCos, DscpMapsAreNotedAndNotImported) {
  const Import import = imported(example("sources/qos-dscp.json"));
  EXPECT_EQ(shown_faults(import.faults), Texts{});
  EXPECT_EQ(printed(import), "");
  EXPECT_EQ(notes_of(import),
            (Texts{"/TC_TO_QUEUE_MAP/AZURE: 8 traffic classes: no map of priorities leads to it.",
                   "/DSCP_TO_TC_MAP/AZURE: 64 values: queues of DSCP values are set by a command; "
                   "a configuration does not hold them.",
                   "QUEUE: wred_profile of 88 entries: policyd has nothing like it.",
                   "QUEUE: 308 entries: policyd has weights of queues 0 to 3, all of them and no "
                   "others; the schedule is left out.",
                   "TC_TO_PRIORITY_GROUP_MAP: 1 entry: policyd keeps no such table.",
                   "MAP_PFC_PRIORITY_TO_QUEUE: 1 entry: policyd keeps no such table.",
                   "PORT_QOS_MAP: 45 entries: policyd keeps no such table.",
                   "WRED_PROFILE: 1 entry: policyd keeps no such table."}));
}

TEST(ImportFlatCos, OneMapHoldsForTheWholeSwitch) {
  const Import import = imported(R"({"DOT1P_TO_TC_MAP|a": {"5": "1"},
      "DOT1P_TO_TC_MAP|b": {"5": "2", "6": "2"}, "TC_TO_QUEUE_MAP|b": {"2": "2"},
      "TC_TO_QUEUE_MAP|a": {"1": "7"}})");
  EXPECT_EQ(printed(import), "cos mapping 5 queue 7\n");
  EXPECT_EQ(notes_of(import),
            (Texts{"/DOT1P_TO_TC_MAP|b: 2 priorities: policyd has one map for the whole switch; "
                   "this one is left out.",
                   "/TC_TO_QUEUE_MAP|b: 1 traffic class: no map of priorities leads to it."}));
}

TEST(ImportFlatCos, APriorityWithoutAQueueIsLeftOut) {
  const Import import = imported(R"({"DOT1P_TO_TC_MAP|a": {"1": "1", "2": "2", "3": "3"},
                                     "TC_TO_QUEUE_MAP|x": {"1": "1", "2": "8"}})");
  EXPECT_EQ(shown_faults(import.faults), Texts{});
  EXPECT_EQ(printed(import), "cos mapping 1 queue 1\n");
  EXPECT_EQ(
      notes_of(import),
      (Texts{"/TC_TO_QUEUE_MAP|x/2: '8': policyd has queues 0 to 7; the priority is left out.",
             "/DOT1P_TO_TC_MAP|a/3: traffic class '3': /TC_TO_QUEUE_MAP|x gives it no queue; "
             "the priority is left out."}));
}

TEST(ImportFlatCos, AMapWithoutTrafficClassesLeadsNowhere) {
  EXPECT_EQ(notes_of(imported(R"({"DOT1P_TO_TC_MAP|a": {"1": "1"}})")),
            Texts{"/DOT1P_TO_TC_MAP|a: no TC_TO_QUEUE_MAP: traffic classes lead to queues by a map "
                  "of the same name; there is none."});
}

TEST(ImportFlatCos, WrongNumbersAreFaultsWithTheirPaths) {
  EXPECT_EQ(shown_faults(imported(R"({"DOT1P_TO_TC_MAP|a": {"8": "1", "x": "1", "1": {}, "2": "1"},
                                      "TC_TO_QUEUE_MAP|a": {"1": "many"}})")
                             .faults),
            (Texts{"0:0+0 /DOT1P_TO_TC_MAP|a/8: the name is no 802.1p priority 0..7.",
                   "0:0+0 /DOT1P_TO_TC_MAP|a/x: the name is no 802.1p priority 0..7.",
                   "0:0+0 /DOT1P_TO_TC_MAP|a/1: a text or number is expected, not an object.",
                   "0:0+0 /TC_TO_QUEUE_MAP|a/1: 'many' is no number 0..4294967295."}));
  EXPECT_EQ(shown_faults(imported(R"({"SCHEDULER|s": {"type": "DWRR", "weight": "heavy"},
                                      "QUEUE|p": {}, "QUEUE|p|3-1": {}, "QUEUE|p|4000000000": {}})")
                             .faults),
            (Texts{"0:0+0 /SCHEDULER|s/weight: 'heavy' is no number 0..4294967295.",
                   "0:0+0 /QUEUE|p: an entry is named PORT|QUEUE.",
                   "0:0+0 /QUEUE|p|3-1: the key names no queue or range of queues.",
                   "0:0+0 /QUEUE|p|4000000000: the key names no queue or range of queues."}));
}

TEST(ImportFlatCos, WeightsOfFourQueuesThatAllPortsShareAreImported) {
  const Import import = imported(queues("s1", "s1"));
  EXPECT_EQ(shown_faults(import.faults), Texts{});
  EXPECT_EQ(printed(import), "cos schedule algorithm 0 weights 14 14 14 15\n");
  EXPECT_EQ(notes_of(import),
            (Texts{"/SCHEDULER|strict/type: 'STRICT': policyd has nothing like it.",
                   "SCHEDULER: type DWRR: the algorithms of policyd have numbers and no names; "
                   "check that 0 is meant."}));
}

TEST(ImportFlatCos, AnyOtherScheduleIsNotedAndLeftOut) {
  const auto last_note = [](const std::string& text) {
    const Import import = imported(text);
    EXPECT_EQ(printed(import), "");
    return import.notes.empty() ? "" : note_line(import.notes.back());
  };
  EXPECT_EQ(last_note(queues("s1", "s0")),
            "QUEUE: 5 entries: policyd has one schedule for all ports, and they differ; "
            "the schedule is left out.");
  EXPECT_EQ(last_note(queues("strict", "strict")),
            "QUEUE: 5 entries: queue 3 has no scheduler with a DWRR weight; "
            "the schedule is left out.");
  EXPECT_EQ(last_note(R"({"SCHEDULER|s": {"type": "DWRR", "weight": 1},
                          "QUEUE|p|0-4": {"scheduler": "s"}})"),
            "QUEUE: 1 entry: policyd has weights of queues 0 to 3, all of them and no others; "
            "the schedule is left out.");
}

TEST(ImportFlatCos, AScheduleThatSomePortsHaveNotIsNotedAndLeftOut) {
  const auto with_ports = [](const std::string& ports) {
    const std::string text = queues("s1", "s1");
    return imported(text.substr(0, text.size() - 1) + ", \"PORT\": {" + ports + "}}");
  };
  EXPECT_EQ(printed(with_ports(R"("p1": {}, "p2": {})")),
            "cos schedule algorithm 0 weights 14 14 14 15\n");
  const Import import = with_ports(R"("p1": {}, "p2": {}, "p3": {})");
  EXPECT_EQ(printed(import), "");
  EXPECT_EQ(notes_of(import),
            (Texts{"/SCHEDULER|strict/type: 'STRICT': policyd has nothing like it.",
                   "QUEUE: 5 entries: policyd has one schedule for all ports, and some have none "
                   "here; the schedule is left out.",
                   "PORT: 3 entries: policyd keeps no such table."}));
}

}  // namespace
