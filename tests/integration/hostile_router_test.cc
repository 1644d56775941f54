// What a router bears from the targets it asks, and from those who make it ask
// for many.
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "framework/finder/finder_server.h"
#include "framework/xrl/limits.h"
#include "framework/xrl/router/xrl_std_router.h"
#include "tests/integration/hostile_bytes.h"
#include "tests/integration/hostile_stranger.h"
#include "tests/simulation/sim_world.h"
#include "tests/support/interfaces/echo_xif.h"
#include "tests/support/log_capture.h"
#include "tests/support/raw_reply.h"

namespace {

using namespace hostile_bytes;
using std::chrono::milliseconds;
using std::chrono::seconds;
using Lines = std::vector<std::string>;

const NetAddress FINDER = NetAddress::tcp(IPv4::loopback(), 19999);

class HostileTargets : public testing::Test {
 protected:
  HostileTargets() {
    world.network().set_descriptor_limit(5000);
    EXPECT_TRUE(world.run_until([this] { return router->ready(); }, seconds(5)));
  }
  // Registers the class, and CLASS-1 as its instance, at the strangers' host.
  void register_target(const std::string& class_name, std::vector<std::string> where = {},
                       const std::string& method = "echo/0.1/say") {
    XrlArgs target =
        XrlArgs::parse("instance_name:txt=" + class_name + "-1&class_name:txt=" + class_name +
                       "&methods:list=:txt=" + method);
    XrlAtomList addresses;
    if (where.empty()) where = {host.address().str()};
    for (const std::string& address : where) addresses.append(address);
    target.add(XrlAtom("addresses", addresses));
    XrlAtomList keys;
    keys.append(XrlAtom::unnamed(XrlAtom::Binary(16, 1)));
    target.add(XrlAtom("keys", keys));
    sessions.push_back(std::make_unique<Stranger>(world.loop(), FINDER));
    sessions.back()->say(hello(class_name) +
                         request(1, "finder/0.2/register_target", args(target)));
    ASSERT_TRUE(
        world.run_until([this] { return sessions.back()->frames().size() == 2; }, seconds(5)));
    ASSERT_EQ(sessions.back()->heard().back(), "reply 1 100 ");
  }
  // Remembers the answer.
  bool say(const std::string& target) {
    return XrlEchoV0p1Client(router.get())
        .send_say(target, "hello",
                  callback([this](const XrlError& error, const std::string_view* /*said*/) {
                    answers.push_back(error.str());
                    if (first_answer_ends_it) router.reset();
                  }));
  }
  Stranger& last_stranger() { return *host.strangers().back(); }
  // The target says its hello and is asked something, which it does not answer.
  void meet(const std::string& class_name) {
    const std::size_t before = host.strangers().size();
    ASSERT_TRUE(say(class_name));
    ASSERT_TRUE(world.run_until([&] { return host.strangers().size() > before; }, seconds(5)));
    last_stranger().say(hello(class_name + "-1"));
    ASSERT_TRUE(world.run_until([&] { return last_stranger().frames().size() == 2; }, seconds(5)));
  }

  SimWorld world{7};
  FinderServer finder{world.loop(), FINDER, AllowList(), ""};
  StrangerHost host{world.loop()};
  std::unique_ptr<XrlStdRouter> router =
      std::make_unique<XrlStdRouter>(world.loop(), "", "127.0.0.1", FINDER.port, false);
  std::vector<std::unique_ptr<Stranger>> sessions;
  Lines answers;
  bool first_answer_ends_it = false;
};

TEST_F(HostileTargets, AreNotAskedForUnderNamesThatNoTargetCanHave) {
  EXPECT_FALSE(say(std::string(xrl_limits::MAX_TARGET_NAME_BYTES + 1, 'x')));
  EXPECT_TRUE(say(std::string(xrl_limits::MAX_TARGET_NAME_BYTES, 'x')));
}

TEST_F(HostileTargets, AreRefusedPastTheNumberOfThemThatMayOweAnAnswer) {
  for (std::size_t i = 0; i < xrl_limits::MAX_PEERS; ++i) {
    ASSERT_TRUE(say("nobody" + std::to_string(i))) << i;
  }
  EXPECT_FALSE(say("one-more"));
  ASSERT_TRUE(world.run_until([this] { return router->pending() == 0; }, seconds(5)));
  EXPECT_EQ(answers.size(), xrl_limits::MAX_PEERS);
  EXPECT_TRUE(say("one-more"));
}

TEST_F(HostileTargets, LoseTheirConnectionWhenTheyWereAskedLongestAgoAndThereAreTooMany) {
  world.network().set_delay(milliseconds(0), milliseconds(0));
  register_target("oldest");
  meet("oldest");
  Stranger& oldest = last_stranger();
  oldest.say(reply(0, 100, args("said:txt=hello")));
  ASSERT_TRUE(world.run_until([this] { return answers.size() == 1; }, seconds(5)));
  for (std::size_t i = 1; i < xrl_limits::MAX_PEERS; ++i) ASSERT_TRUE(say("n" + std::to_string(i)));
  EXPECT_FALSE(oldest.is_refused());
  EXPECT_TRUE(say("one-more"));
  world.run_for(milliseconds(10));
  EXPECT_TRUE(oldest.is_refused());
}

TEST_F(HostileTargets, LoseTheirConnectionByWhenTheyWereAskedAndNotByTheirNames) {
  world.network().set_delay(milliseconds(0), milliseconds(0));
  for (const char* name : {"z-first", "a-second"}) {
    register_target(name);
    meet(name);
    last_stranger().say(reply(0, 100, args("said:txt=hello")));
    world.run_for(milliseconds(10));
  }
  for (std::size_t i = 2; i < xrl_limits::MAX_PEERS; ++i) ASSERT_TRUE(say("n" + std::to_string(i)));
  EXPECT_TRUE(say("one-more"));
  world.run_for(milliseconds(10));
  EXPECT_TRUE(host.strangers().at(0)->is_refused());
  EXPECT_FALSE(host.strangers().at(1)->is_refused());
}

TEST_F(HostileTargets, AreAskedAtTheNextAddressWhenNobodyListensAtTheFirst) {
  register_target("moved", {"127.0.0.1:9", host.address().str()});
  meet("moved");
}

TEST_F(HostileTargets, OfAnotherHostAreNotAskedAtAPathOfThisOne) {
  register_target("remote", {"unix:@remote"});
  EXPECT_TRUE(say("remote"));
  ASSERT_TRUE(world.run_until([this] { return !answers.empty(); }, seconds(5)));
  EXPECT_EQ(answers[0],
            "210 SEND_FAILED 'remote' cannot be reached: it told no address that can be used.");
}

TEST_F(HostileTargets, AreNotReachedWithoutADescriptor) {
  register_target("echo");
  world.network().set_descriptor_limit(1);
  EXPECT_TRUE(say("echo"));
  ASSERT_TRUE(world.run_until([this] { return !answers.empty(); }, seconds(5)));
  EXPECT_EQ(answers[0],
            "210 SEND_FAILED 'echo' cannot be reached: it told no address that can be used.");
}

TEST_F(HostileTargets, AreNotLookedForWhileTooManyRequestsWaitForTheFinder) {
  const XrlReply ignored = raw_reply([](const XrlError&) {});
  for (std::size_t i = 0; i < xrl_limits::MAX_FINDER_REQUESTS; ++i) {
    static_cast<void>(router->begin_args());
    ASSERT_TRUE(router->send("finder", "finder/0.2/get_xrl_targets", ignored)) << i;
  }
  EXPECT_TRUE(say("echo"));
  ASSERT_TRUE(world.run_until([this] { return !answers.empty(); }, seconds(5)));
  EXPECT_EQ(answers[0], "201 RESOLVE_FAILED too many requests wait for the finder.");
}

TEST_F(HostileTargets, MayCauseTheEndOfTheRouterByNotBeingThere) {
  first_answer_ends_it = true;
  EXPECT_TRUE(say("nobody"));
  EXPECT_TRUE(say("nobody"));
  world.run_for(seconds(5));
  EXPECT_EQ(answers.size(), 1U);
  EXPECT_EQ(router, nullptr);
}

TEST_F(HostileTargets, MayCauseTheEndOfTheRouterByNotKnowingAMethod) {
  register_target("deaf", {}, "echo/0.1/sum");
  first_answer_ends_it = true;
  EXPECT_TRUE(say("deaf"));
  EXPECT_TRUE(say("deaf"));
  ASSERT_TRUE(world.run_until([&] { return host.strangers().size() == 1; }, seconds(5)));
  last_stranger().say(hello("deaf-1"));
  world.run_for(seconds(5));
  EXPECT_EQ(answers, Lines{"202 NO_SUCH_METHOD 'deaf' has no method 'echo/0.1/say'."});
  EXPECT_EQ(router, nullptr);
}

TEST_F(HostileTargets, ThatAreSilentAreAskedNoMoreTogetherThanTheirBound) {
  for (const char* name : {"one", "two", "three"}) {
    register_target(name);
    meet(name);
  }
  std::size_t asked = 3;
  while (say("one")) ++asked;
  while (say("two")) ++asked;
  EXPECT_EQ(asked, xrl_limits::MAX_REQUESTS_TOGETHER);
  EXPECT_FALSE(say("three"));
  EXPECT_EQ(router->pending(), asked);
  world.run_for(seconds(32));
  EXPECT_EQ(answers.size(), asked);
  EXPECT_EQ(router->pending(), 0U);
  EXPECT_TRUE(say("three"));
}

TEST_F(HostileTargets, ThatLeaveOneRequestUnansweredAreAskedNoMoreThanTheirSpan) {
  register_target("patchy");
  meet("patchy");
  Stranger& patchy = last_stranger();
  world.network().set_delay(milliseconds(0), milliseconds(0));
  world.network().set_buffer_size(64U << 20U);
  world.network().set_partial(0);
  std::size_t asked = 1;
  constexpr std::size_t BATCH = 32768;
  while (asked < xrl_limits::MAX_REQUESTS_SPANNED) {
    std::string bytes;
    for (std::size_t i = 0; i < BATCH && asked < xrl_limits::MAX_REQUESTS_SPANNED; ++i) {
      ASSERT_TRUE(say("patchy")) << asked;
      bytes += reply(static_cast<std::uint32_t>(asked++), 102, "no");
    }
    patchy.say(bytes);
    ASSERT_TRUE(world.run_until([this] { return router->pending() == 1; }, seconds(5)));
  }
  EXPECT_FALSE(say("patchy"));
  patchy.say(reply(0, 102, "no"));
  ASSERT_TRUE(world.run_until([this] { return router->pending() == 0; }, seconds(5)));
  EXPECT_TRUE(say("patchy"));
}

TEST_F(HostileTargets, MayAnswerTooLateAndChangeNothing) {
  register_target("late");
  meet("late");
  world.run_for(xrl_limits::REPLY_TIMEOUT + seconds(1));
  ASSERT_EQ(answers, Lines{"211 REPLY_TIMED_OUT no reply from 'late' in time."});
  last_stranger().say(reply(0, 100, args("said:txt=hello")) + reply(0, 100) + reply(99, 100));
  ASSERT_TRUE(say("late"));
  ASSERT_TRUE(world.run_until([&] { return last_stranger().frames().size() == 3; }, seconds(5)));
  last_stranger().say(reply(1, 100, args("said:txt=hello")));
  ASSERT_TRUE(world.run_until([this] { return answers.size() == 2; }, seconds(5)));
  EXPECT_EQ(answers.back(), "100 OKAY");
}

TEST_F(HostileTargets, ThatAnswerWhatWasNotDeclaredHaveItTurnedIntoAnError) {
  register_target("odd");
  meet("odd");
  const Lines results = {"", args("said:u32=1"), args("said:txt=a&more:txt=b"), "damage",
                         args("other:txt=a")};
  for (std::size_t i = 0; i < results.size(); ++i) {
    last_stranger().say(reply(static_cast<std::uint32_t>(i), 100, results[i]));
    ASSERT_TRUE(world.run_until([&] { return answers.size() == i + 1; }, seconds(5)));
    EXPECT_EQ(answers.back().substr(0, 4), "220 ") << answers.back();
    ASSERT_TRUE(say("odd"));
  }
}

TEST_F(HostileTargets, UnderAnotherNameThanTheFinderToldAreNotAsked) {
  register_target("real");
  ASSERT_TRUE(say("real"));
  ASSERT_TRUE(world.run_until([this] { return host.strangers().size() == 1; }, seconds(5)));
  last_stranger().say(hello("impostor"));
  ASSERT_TRUE(world.run_until([this] { return answers.size() == 1; }, seconds(5)));
  EXPECT_EQ(answers, Lines{"210 SEND_FAILED 'real' cannot be reached: another instance listens "
                           "there."});
  EXPECT_EQ(last_stranger().frames().size(), 1U) << "it hears no request";
}

class LargeHostileTargets : public HostileTargets {
 protected:
  static constexpr std::size_t TARGETS = 6;
  // Each begins the largest answer there is and does not end it.
  void begin_answers() {
    world.network().set_delay(milliseconds(0), milliseconds(0));
    world.network().set_buffer_size(32U << 20U);
    world.network().set_partial(0);
    const std::string unfinished =
        u32(xrl_limits::MAX_FRAME_BYTES) + std::string(xrl_limits::MAX_FRAME_BYTES - 1, 'x');
    for (std::size_t i = 0; i < TARGETS && router != nullptr; ++i) {
      const std::string name = "big" + std::to_string(i);
      register_target(name);
      meet(name);
      last_stranger().say(unfinished);
      world.run_for(milliseconds(10));
    }
  }
  [[nodiscard]] std::size_t refused() const {
    std::size_t count = 0;
    for (const auto& stranger : host.strangers()) count += stranger->is_refused() ? 1 : 0;
    return count;
  }
};

TEST_F(LargeHostileTargets, ShareOneBudgetForTheirUnfinishedAnswers) {
  begin_answers();
  // A buffer has grown to twice what it holds at most, so three fit in any case.
  EXPECT_GE(refused(), 1U);
  EXPECT_LE(refused(), TARGETS - 3);
  EXPECT_EQ(answers.size(), refused());
}

TEST_F(LargeHostileTargets, MayCauseTheEndOfTheRouterThatClosesThem) {
  first_answer_ends_it = true;
  begin_answers();
  EXPECT_EQ(router, nullptr);
  EXPECT_EQ(answers.size(), 1U);
  world.run_for(seconds(1));
  EXPECT_EQ(refused(), host.strangers().size());
}

}  // namespace
