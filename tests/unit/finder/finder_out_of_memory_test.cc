// The registry where memory runs out at any place of an operation.
#include <gtest/gtest.h>

#include <functional>
#include <new>
#include <string>
#include <vector>

#include "tests/unit/finder/finder_samples.h"
#include "tests/unit/policy/counted_memory.h"

namespace {

using finder_samples::observer;
using finder_samples::own_target;
using finder_samples::target;

// Names longer than what a string holds within itself.
const std::string WATCHER = "watcher-0123456789abcdef";
const std::string KEEPER = "keeper-0123456789abcdef";
const std::string VLAN = "vlan-manager-of-the-switch";
const std::string POLICY = "policy-daemon-of-the-switch";

// A watcher of two classes, one of which lives, and one that knows the latter.
struct Scene {
  Scene() {
    watcher = *registry.open_session();
    vlan = *registry.open_session();
    knowing = *registry.open_session();
    other = *registry.open_session();
    accept(registry.register_target(watcher, observer("watcher", WATCHER)));
    accept(registry.register_target(knowing, observer("keeper", KEEPER)));
    accept(registry.register_target(vlan, target(VLAN, VLAN + "-1")));
    accept(registry.register_interest(watcher, WATCHER, VLAN));
    accept(registry.register_interest(watcher, WATCHER, POLICY));
    const FinderTarget* found = nullptr;
    accept(registry.resolve(knowing, VLAN, found));
    static_cast<void>(registry.take_notices());
  }
  static void accept(const XrlCmdError& answer) {
    ASSERT_TRUE(answer.is_okay()) << answer.error().str();
  }

  // All that can be asked for.
  std::string str() {
    std::string text;
    for (const FinderTarget* each : registry.targets()) {
      text += each->class_name + " " + each->instance_name + " " + each->addresses[0] + "\n";
    }
    for (const FinderInterest& each : registry.interests()) {
      text += each.requester + " in " + each.class_name + "\n";
    }
    return text + told();
  }
  std::string told() {
    std::string text;
    for (const FinderNotice& notice : registry.take_notices()) {
      text += finder_samples::str(notice) + "\n";
    }
    return text;
  }
  // And what shows only when all goes to its end.
  std::string ends() {
    std::string text = str();
    for (const FinderSession session : {vlan, other, watcher, knowing}) {
      registry.close_session(session);
      text += str();
    }
    return text;
  }

  FinderRegistry registry{own_target()};
  FinderSession watcher{};
  FinderSession vlan{};
  FinderSession knowing{};
  FinderSession other{};
};

using Operation = std::function<XrlCmdError(Scene&)>;

// Lets memory run out at each place in turn.
void expect_all_or_nothing(const Operation& operation) {
  Scene undisturbed;
  const std::string before = Scene().str();
  Scene::accept(operation(undisturbed));
  const std::string ends = undisturbed.ends();
  std::size_t failures = 0;
  for (bool failed = true; failed;) {
    Scene scene;
    failed = false;
    try {
      const MemoryLimit limit(failures);
      Scene::accept(operation(scene));
    } catch (const std::bad_alloc&) {
      failed = true;
    }
    if (failed) {
      ++failures;
      ASSERT_EQ(scene.str(), before) << failures;
      Scene::accept(operation(scene));
    }
    ASSERT_EQ(scene.ends(), ends) << failures;
  }
  EXPECT_GT(failures, 0U);
}

TEST(FinderOutOfMemory, ATargetIsBornWithItsNewsOrNotAtAll) {
  expect_all_or_nothing([](Scene& scene) {
    return scene.registry.register_target(scene.other, target(POLICY, POLICY + "-1"));
  });
}

TEST(FinderOutOfMemory, ATargetIsRegisteredAnewWithItsNewsOrStaysAsItWas) {
  expect_all_or_nothing([](Scene& scene) {
    FinderTarget moved = target(VLAN, VLAN + "-1");
    moved.addresses = {"10.0.0.1:1234"};
    return scene.registry.register_target(scene.vlan, std::move(moved));
  });
}

TEST(FinderOutOfMemory, ATargetDiesWithItsNewsOrLivesOn) {
  expect_all_or_nothing(
      [](Scene& scene) { return scene.registry.deregister_target(scene.vlan, VLAN + "-1"); });
}

TEST(FinderOutOfMemory, AnInterestIsKeptWithItsNewsOrNotAtAll) {
  expect_all_or_nothing([](Scene& scene) {
    return scene.registry.register_interest(scene.watcher, WATCHER, "watcher");
  });
  expect_all_or_nothing([](Scene& scene) {
    return scene.registry.register_interest(scene.watcher, WATCHER, POLICY + "-of-tomorrow");
  });
}

TEST(FinderOutOfMemory, AnInterestIsKeptBesideAnothersOrNotAtAll) {
  expect_all_or_nothing(
      [](Scene& scene) { return scene.registry.register_interest(scene.knowing, KEEPER, VLAN); });
}

TEST(FinderOutOfMemory, ADeathThatCannotBeToldPutsThoseOutOfStepWhoWereToHearOfIt) {
  Scene scene;
  const FinderTarget* found = nullptr;
  Scene::accept(scene.registry.resolve(scene.watcher, VLAN, found));
  {
    const MemoryLimit limit(0);
    scene.registry.close_session(scene.vlan);
  }
  EXPECT_TRUE(scene.registry.is_out_of_step(scene.watcher));
  EXPECT_TRUE(scene.registry.is_out_of_step(scene.knowing));
  EXPECT_FALSE(scene.registry.is_out_of_step(scene.other));
  scene.registry.close_session(scene.watcher);
  EXPECT_TRUE(scene.registry.is_out_of_step());
  scene.registry.close_session(scene.knowing);
  EXPECT_FALSE(scene.registry.is_out_of_step());
}

TEST(FinderOutOfMemory, ADeathOfNobodysInterestPutsThoseOutOfStepWhoKnewOfIt) {
  Scene scene;
  Scene::accept(scene.registry.register_target(scene.other, target("printer", "printer-1")));
  const FinderTarget* found = nullptr;
  Scene::accept(scene.registry.resolve(scene.knowing, "printer", found));
  {
    const MemoryLimit limit(0);
    scene.registry.close_session(scene.other);
  }
  EXPECT_TRUE(scene.registry.is_out_of_step(scene.knowing));
  EXPECT_FALSE(scene.registry.is_out_of_step(scene.watcher));
}

TEST(FinderOutOfMemory, WhoResolvedATargetIsRememberedOrToldOfTheFailure) {
  expect_all_or_nothing([](Scene& scene) {
    const FinderTarget* found = nullptr;
    return scene.registry.resolve(scene.other, VLAN, found);
  });
}

}  // namespace
