// policyd where memory is short: what does not fit is refused, what was
// acknowledged stays. What is asked fits into what it keeps back for answering;
// a request that does not loses its connection.
#include <sys/resource.h>

#include "framework/xrl/limits.h"
#include "framework/xrl/xrl_args.h"
#include "tests/integration/real_daemon.h"
#include "tests/support/sanitizers.h"

namespace {

constexpr rlim_t ADDRESS_SPACE = 64U << 20U;

class MemoryLimit : public RealDaemon {
 protected:
  void SetUp() override {
    if (SANITIZER_TAKES_MEMORY) {
      GTEST_SKIP() << "a sanitizer takes more address space than policyd is to be left";
    }
    start_without_switch();
    const rlimit limit{ADDRESS_SPACE, ADDRESS_SPACE};
    ASSERT_EQ(prlimit(plane.policyd->pid(), RLIMIT_AS, &limit, nullptr), 0);
    hold({{"create_acl?acl:u32=1&type:u32=1", "100"}});
  }

  static std::string value_of(std::uint32_t rule, std::size_t bytes) {
    std::string value = std::to_string(rule) + " ";
    value.resize(bytes, static_cast<char>('a' + rule % 26));
    return value;
  }
  std::string create_rule(std::uint32_t rule, std::size_t bytes) {
    XrlAtomList flags;
    XrlAtomList values;
    flags.append(5U);
    values.append(value_of(rule, bytes));
    XrlArgs args;
    args.add({"acl", 1U});
    args.add({"rule", rule});
    args.add({"action", 1U});
    args.add({"flags", flags});
    args.add({"values", values});
    return policy("create_rule?" + args.str());
  }
  void expect_rule(std::uint32_t rule, std::size_t bytes) {
    EXPECT_EQ(policy("get_rule?acl:u32=1&rule:u32=" + std::to_string(rule)),
              "100 action:u32=1&description:txt=&flags:list=:u32=5&values:list=" +
                  XrlAtom("", value_of(rule, bytes)).str());
  }
  // Creates rules from `first` on until one is refused; answers that one.
  std::uint32_t fill(std::uint32_t first, std::size_t bytes, std::uint32_t most) {
    for (std::uint32_t rule = first; rule < first + most; ++rule) {
      const std::string answer = create_rule(rule, bytes);
      if (answer == "100") continue;
      EXPECT_EQ(answer, "102 failed to create acl.") << rule;
      return rule;
    }
    ADD_FAILURE() << "memory does not run out";
    return first + most;
  }
};

TEST_F(MemoryLimit, ARuleThatDoesNotFitIsRefusedAndTheRestStays) {
  constexpr std::size_t BYTES = 50000;
  const std::uint32_t end = fill(0, BYTES, 5000);
  EXPECT_GT(end, 100U);
  for (std::uint32_t rule = 0; rule < end; ++rule) expect_rule(rule, BYTES);
  hold({{"get_rule?acl:u32=1&rule:u32=" + std::to_string(end), "102 the rule does not exist."}});
  // What is given back can be used again, though a buffer for input or the reserve may
  // have come before.
  for (std::uint32_t rule = 3; rule < 13; ++rule) {
    hold({{"delete_rule?acl:u32=1&rule:u32=" + std::to_string(rule), "100"}});
  }
  EXPECT_EQ(create_rule(3, BYTES), "100");
  expect_rule(3, BYTES);
  hold({{"delete_acl?acl:u32=1", "100"},
        {"get_acls", "100 acls:list=&types:list=&descriptions:list="},
        {"create_acl?acl:u32=1&type:u32=1", "100"}});
  // As many fit again, but for what the heap has been cut into.
  EXPECT_GT(fill(0, BYTES, 5000), end / 2);
}

TEST_F(MemoryLimit, SmallerAndSmallerRulesFillWhatIsLeft) {
  std::uint32_t next = 0;
  std::vector<std::pair<std::uint32_t, std::size_t>> kept;
  for (const std::size_t bytes : {50000U, 10000U, 2000U}) {
    const std::uint32_t end = fill(next, bytes, 2000);
    for (; next < end; ++next) kept.emplace_back(next, bytes);
    ++next;
  }
  for (const auto& [rule, bytes] : kept) expect_rule(rule, bytes);
  const std::string rules = policy("get_rules?acl:u32=1");
  XrlAtomList expected;
  for (const auto& [rule, bytes] : kept) expected.append(rule);
  EXPECT_EQ(rules, "100 " + XrlAtom("rules", expected).str() + "&type:u32=1");
}

TEST_F(MemoryLimit, AnAnswerThatDoesNotFitIsRefused) {
  const std::string description(1000000, 'd');
  for (const std::string acl : {"2", "3", "4", "5", "6"}) {
    hold({{"create_acl?type:u32=1&acl:u32=" + acl, "100"},
          {"set_acl_description?acl:u32=" + acl + "&description:txt=" + description, "100"}});
  }
  fill(0, 50000, 5000);
  hold({{"get_acls", "220 out of memory."}});
  expect_rule(0, 50000);
  for (const std::string acl : {"2", "3", "4", "5", "6"}) {
    hold({{"delete_acl?acl:u32=" + acl, "100"}});
  }
  hold({{"get_acls", "100 acls:list=:u32=1&types:list=:u32=1&descriptions:list=:txt="}});
}

TEST_F(MemoryLimit, WhateverElseDoesNotFitIsRefusedWithItsOwnText) {
  constexpr std::uint32_t ACLS = 200;
  for (std::uint32_t acl = 2; acl <= ACLS; ++acl) {
    hold({{"create_acl?type:u32=0&acl:u32=" + std::to_string(acl), "100"}});
  }
  std::uint32_t last = ACLS;
  // Asks again and again, N being a new number, until the answer is not 100.
  const auto refusal = [&](const std::string& before, const std::string& after) {
    std::string answer = "100";
    for (int i = 0; i < 1000000 && answer == "100"; ++i) {
      answer = policy(before + std::to_string(++last) + after);
    }
    return answer;
  };
  const std::string numbers =
      "&number1:u32=1&number2:u32=2&flag:bool=true&number3:u32=3&number4:u32=4";
  for (const std::size_t bytes : {50000U, 2000U, 100U}) {
    EXPECT_EQ(refusal("create_time_range?name:txt=", std::string(bytes, 'n') + numbers),
              "102 failed to create time range.");
  }
  EXPECT_EQ(policy("get_time_range?name:txt=" + std::to_string(last) + std::string(100, 'n')),
            "102 time range does not exist.");
  EXPECT_EQ(refusal("create_acl?type:u32=0&acl:u32=", ""), "102 failed to create acl");
  // How the requests came in pieces decides what is left, so one may still fit.
  last = 0;
  EXPECT_EQ(
      refusal("set_acl_description?description:txt=" + std::string(50000, 'd') + "&acl:u32=", ""),
      "102 out of memory.");
  EXPECT_LE(last, ACLS);
  hold({{"get_acl_description?acl:u32=" + std::to_string(last), "100 description:txt="},
        {"clear_time_ranges", "100"},
        {"set_acl_description?acl:u32=" + std::to_string(last) + "&description:txt=d", "100"}});
}

TEST_F(MemoryLimit, VlansThatDidNotFitAreThereOnceTheyDo) {
  constexpr std::uint32_t FIRST = 100;
  constexpr std::uint32_t END = 400;
  plane.start_chassis();
  ASSERT_TRUE(until([this] { return has_port("eth-0/1/1") && has_vlan(20); }));
  for (const std::uint32_t bytes : {50000U, 2000U, 100U}) fill(bytes, bytes, 5000);
  std::string answer = "100";
  for (std::uint32_t vlan = 5000; vlan < 100000 && answer == "100"; ++vlan) {
    answer = vlan_event(1, vlan);
  }
  EXPECT_EQ(answer, "220 out of memory.");
  for (std::uint32_t vlan = FIRST; vlan < END; ++vlan) {
    ASSERT_EQ(chassis("create_vlan?vlan_id:u32=" + std::to_string(vlan)), "100");
  }
  hold({{"delete_acl?acl:u32=1", "100"}});
  for (std::uint32_t vlan = FIRST; vlan < END; ++vlan) {
    ASSERT_TRUE(until([&] { return has_vlan(vlan); })) << vlan;
  }
}

TEST_F(MemoryLimit, ARuleAsLargeAsATextMayBeIsRefusedAsAnyOther) {
  // Whatever else has found room in between.
  constexpr std::size_t LARGEST = xrl_limits::MAX_TEXT_BYTES;
  std::uint32_t next = 0;
  for (const std::size_t bytes :
       {LARGEST, std::size_t{50000}, LARGEST, std::size_t{2000}, LARGEST}) {
    const std::uint32_t end = fill(next, bytes, 5000);
    // How the requests came in pieces decides what is left, so none may have fitted.
    if (bytes < LARGEST && next < end) expect_rule(next, bytes);
    next = end + 1;
  }
}

TEST_F(MemoryLimit, ItLeavesInOrderAlsoWhenMemoryHasRunOut) {
  fill(0, 50000, 5000);
  EXPECT_EQ(shut_down(), "100");
  EXPECT_EQ(plane.policyd->wait(), 0);
}

}  // namespace
