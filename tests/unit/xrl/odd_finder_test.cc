// A session with a finder that answers other than a finder should.
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "framework/base/event_loop.h"
#include "framework/xrl/limits.h"
#include "framework/xrl/router/finder_client.h"
#include "framework/xrl/router/xrl_buffer_budget.h"
#include "framework/xrl/well_known_cmd_map.h"
#include "framework/xrl/xrl_args.h"
#include "tests/integration/hostile_bytes.h"
#include "tests/integration/hostile_stranger.h"
#include "tests/simulation/sim_world.h"
#include "tests/support/echo_target.h"
#include "tests/support/log_capture.h"
#include "tests/support/raw_reply.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr const char* REGISTER_INTEREST = "finder_event_notifier/0.1/register_class_event_interest";
constexpr const char* DEREGISTER_INTEREST =
    "finder_event_notifier/0.1/deregister_class_event_interest";
const std::string INTEREST =
    hostile_bytes::args("requester_instance:txt=watcher-1&class_name:txt=echo");

class OddFinder : public testing::Test, private FinderClient::Owner {
 protected:
  OddFinder() {
    client.emplace(
        world.loop(),
        FinderClient::Identity{"127.0.0.1", host.address().port, "watcher", {"watcher-1", ""}},
        commands, dispatcher, owner(), budget);
    meet(1);
    answer_next(100);
    settle([this] { return client->is_ready(); });
  }

  FinderClient::Owner& owner() { return *this; }
  void settle(const std::function<bool()>& done, Duration limit = seconds(10)) {
    ASSERT_TRUE(world.run_until(done, limit)) << world.report();
  }
  // The client's session of that number, from 1, begins with a hello.
  void meet(std::size_t session) {
    settle([&] { return host.strangers().size() == session; });
    answered = 0;
    finder().say(hostile_bytes::hello("finder"));
    settle([this] { return requests() == 1; });
  }
  Stranger& finder() { return *host.strangers().back(); }
  // That the client made in this session.
  std::size_t requests() { return finder().frames().size() - 1; }
  void answer(std::uint32_t sequence, std::uint32_t code, const std::string& rest = {}) {
    finder().say(hostile_bytes::reply(sequence, code, rest));
    world.run_for(milliseconds(20));
  }
  // Answers the first request that has no answer yet.
  void answer_next(std::uint32_t code, const std::string& rest = {}) {
    settle([this] { return requests() > answered; });
    const std::string said = finder().heard().at(++answered);  // "request N"
    answer(static_cast<std::uint32_t>(std::stoul(said.substr(said.find(' ') + 1))), code, rest);
  }
  void send(const char* method, const std::string& args) {
    EXPECT_TRUE(
        client->send(method, {reinterpret_cast<const std::uint8_t*>(args.data()), args.size()},
                     raw_reply([this](const XrlError& error) { answers.push_back(error.str()); })));
  }
  // What looking a target up comes to when that is the answer.
  std::string resolved(std::uint32_t code, const std::string& rest) {
    std::string result;
    EXPECT_TRUE(client->resolve(
        "echo", callback([&](const XrlError& error, const FinderClient::Resolution& resolution) {
          result = error.str() + " " + resolution.instance;
        })));
    answer_next(code, rest);
    return result;
  }
  static std::string resolution(const std::string& addresses, const std::string& methods,
                                const XrlAtom& key) {
    XrlArgs args = XrlArgs::parse("instance_name:txt=echo-1&addresses:list=" + addresses +
                                  "&methods:list=" + methods);
    XrlAtomList keys;
    keys.append(key);
    args.add(XrlAtom("keys", keys));
    return hostile_bytes::args(args);
  }

  SimWorld world{11};
  StrangerHost host{world.loop()};
  WellKnownCmdMap commands{"watcher-1"};
  WatcherTarget target{&commands};
  XrlDispatcher dispatcher;
  XrlBufferBudget budget{xrl_limits::MAX_BUFFERED_BYTES};
  LogCapture log;
  std::optional<FinderClient> client;
  std::size_t answered = 0;
  std::vector<std::string> answers;
  bool can_listen = true;

 private:
  std::vector<NetAddress> listen_for_peers(const NetAddress& local) override {
    if (!can_listen) return {};
    return {NetAddress::tcp(local.host, 4711)};
  }
  void session_began() override {}
  void target_died(std::string_view /*instance*/) override {}
};

TEST_F(OddFinder, IsBelievedThatATargetIsNotRegisteredHoweverItPutsIt) {
  EXPECT_EQ(resolved(102, "not here."), "201 RESOLVE_FAILED not here. ");
  EXPECT_EQ(resolved(101, "no name."), "201 RESOLVE_FAILED no name. ");
}

TEST_F(OddFinder, IsNotBelievedWhenItsAnswerMakesNoSense) {
  const std::string nonsense = "220 INTERNAL_ERROR the finder's answer makes no sense. ";
  const XrlAtom key = XrlAtom::unnamed(XrlAtom::Binary(16, 1));
  const std::string here = ":txt=127.0.0.1%3A4711";
  EXPECT_EQ(resolved(100, resolution(here, ":txt=a/0.1/m", key)), "100 OKAY echo-1");
  EXPECT_EQ(resolved(100, resolution(here, "", key)), nonsense);
  EXPECT_EQ(resolved(100, resolution(":txt=here", ":txt=a/0.1/m", key)), nonsense);
  EXPECT_EQ(
      resolved(100, resolution(here, ":txt=a/0.1/m", XrlAtom::unnamed(XrlAtom::Binary(15, 1)))),
      nonsense);
  EXPECT_EQ(resolved(100, resolution(here, ":txt=a/0.1/m", XrlAtom::unnamed(std::uint32_t{1}))),
            "220 INTERNAL_ERROR reply to finder/0.2/resolve_target: list 'keys' holds u32, binary "
            "expected. ");
}

TEST_F(OddFinder, IsAskedForAnInterestAgainThatItHadNoMemoryFor) {
  send(REGISTER_INTEREST, INTEREST);
  answer_next(220, "out of memory");
  EXPECT_EQ(answers, std::vector<std::string>{"220 INTERNAL_ERROR out of memory"});
  answer_next(220, "out of memory");
  answer_next(100);
  world.run_for(seconds(20));
  EXPECT_EQ(requests(), answered);
}

TEST_F(OddFinder, IsAskedAgainForWhatItConfirmedThoughItRefusesASecondTime) {
  send(REGISTER_INTEREST, INTEREST);
  answer_next(100);
  send(REGISTER_INTEREST, INTEREST);
  answer_next(102, "not twice.");
  finder().leave();
  meet(2);
  answer_next(100);
  settle([this] { return requests() == 2; });
}

TEST_F(OddFinder, IsToldOfInTheLogWhenItTakesAnInterestNoMore) {
  send(REGISTER_INTEREST, INTEREST);
  answer_next(100);
  finder().leave();
  meet(2);
  answer_next(100);
  static_cast<void>(log.take());
  answer_next(102, "no more.");
  const std::vector<std::string> lines = log.take_lines();
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_NE(lines[0].find("the finder no longer reports on 'echo': 102 COMMAND_FAILED no more."),
            std::string::npos)
      << lines[0];
}

TEST_F(OddFinder, MayAnswerForAnInterestThatWasWithdrawnMeanwhile) {
  send(REGISTER_INTEREST, INTEREST);
  answer_next(100);
  finder().leave();
  meet(2);
  answer_next(100);
  settle([this] { return requests() == 2; });
  send(DEREGISTER_INTEREST, INTEREST);
  answer_next(102, "too late.");
  answer_next(100);
  // And for one asked for by a request that is followed by another.
  send(REGISTER_INTEREST, INTEREST);
  send(DEREGISTER_INTEREST, INTEREST);
  answer_next(102, "too late.");
  send(REGISTER_INTEREST, INTEREST);
  answer_next(100);
  answer_next(100);
  world.run_for(seconds(20));
  EXPECT_EQ(requests(), answered);
}

TEST_F(OddFinder, IsHeardOnlyInAnswerToWhatItWasAsked) {
  answer(4711, 102, "unasked.");
  EXPECT_TRUE(client->is_ready());
  EXPECT_EQ(answers, std::vector<std::string>());
}

TEST_F(OddFinder, IsGivenUpOnAfterThirtySeconds) {
  send("finder/0.2/get_xrl_targets", {});
  EXPECT_EQ(client->pending(), 1U);
  world.run_for(xrl_limits::REPLY_TIMEOUT + seconds(1));
  EXPECT_EQ(answers, std::vector<std::string>{"211 REPLY_TIMED_OUT the finder did not answer."});
  EXPECT_EQ(client->pending(), 0U);
}

TEST_F(OddFinder, IsAskedForNoMoreInterestsThanMayBeKept) {
  for (std::size_t i = 0; i < xrl_limits::MAX_FINDER_REQUESTS; ++i) {
    send(REGISTER_INTEREST,
         hostile_bytes::args("requester_instance:txt=watcher-1&class_name:txt=c" +
                             std::to_string(i)));
    if (i % 1000 == 999 || i + 1 == xrl_limits::MAX_FINDER_REQUESTS) {
      settle([this, i] { return requests() == i + 2; });
      std::string replies;
      for (const std::string& said : finder().heard()) {
        if (said.starts_with("request ")) {
          replies += hostile_bytes::reply(
              static_cast<std::uint32_t>(std::stoul(said.substr(said.find(' ') + 1))), 100);
        }
      }
      finder().say(replies);
      settle([this, i] { return answers.size() == i + 1; });
    }
  }
  EXPECT_FALSE(client->send(REGISTER_INTEREST, {}, raw_reply([](const XrlError&) {})));
  EXPECT_TRUE(client->send("finder/0.2/get_xrl_targets", {}, raw_reply([](const XrlError&) {})));
}

TEST_F(OddFinder, IsLeftByOneThatCannotListenForPeers) {
  can_listen = false;
  finder().leave();
  settle([this] { return host.strangers().size() == 2; });
  finder().say(hostile_bytes::hello("finder"));
  static_cast<void>(log.take());
  settle([this] { return host.strangers().size() == 3; });
  EXPECT_FALSE(client->is_ready());
  can_listen = true;
  meet(host.strangers().size());
  answer_next(100);
  EXPECT_TRUE(client->is_ready());
}

TEST_F(OddFinder, IsToldOfCommandsThatChangeWhileItIsTold) {
  finder().leave();
  meet(2);
  client->commands_changed();
  settle([this] { return requests() == 2; });
  answer_next(100);
  EXPECT_TRUE(client->is_ready());
  answer_next(100);
  world.run_for(2 * xrl_limits::REPLY_TIMEOUT);
  EXPECT_EQ(requests(), 2U);
}

TEST_F(OddFinder, TakesNothingOfAUserBeforeItsFirstSession) {
  FinderClient another(
      world.loop(),
      FinderClient::Identity{"127.0.0.1", host.address().port, "another", {"another-1", ""}},
      commands, dispatcher, owner(), budget);
  EXPECT_FALSE(another.send("finder/0.2/get_xrl_targets", {}, raw_reply([](const XrlError&) {})));
}

}  // namespace
