#include "framework/base/callback.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace {

using Done = XorpCallback1<void, const std::string&>::RefPtr;

class Counted : public RefCounted {
 public:
  explicit Counted(int& live) : _live(live) { ++_live; }
  ~Counted() override { --_live; }

 private:
  int& _live;
};

class MoreCounted : public Counted {
 public:
  using Counted::Counted;
};

class Owner {
 public:
  explicit Owner(std::vector<std::string>& told) : _told(told) {}

  Done plain() { return callback(_lifeline, this, &Owner::sent); }
  Done bound(unsigned priority, const std::string& queue) {
    return callback(_lifeline, this, &Owner::sent_for, priority, queue);
  }
  Done lambda() {
    return callback(_lifeline, [this](const std::string& text) { _told.push_back(text); });
  }

 private:
  void sent(const std::string& text) { _told.push_back(text); }
  void sent_for(const std::string& text, unsigned priority, const std::string& queue) {
    _told.push_back(text + " " + std::to_string(priority) + " " + queue);
  }

  std::vector<std::string>& _told;
  Lifeline _lifeline;
};

TEST(RefPtr, TheLastShareDestroysTheObject) {
  int live = 0;
  ref_ptr<Counted> one(new Counted(live));
  ref_ptr<Counted> two = one;
  one.reset();
  EXPECT_EQ(live, 1);
  two.reset();
  EXPECT_EQ(live, 0);
}

TEST(RefPtr, MovingHandsTheShareOn) {
  int live = 0;
  ref_ptr<Counted> one(new Counted(live));
  ref_ptr<Counted> two = std::move(one);
  EXPECT_TRUE(one.is_empty());  // NOLINT(bugprone-use-after-move,clang-analyzer-cplusplus.Move)
  EXPECT_FALSE(two.is_empty());
  EXPECT_EQ(live, 1);
}

TEST(RefPtr, AssigningToItselfKeepsTheObject) {
  int live = 0;
  ref_ptr<Counted> one(new Counted(live));
  const ref_ptr<Counted>& same = one;
  one = same;
  EXPECT_EQ(live, 1);
}

TEST(RefPtr, AssigningGivesUpTheFormerObject) {
  int live = 0;
  ref_ptr<Counted> one(new Counted(live));
  one = ref_ptr<Counted>(new Counted(live));
  EXPECT_EQ(live, 1);
  one = nullptr;
  EXPECT_EQ(live, 0);
}

TEST(RefPtr, TurnsIntoAPointerToTheBase) {
  int live = 0;
  {
    ref_ptr<MoreCounted> more(new MoreCounted(live));
    const ref_ptr<Counted> base = more;
    const ref_ptr<Counted> moved = std::move(more);
    EXPECT_EQ(base, moved);
    EXPECT_EQ(live, 1);
  }
  EXPECT_EQ(live, 0);
}

TEST(RefPtr, EmptyOnesAreEqualAndFalse) {
  EXPECT_EQ(ref_ptr<Counted>(), ref_ptr<Counted>(nullptr));
  EXPECT_FALSE(static_cast<bool>(ref_ptr<Counted>()));
  const ref_ptr<Counted> empty;
  const ref_ptr<Counted> copy(empty);  // NOLINT(performance-unnecessary-copy-initialization)
  EXPECT_TRUE(copy.is_empty());
}

TEST(Callback, AFunctionObjectRunsEachTimeItIsDispatched) {
  int sum = 0;
  XorpCallback<void, int>::RefPtr add = callback([&](int value) { sum += value; });
  add->dispatch(2);
  add->dispatch(3);
  EXPECT_EQ(sum, 5);
}

TEST(Callback, AnswersWhatTheFunctionAnswers) {
  XorpCallback<int, int, int>::RefPtr add = callback([](int a, int b) { return a + b; });
  EXPECT_EQ(add->dispatch(2, 3), 5);
}

TEST(Callback, ReachesAMemberFunction) {
  std::vector<std::string> told;
  Owner owner(told);
  owner.plain()->dispatch("ok");
  EXPECT_EQ(told, (std::vector<std::string>{"ok"}));
}

TEST(Callback, BoundArgumentsFollowTheDispatchedOnes) {
  std::vector<std::string> told;
  Owner owner(told);
  const Done done = owner.bound(7, "low");
  done->dispatch("ok");
  done->dispatch("again");
  EXPECT_EQ(told, (std::vector<std::string>{"ok 7 low", "again 7 low"}));
}

TEST(Callback, DoesNothingOnceItsOwnerIsGone) {
  std::vector<std::string> told;
  std::optional<Owner> owner;
  owner.emplace(told);
  const Done plain = owner->plain();
  const Done bound = owner->bound(1, "x");
  const Done lambda = owner->lambda();
  owner.reset();
  plain->dispatch("ok");
  bound->dispatch("ok");
  lambda->dispatch("ok");
  EXPECT_TRUE(told.empty());
}

TEST(Callback, MayOutliveItsOwnerAndHoldWhatItBinds) {
  const auto held = std::make_shared<int>(1);
  std::optional<Lifeline> lifeline;
  lifeline.emplace();
  XorpCallback<void>::RefPtr done = callback(*lifeline, [held] {});
  lifeline.reset();
  EXPECT_EQ(held.use_count(), 2);
  done.reset();
  EXPECT_EQ(held.use_count(), 1);
}

TEST(Callback, TakesItsArgumentsByMove) {
  std::unique_ptr<int> got;
  XorpCallback<void, std::unique_ptr<int>>::RefPtr take =
      callback([&](std::unique_ptr<int> value) { got = std::move(value); });
  take->dispatch(std::make_unique<int>(4));
  EXPECT_EQ(*got, 4);
}

}  // namespace
