// The process that undoes a change which is not confirmed, when that does not succeed
// at once.
#include <csignal>
#include <set>

#include "tests/integration/finder_tap.h"
#include "tests/integration/policyctl_fixture.h"
#include "tests/support/patience.h"
#include "tools/policyctl/change/journal.h"

namespace {

class Guard : public PolicyctlFixture {
 protected:
  // Everything goes through the tap, which works while the client's loop turns.
  std::unique_ptr<ChildProcess> start(const char* patience_s, std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(),
                     {program("policyctl"), "-F", tap->address(), "--timeout", patience_s});
    return std::make_unique<ChildProcess>(std::move(arguments));
  }
  template <typename Condition>
  bool until(const Condition& condition) {
    return plane.client().until(condition);
  }
  // A change that is made and waits for its confirmation, and a guard for which it has
  // waited too long.
  void let_it_be_undone() {
    tap.emplace(plane);
    const auto applied =
        start(PATIENCE_S, {"apply", "--confirm", "3600", file("a.conf", rules(10, 1, 5))});
    ASSERT_TRUE(until([&] { return !applied->output().empty() || !applied->errors().empty(); }));
    ASSERT_EQ(applied->wait(), 0) << applied->errors();
    const std::string address = tap->address();
    const std::size_t colon = address.find(':');
    directory.emplace(SwitchPlace{address.substr(0, colon), static_cast<std::uint16_t>(std::stoul(
                                                                address.substr(colon + 1)))});
  }
  std::unique_ptr<ChildProcess> start_guard() {
    return start("1", {"guard", read_journal(*directory)->id, "1"});
  }
  // Those who asked the finder under names of their own.
  [[nodiscard]] std::size_t sessions() const {
    constexpr std::string_view NAME = "client-";
    constexpr std::size_t DIGITS = 16;
    const std::string said = tap->said();
    std::set<std::string> names;
    for (auto at = said.find(NAME); at != std::string::npos; at = said.find(NAME, at + 1)) {
      names.insert(said.substr(at + NAME.size(), DIGITS));
    }
    return names.size();
  }

  std::optional<FinderTap> tap;
  std::optional<StateDirectory> directory;
};

TEST_F(Guard, AsksAgainUntilTheSwitchAnswers) {
  let_it_be_undone();
  plane.policyd->signal(SIGSTOP);
  const std::size_t before = sessions();
  const auto guard = start_guard();
  EXPECT_TRUE(until([&] { return sessions() >= before + 2; }));
  plane.policyd->signal(SIGCONT);
  EXPECT_TRUE(until([&] { return !has_journal(*directory); }));
  EXPECT_EQ(guard->wait(), 0) << guard->errors();
  EXPECT_EQ(acls(), "");
}

TEST_F(Guard, UndoesTheRestLaterWhenTheSwitchRefusesSome) {
  let_it_be_undone();
  arm("refuse", 1);
  const auto guard = start_guard();
  EXPECT_TRUE(until([&] { return !has_journal(*directory); }));
  EXPECT_EQ(guard->wait(), 0) << guard->errors();
  EXPECT_EQ(acls(), "");
}

}  // namespace
