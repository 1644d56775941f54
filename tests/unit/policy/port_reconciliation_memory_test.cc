// Memory that runs out at every point of a reconciliation, and what becomes of
// it as soon as there is some again.
#include <gtest/gtest.h>

#include <initializer_list>
#include <optional>
#include <string>

#include "framework/base/retry_timer.h"
#include "policy/store/port_reconciliation.h"
#include "tests/simulation/sim_world.h"
#include "tests/support/log_capture.h"
#include "tests/unit/policy/counted_memory.h"
#include "tests/unit/policy/store_samples.h"

namespace {

const std::string LAG(100, 'l');
const std::string LONG(100, 'x');
const std::string WARNING =
    "WARNING POLICY warn_once: Cannot follow the interface tree: out of memory.";

SifMgrIfAtom member(const std::string& name) {
  SifMgrIfAtom atom(name);
  atom.set_lag(true, LAG);
  return atom;
}

SifMgrIfTree tree_of(std::initializer_list<SifMgrIfAtom> atoms) {
  SifMgrIfTree tree;
  for (const SifMgrIfAtom& atom : atoms) tree.add(atom);
  return tree;
}

// One interface stays and joins an aggregate, one goes, two are new.
const SifMgrIfTree OLD = tree_of({SifMgrIfAtom("0/1/1"), SifMgrIfAtom("0/1/3")});
const SifMgrIfTree LIVE = tree_of({member("0/1/1"), member("0/1/2"), SifMgrIfAtom(LONG)});

class ReconciliationOutOfMemory : public ::testing::Test {
 protected:
  ReconciliationOutOfMemory() {
    // The loop's own memory does not run out.
    Timer(_world.loop(), [] {}).schedule_after(Duration::zero());
    make();
  }

  // As after the old tree was followed.
  void make() {
    _reconciliation.reset();
    _tree.emplace();
    _snapshot = SifMgrIfTree();
    _live = OLD;
    _reconciliation.emplace(_world.loop(), *_tree, _live, _snapshot, [] {});
    _reconciliation->updates_made();
  }
  // Whether the allocation after the next `successes` ones was asked for.
  bool follow_with(std::size_t successes, std::size_t failures = MemoryLimit::ALL) {
    const MemoryLimit limit(successes, failures);
    _reconciliation->updates_made();
    return MemoryLimit::was_reached();
  }
  // Runs `check` after every way in which following `live` can fail, and once
  // after it did not.
  template <typename Check>
  void after_every_failure(const SifMgrIfTree& live, Check check) {
    LogCapture log;
    bool reached = true;
    for (std::size_t successes = 0; reached; ++successes) {
      SCOPED_TRACE(successes);
      make();
      _live = live;
      reached = follow_with(successes);
      check();
    }
  }
  // Long enough for a retry, however often it failed.
  void wait() { _world.run_for(2 * RetryTimer::LONGEST); }

  void expect_live_is_followed() {
    EXPECT_EQ(_snapshot, _live);
    Texts names;
    _tree->get_port_names(names);
    Texts expected;
    for (const auto& [name, atom] : _live.atoms()) expected.push_back(name);
    ASSERT_EQ(names, expected);
    for (const auto& [name, atom] : _live.atoms()) {
      const PolicyPortInfo& port = *_tree->find_port(name);
      if (port.special_card) continue;
      EXPECT_EQ(port.lag_member, atom.lagmember()) << name;
      EXPECT_EQ(port.lag_name, atom.lagname()) << name;
    }
  }

  SimWorld _world{1};
  std::optional<PolicyTree> _tree;
  SifMgrIfTree _live;
  SifMgrIfTree _snapshot;
  std::optional<PortReconciliation> _reconciliation;
};

TEST_F(ReconciliationOutOfMemory, IsMadeGoodWithoutAnyNews) {
  after_every_failure(LIVE, [this] {
    wait();
    expect_live_is_followed();
  });
}

TEST_F(ReconciliationOutOfMemory, IsMadeGoodByNewsThatComeBeforeTheRetry) {
  after_every_failure(LIVE, [this] {
    _live.add(SifMgrIfAtom("0/1/3"));
    _reconciliation->updates_made();
    expect_live_is_followed();
  });
}

TEST_F(ReconciliationOutOfMemory, LeavesNoRecordOfAnInterfaceThatThenGoes) {
  after_every_failure(LIVE, [this] {
    _live = tree_of({SifMgrIfAtom("0/9/9")});
    _reconciliation->updates_made();
    expect_live_is_followed();
  });
}

TEST_F(ReconciliationOutOfMemory, LeavesNoMembershipOfAnInterfaceThatThenLeavesItsAggregate) {
  after_every_failure(LIVE, [this] {
    _live = tree_of({SifMgrIfAtom("0/1/1"), SifMgrIfAtom("0/1/2")});
    _reconciliation->updates_made();
    expect_live_is_followed();
  });
}

TEST_F(ReconciliationOutOfMemory, KeepsAKnownMemberThatCouldNotLeaveUntilItCan) {
  SifMgrIfAtom renamed("0/1/1");
  renamed.set_lag(false, LONG + LONG);
  const SifMgrIfTree left = tree_of({renamed});
  const SifMgrIfTree joined = tree_of({member("0/1/1")});
  LogCapture log;
  bool reached = true;
  for (std::size_t successes = 0; reached; ++successes) {
    make();
    _live = joined;
    _reconciliation->updates_made();
    _live = left;
    reached = follow_with(successes);
    EXPECT_EQ(_tree->find_port("0/1/1")->lag_member, reached) << successes;
    wait();
    expect_live_is_followed();
  }
}

TEST_F(ReconciliationOutOfMemory, IsTriedAgainSoon) {
  LogCapture log;
  _live = LIVE;
  ASSERT_TRUE(follow_with(0));
  EXPECT_EQ(_snapshot, OLD);
  _world.run_for(RetryTimer::FIRST);
  expect_live_is_followed();
}

TEST_F(ReconciliationOutOfMemory, IsNotTriedAgainOnceStopped) {
  LogCapture log;
  _live = LIVE;
  ASSERT_TRUE(follow_with(0));
  _reconciliation->stop();
  wait();
  EXPECT_EQ(_snapshot, OLD);
}

TEST_F(ReconciliationOutOfMemory, IsWarnedAboutOnceUntilAllWasFollowedAgain) {
  LogCapture log;
  bool reached = true;
  for (std::size_t successes = 0; reached; ++successes) {
    make();
    _live = LIVE;
    reached = follow_with(successes, 1);
    EXPECT_EQ(log.take_lines(), reached ? Texts{WARNING} : Texts{}) << successes;
    if (!reached) break;
    ASSERT_TRUE(follow_with(0, 1));
    EXPECT_EQ(log.take_lines(), Texts{}) << successes;
  }
  _live = OLD;
  ASSERT_TRUE(follow_with(0, 1));
  EXPECT_EQ(log.take_lines(), Texts{WARNING});
}

TEST_F(ReconciliationOutOfMemory, IsWarnedAboutAsSoonAsThereIsMemoryForTheWarning) {
  LogCapture log;
  _live = LIVE;
  ASSERT_TRUE(follow_with(0));
  EXPECT_EQ(log.take_lines(), Texts{});
  ASSERT_TRUE(follow_with(0, 1));
  EXPECT_EQ(log.take_lines(), Texts{WARNING});
}

}  // namespace
