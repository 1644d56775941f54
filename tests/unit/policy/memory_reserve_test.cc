#include "policy/store/memory_reserve.h"

#include <sys/resource.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <forward_list>
#include <fstream>
#include <new>
#include <string>

#include "tests/support/sanitizers.h"
#include "tests/unit/policy/target_fixture.h"

namespace {

class Reserve : public TargetFixture {
 protected:
  void SetUp() override {
    if (SANITIZER_TAKES_MEMORY) {
      GTEST_SKIP() << "a sanitizer's own address space is past any limit";
    }
  }

  // Leaves this process `bytes` beside what it has.
  static void limit_memory(std::size_t bytes) {
    std::ifstream statm("/proc/self/statm");
    std::size_t pages = 0;
    statm >> pages;
    const rlim_t limit = pages * 4096 + bytes;
    const rlimit both{limit, limit};
    check(setrlimit(RLIMIT_AS, &both) == 0, "setrlimit");
  }

  // For the process that a death test makes: says what is wrong and ends it.
  static void check(bool holds, const std::string& what) {
    if (holds) return;
    std::fprintf(stderr, "%s\n", what.c_str());
    std::_Exit(1);
  }

  std::string create_rule(std::uint32_t rule) {
    static const std::string value(200, 'v');
    return call("create_rule?acl:u32=10&rule:u32=" + std::to_string(rule) +
                "&action:u32=0&flags:list=:u32=1,:u32=2&values:list=:txt=" + value +
                ",:txt=" + value);
  }

  // What the rest of the process takes, which may draw on the reserve.
  using Blocks = std::forward_list<std::array<char, 8192>>;
  static Blocks take_all_memory() {
    Blocks blocks;
    try {
      while (true) blocks.emplace_front();
    } catch (const std::bad_alloc&) {
      return blocks;
    }
  }

  // Creates rules until one is refused; answers its number.
  std::uint32_t fill() {
    check(call("create_acl?acl:u32=10&type:u32=0") == OKAY, "create_acl");
    std::uint32_t rule = 0;
    while (create_rule(rule) == OKAY) ++rule;
    return rule;
  }
};

constexpr std::size_t ROOM = std::size_t{16} << 20U;

TEST_F(Reserve, IsHeldWholeAndGivenBack) {
  const MemoryReserve reserve;
  EXPECT_EQ(reserve.blocks_held(), MemoryReserve::BLOCKS);
}

TEST_F(Reserve, IsDrawnUponAgainAfterWhatMustNotTouchIt) {
  const MemoryReserve reserve;
  {
    const MemoryReserve::Untouched untouched;
    EXPECT_THROW(std::get_new_handler()(), std::bad_alloc);
  }
  EXPECT_EQ(reserve.blocks_held(), MemoryReserve::BLOCKS);
  EXPECT_NO_THROW(std::get_new_handler()());
  EXPECT_EQ(reserve.blocks_held(), MemoryReserve::BLOCKS - 1);
}

TEST_F(Reserve, LetsARefusedCommandTellItsOwnText) {
  EXPECT_EXIT(
      {
        const MemoryReserve reserve;
        limit_memory(ROOM);
        const std::uint32_t refused = fill();
        for (int again = 0; again < 1000; ++again) {
          check(create_rule(refused) == "102 failed to create acl.", create_rule(refused));
        }
        // What is small may still find room in between.
        std::string answer = OKAY;
        for (std::uint32_t acl = 11; answer == OKAY && acl < 1000000; ++acl) {
          answer = call("create_acl?type:u32=0&acl:u32=" + std::to_string(acl));
        }
        check(answer == "102 failed to create acl", answer);
        std::_Exit(0);
      },
      ::testing::ExitedWithCode(0), "");
}

TEST_F(Reserve, LetsAFullStoreBeReadAndTheProcessWorkOn) {
  EXPECT_EXIT(
      {
        const MemoryReserve reserve;
        limit_memory(ROOM);
        const std::uint32_t refused = fill();
        const std::string last = std::to_string(refused - 1);
        check(call("get_rule?acl:u32=10&rule:u32=" + last).size() > 400, "get_rule");
        check(call("get_rule?acl:u32=10&rule:u32=" + std::to_string(refused)) ==
                  "102 the rule does not exist.",
              "the refused rule");
        // What the rest of the process needs to answer.
        const std::string other_needs(100000, 'x');
        check(reserve.blocks_held() < MemoryReserve::BLOCKS, "not drawn upon");
        std::_Exit(0);
      },
      ::testing::ExitedWithCode(0), "");
}

TEST_F(Reserve, IsTakenBackOnceThereIsMemoryAgain) {
  EXPECT_EXIT(
      {
        const MemoryReserve reserve;
        limit_memory(ROOM);
        const std::uint32_t refused = fill();
        for (std::uint32_t rule = 0; rule < refused; ++rule) {
          check(call("delete_rule?acl:u32=10&rule:u32=" + std::to_string(rule)) == OKAY, "delete");
        }
        for (std::uint32_t rule = 0; rule < refused / 2; ++rule) {
          check(create_rule(rule) == OKAY, "create again");
        }
        check(reserve.blocks_held() == MemoryReserve::BLOCKS, "not taken back");
        std::_Exit(0);
      },
      ::testing::ExitedWithCode(0), "");
}

TEST_F(Reserve, RefusesChangesOnceNotEvenHalfOfItCanBeHeld) {
  EXPECT_EXIT(
      {
        const MemoryReserve reserve;
        limit_memory(ROOM);
        {
          const Blocks taken = take_all_memory();
          check(reserve.blocks_held() == 0, "something is left");
          check(call("create_acl?acl:u32=1&type:u32=0") == "102 failed to create acl", "change");
        }
        check(call("create_acl?acl:u32=1&type:u32=0") == OKAY, "change once there is memory");
        check(reserve.blocks_held() == MemoryReserve::BLOCKS, "not taken back");
        std::_Exit(0);
      },
      ::testing::ExitedWithCode(0), "");
}

TEST_F(Reserve, IsNotDrawnUponByAChange) {
  EXPECT_EXIT(
      {
        const MemoryReserve reserve;
        limit_memory(ROOM);
        check(unless_out_of_memory([] {
                const std::string too_much(2 * ROOM, 'x');
                return 0;
              }) == -1,
              "change");
        check(reserve.blocks_held() == MemoryReserve::BLOCKS, "drawn");
        std::_Exit(0);
      },
      ::testing::ExitedWithCode(0), "");
}

}  // namespace
