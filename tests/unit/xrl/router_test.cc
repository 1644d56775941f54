// What a router promises to those who send through it and to those it asks:
// finder, routers and targets in one process, on virtual time.
#include "framework/xrl/router/xrl_std_router.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "framework/finder/finder_server.h"
#include "framework/xrl/interfaces/finder_event_notifier_xif.h"
#include "framework/xrl/interfaces/statistics_xif.h"
#include "framework/xrl/limits.h"
#include "tests/simulation/sim_world.h"
#include "tests/support/echo_target.h"
#include "tests/support/interfaces/echo_xif.h"
#include "tests/support/log_capture.h"
#include "tests/support/raw_reply.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr const char* FINDER_HOST = "127.0.0.1";
constexpr std::uint16_t FINDER_PORT = 19999;
// Arguments that leave room for the rest of a request's frame: kind, sequence
// number and key.
constexpr std::size_t MOST_ARGS = xrl_limits::MAX_FRAME_BYTES - (1 + 4 + 16);

// A process that answers: its router and its target.
struct EchoProcess {
  explicit EchoProcess(EventLoop& loop, bool unix_listener = false)
      : router(loop, "echo", FINDER_HOST, FINDER_PORT, unix_listener), target(&router) {}
  XrlStdRouter router;
  EchoTarget target;
};

// A process that listens to births and deaths.
struct WatcherProcess {
  explicit WatcherProcess(EventLoop& loop)
      : router(loop, "watcher", FINDER_HOST, FINDER_PORT, false), target(&router) {}
  XrlStdRouter router;
  WatcherTarget target;
};

class Router : public testing::Test {
 protected:
  void start_finder() {
    finder.emplace(world.loop(), NetAddress::tcp(IPv4::loopback(), FINDER_PORT), AllowList(), "");
  }
  void start_echo() { echo = std::make_unique<EchoProcess>(world.loop()); }
  void start_client() {
    client = std::make_unique<XrlStdRouter>(world.loop(), "", FINDER_HOST, FINDER_PORT, false);
  }
  // The usual set-up, everything registered.
  void start_all() {
    start_finder();
    start_echo();
    start_client();
    settle([this] { return echo->router.ready() && client->ready(); });
  }
  void settle(const std::function<bool()>& done, Duration limit = seconds(20)) {
    ASSERT_TRUE(world.run_until(done, limit)) << world.report();
  }

  // Says a text and remembers each answer as "CODE TEXT".
  bool say(const std::string& text) {
    return XrlEchoV0p1Client(client.get())
        .send_say("echo", text,
                  callback([this](const XrlError& error, const std::string_view* said) {
                    answers.push_back(std::to_string(error.error_code()) + " " +
                                      (said != nullptr ? std::string(*said) : error.note()));
                  }));
  }
  // Says a text and waits for the answer.
  std::string answer_to(const std::string& text) {
    const std::size_t before = answers.size();
    EXPECT_TRUE(say(text));
    EXPECT_TRUE(world.run_until([&] { return answers.size() > before; }, seconds(40)))
        << world.report();
    return answers.size() > before ? answers.back() : "none";
  }
  // Sends so many bytes of arguments that no method takes.
  std::string answer_to_bytes(const std::string& target, const std::string& method,
                              std::size_t bytes) {
    constexpr std::size_t HEAD = 2 + 2 + 4;  // type and name, length
    XrlArgsWriter args = client->begin_args();
    for (int i = 10; bytes > 0; ++i) {
      const std::size_t part = std::min(bytes, HEAD + xrl_limits::MAX_TEXT_BYTES);
      args.text(std::to_string(i), std::string(part - HEAD, 'x'));
      bytes -= part;
    }
    std::string answer;
    const auto heard = [&](const XrlError& error) {
      answer = std::to_string(error.error_code()) + " " + error.note();
    };
    if (!client->send(target, method, raw_reply(heard))) return "false";
    EXPECT_TRUE(world.run_until([&] { return !answer.empty(); }, seconds(40)));
    return answer;
  }
  void watch(WatcherProcess& watcher, const std::string& class_name) {
    std::optional<XrlError> answer;
    ASSERT_TRUE(XrlFinderEventNotifierV0p1Client(&watcher.router)
                    .send_register_class_event_interest(
                        "finder", watcher.router.instance_name(), class_name,
                        callback([&](const XrlError& error) { answer = error; })));
    settle([&] { return answer.has_value(); });
    ASSERT_EQ(*answer, XrlError::OKAY()) << answer->str();
  }

  SimWorld world{1};
  std::optional<FinderServer> finder;
  std::unique_ptr<EchoProcess> echo;
  std::unique_ptr<XrlStdRouter> client;
  std::vector<std::string> answers;
};

TEST_F(Router, CarriesARequestToItsHandlerAndTheReplyToItsCallback) {
  start_all();
  EXPECT_EQ(answer_to("hello"), "100 hello");
  EXPECT_EQ(echo->target.heard(), std::vector<std::string>{"hello"});
}

TEST_F(Router, TellsHowOftenItsTargetChanged) {
  start_all();
  const auto changes_of = [this](std::string_view target) {
    std::optional<std::uint64_t> changes;
    EXPECT_TRUE(XrlStatisticsV0p1Client(client.get())
                    .send_get_changes(
                        target, callback([&](const XrlError& error, const std::uint64_t* serial) {
                          EXPECT_EQ(error, XrlError::OKAY());
                          changes = *serial;
                        })));
    settle([&] { return changes.has_value(); });
    return changes.value_or(0);
  };
  EXPECT_EQ(changes_of("echo"), 0U);
  EXPECT_EQ(answer_to("a text that is only read"), "100 a text that is only read");
  EXPECT_EQ(changes_of("echo"), 0U);
  echo->router.note_change();
  EXPECT_EQ(changes_of("echo"), 1U);
  // The registration of the target echo.
  EXPECT_EQ(changes_of("finder"), 1U);
}

TEST_F(Router, CarriesARefusalWithItsText) {
  start_all();
  std::optional<XrlError> answer;
  XrlEchoV0p1Client(client.get())
      .send_refuse("echo", "not today.", callback([&](const XrlError& e) { answer = e; }));
  settle([&] { return answer.has_value(); });
  EXPECT_EQ(answer->str(), "102 COMMAND_FAILED not today.");
}

TEST_F(Router, QueuesNothingBeforeItsFirstRegistration) {
  start_client();
  EXPECT_FALSE(say("too early"));
  EXPECT_EQ(client->pending(), 0U);
}

TEST_F(Router, WaitsForAFinderThatStartsLater) {
  start_echo();
  start_client();
  world.run_for(seconds(10));
  EXPECT_FALSE(client->ready());
  start_finder();
  settle([this] { return echo->router.ready() && client->ready(); }, seconds(1));
  EXPECT_EQ(answer_to("hello"), "100 hello");
}

TEST_F(Router, DeliversRequestsToOneTargetInTheOrderSent) {
  start_all();
  std::vector<std::string> said;
  for (int i = 0; i < 300; ++i) {
    said.push_back(std::to_string(i));
    ASSERT_TRUE(say(said.back()));
    if (i % 50 == 0) world.loop().run();
  }
  settle([&] { return answers.size() == said.size(); });
  EXPECT_EQ(echo->target.heard(), said);
}

TEST_F(Router, RunsNoCallbackWithinTheSendingCall) {
  start_all();
  ASSERT_TRUE(say("hello"));
  EXPECT_TRUE(answers.empty());
  EXPECT_EQ(client->pending(), 1U);
  settle([this] { return !answers.empty(); });
  EXPECT_EQ(client->pending(), 0U);
}

TEST_F(Router, AnswersResolveFailedForANameThatNobodyRegistered) {
  start_finder();
  start_client();
  settle([this] { return client->ready(); });
  EXPECT_EQ(answer_to("hello").substr(0, 4), "201 ");
}

TEST_F(Router, AnswersNoSuchMethodForAMethodThatTheTargetHasNot) {
  start_all();
  std::optional<XrlError> answer;
  XrlFinderEventNotifierV0p1Client(client.get())
      .send_register_class_event_interest("echo", "a", "b",
                                          callback([&](const XrlError& e) { answer = e; }));
  settle([&] { return answer.has_value(); });
  EXPECT_EQ(answer->str(),
            "202 NO_SUCH_METHOD 'echo' has no method "
            "'finder_event_notifier/0.1/register_class_event_interest'.");
}

TEST_F(Router, AnswersBadArgsBeforeTheHandlerRuns) {
  start_all();
  std::optional<XrlError> answer;
  client->begin_args().u32("text", 5);
  ASSERT_TRUE(client->send("echo", "echo/0.1/say",
                           raw_reply([&](const XrlError& error) { answer = error; })));
  settle([&] { return answer.has_value(); });
  EXPECT_EQ(answer->str(), "101 BAD_ARGS argument 'text' is u32, txt expected.");
  EXPECT_TRUE(echo->target.heard().empty());
}

TEST_F(Router, AnswersInternalErrorForAReplyLongerThanAFrame) {
  start_all();
  std::optional<XrlError> answer;
  XrlEchoV0p1Client(client.get())
      .send_fill("echo", xrl_limits::MAX_REPLY_BYTES,
                 callback([&](const XrlError& e, const std::string_view*) { answer = e; }));
  settle([&] { return answer.has_value(); });
  EXPECT_EQ(answer->str(), "220 INTERNAL_ERROR the reply is longer than a frame may be.");
  EXPECT_EQ(answer_to("still there"), "100 still there");
}

TEST_F(Router, RefusesToQueueATextLongerThanATextMayBe) {
  start_all();
  EXPECT_EQ(answer_to(std::string(xrl_limits::MAX_TEXT_BYTES, 'x')).size(),
            4 + xrl_limits::MAX_TEXT_BYTES);
  EXPECT_FALSE(say(std::string(xrl_limits::MAX_TEXT_BYTES + 1, 'x')));
}

TEST_F(Router, RefusesToQueueARequestLongerThanAFrame) {
  start_all();
  world.network().set_buffer_size(2 * xrl_limits::MAX_FRAME_BYTES);
  world.network().set_partial(0);
  const std::string target_and_method[][2] = {{"echo", "echo/0.1/say"},
                                              {"finder", "finder/0.2/get_xrl_targets"}};
  for (const auto& [target, method] : target_and_method) {
    EXPECT_EQ(answer_to_bytes(target, method, MOST_ARGS + 1), "false") << target;
    EXPECT_EQ(answer_to_bytes(target, method, MOST_ARGS).substr(0, 4), "101 ") << target;
  }
  EXPECT_EQ(answer_to("still there"), "100 still there");
}

TEST_F(Router, RefusesToQueueMoreRequestsThanMayBeInFlight) {
  start_all();
  answer_to("connected");
  echo->router.set_request_filter([](std::string_view) { return XrlFilterAction::IGNORE; });
  for (std::size_t i = 0; i < xrl_limits::MAX_REQUESTS_IN_FLIGHT; ++i) ASSERT_TRUE(say("x")) << i;
  EXPECT_FALSE(say("one more"));
}

TEST_F(Router, RefusesToQueueMoreBytesThanAPeerMayOwe) {
  start_all();
  answer_to("connected");
  const std::string text(1U << 20U, 'x');
  std::size_t queued = 0;
  while (queued < 100 && say(text)) ++queued;
  EXPECT_EQ(queued, xrl_limits::MAX_REQUEST_BYTES_QUEUED / text.size() - 1);
}

TEST_F(Router, RefusesToQueueMoreBytesForATargetThatItIsStillLookingFor) {
  start_all();
  const std::string text(1U << 20U, 'x');
  std::size_t queued = 0;
  while (queued < 100 && say(text)) ++queued;
  EXPECT_EQ(queued, xrl_limits::MAX_REQUEST_BYTES_QUEUED / text.size() - 1);
}

TEST_F(Router, DoesNotCarryOutLateWhatItGaveUpWhileTheFinderWasAway) {
  start_all();
  LogCapture log;
  finder.reset();
  world.run_for(seconds(1));
  ASSERT_TRUE(say("given up"));
  world.run_for(seconds(31));
  EXPECT_EQ(answers, std::vector<std::string>{"200 the finder is not reached."});
  start_finder();
  settle([this] { return echo->router.ready() && client->ready(); });
  world.run_for(seconds(10));
  EXPECT_EQ(answer_to("asked again"), "100 asked again");
  EXPECT_EQ(echo->target.heard(), std::vector<std::string>{"asked again"});
}

TEST_F(Router, GivesUpOnATargetWhenTheFinderIsSilent) {
  start_all();
  ASSERT_TRUE(world.network().hold(world.network().connections().back().id));
  EXPECT_EQ(answer_to("anyone?"), "211 no reply from 'echo' in time.");
}

TEST_F(Router, DoesNotStartWithACookieThatItCannotRead) {
  ASSERT_EQ(::setenv("XRL_COOKIE_FILE", "/nowhere/cookie", 1), 0);
  EXPECT_THROW(start_client(), XorpException);
  ASSERT_EQ(::unsetenv("XRL_COOKIE_FILE"), 0);
}

TEST_F(Router, TriesAgainWhenItCannotListenForItsPeers) {
  start_finder();
  // The finder's listener and both ends of its session, and no more.
  world.network().set_descriptor_limit(3);
  LogCapture log;
  start_echo();
  world.run_for(seconds(10));
  EXPECT_FALSE(echo->router.ready());
  const std::vector<std::string> lines = log.take_lines();
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines[0], "ERROR XRL listen_for_peers: cannot listen on 127.0.0.1: error " +
                          std::to_string(EMFILE));
  world.network().set_descriptor_limit(20);
  settle([this] { return echo->router.ready(); });
}

TEST_F(Router, IsReachedOverTcpWhereItCannotHaveAUnixDomainSocket) {
  start_finder();
  world.network().set_descriptor_limit(4);
  LogCapture log;
  echo = std::make_unique<EchoProcess>(world.loop(), true);
  settle([this] { return echo->router.ready(); });
  EXPECT_EQ(log.take_lines(),
            std::vector<std::string>{
                "WARNING XRL listen_for_peers: no Unix-domain listener; TCP alone is used"});
  world.network().set_descriptor_limit(20);
  start_client();
  settle([this] { return client->ready(); });
  EXPECT_EQ(answer_to("hello"), "100 hello");
}

TEST_F(Router, GivesUpOnASilentTargetAfterThirtySeconds) {
  start_all();
  answer_to("connected");
  echo->router.set_request_filter([](std::string_view) { return XrlFilterAction::IGNORE; });
  const TimePoint start = world.now();
  EXPECT_EQ(answer_to("anyone?"), "211 no reply from 'echo' in time.");
  EXPECT_GE(world.now() - start, seconds(30));
  EXPECT_LT(world.now() - start, seconds(31));
}

TEST_F(Router, GivesUpOnEachOfSeveralRequestsToASilentTargetAfterItsOwnThirtySeconds) {
  start_all();
  answer_to("connected");
  answers.clear();
  echo->router.set_request_filter([](std::string_view) { return XrlFilterAction::IGNORE; });
  const TimePoint start = world.now();
  ASSERT_TRUE(say("one"));
  ASSERT_TRUE(say("at the same time"));
  world.run_for(seconds(10));
  ASSERT_TRUE(say("later"));
  settle([this] { return answers.size() == 2; }, seconds(60));
  EXPECT_GE(world.now() - start, seconds(30));
  EXPECT_LT(world.now() - start, seconds(31));
  settle([this] { return answers.size() == 3; }, seconds(60));
  EXPECT_GE(world.now() - start, seconds(40));
  EXPECT_LT(world.now() - start, seconds(41));
  EXPECT_EQ(answers, std::vector<std::string>(3, "211 no reply from 'echo' in time."));
}

TEST_F(Router, AnswersSendFailedToWhatWasOnTheWayWhenTheConnectionIsLost) {
  start_all();
  answer_to("connected");
  echo->router.set_request_filter([](std::string_view) { return XrlFilterAction::CLOSE; });
  LogCapture log;
  EXPECT_EQ(answer_to("hello").substr(0, 4), "210 ");
  echo->router.set_request_filter({});
  EXPECT_EQ(answer_to("again"), "100 again");
}

TEST_F(Router, HearsNoMoreWhatInstancesBeforeTheLivingOneHadToSay) {
  start_all();
  ASSERT_EQ(answer_to("one"), "100 one");
  auto former = std::move(client);
  start_client();
  settle([this] { return client->ready(); });
  ASSERT_EQ(answer_to("two"), "100 two");
  std::swap(client, former);
  ASSERT_TRUE(say("three"));
  std::swap(client, former);

  echo->router.end_instances_before("client", client->instance_name());
  ASSERT_TRUE(say("four"));
  settle([this] { return answers.size() == 4; });
  EXPECT_EQ(answers[2].substr(0, 4), "210 ");
  EXPECT_EQ(answers[3], "100 four");
  EXPECT_EQ(echo->target.heard(), (std::vector<std::string>{"one", "two", "four"}));
}

TEST_F(Router, HearsTheLivingInstanceAndThoseOfOtherNames) {
  start_all();
  ASSERT_EQ(answer_to("one"), "100 one");
  ASSERT_TRUE(say("two"));
  echo->router.end_instances_before("client", client->instance_name());
  echo->router.end_instances_before("clien", "clien-0123456789abcdef");
  echo->router.end_instances_before("cliemt", "cliemt-0123456789abcdef");
  echo->router.end_instances_before("client-012", "client-012-0123456789abcdef");
  echo->router.end_instances_before("", "-0123456789abcdef");
  EXPECT_EQ(answer_to("three"), "100 three");
  EXPECT_EQ(answers, (std::vector<std::string>{"100 one", "100 two", "100 three"}));
}

TEST_F(Router, ReachesTheNextInstanceOfATargetThatDied) {
  start_all();
  EXPECT_EQ(answer_to("first"), "100 first");
  echo.reset();
  world.run_for(seconds(1));
  start_echo();
  settle([this] { return echo->router.ready(); });
  EXPECT_EQ(answer_to("second"), "100 second");
  EXPECT_EQ(echo->target.heard(), std::vector<std::string>{"second"});
}

TEST_F(Router, GoesOnServingThoseItKnowsWhileTheFinderIsGone) {
  start_all();
  answer_to("known");
  LogCapture log;
  finder.reset();
  for (int i = 0; i < 50; ++i) EXPECT_EQ(answer_to("no finder needed"), "100 no finder needed");
}

TEST_F(Router, ConnectsAgainToAKnownTargetWhileTheFinderIsGone) {
  start_all();
  answer_to("known");
  LogCapture log;
  finder.reset();
  world.run_for(seconds(1));
  world.network().cut_random();
  world.run_for(seconds(1));
  EXPECT_EQ(answer_to("again"), "100 again");
}

TEST_F(Router, FindsNewTargetsWithinASecondOfTheFindersReturn) {
  start_all();
  LogCapture log;
  finder.reset();
  world.run_for(seconds(60));
  start_finder();
  world.run_for(seconds(1));
  EXPECT_EQ(answer_to("hello"), "100 hello");
}

TEST_F(Router, KeepsALookUpThatTheFinderDidNotAnswerForItsReturn) {
  start_all();
  LogCapture log;
  finder.reset();
  world.run_for(seconds(1));
  ASSERT_TRUE(say("hello"));
  world.run_for(seconds(5));
  EXPECT_TRUE(answers.empty());
  start_finder();
  settle([this] { return answers.size() == 1; });
}

TEST_F(Router, AnswersNoFinderToALookUpWhenTheFinderStaysAway) {
  start_all();
  LogCapture log;
  finder.reset();
  world.run_for(seconds(1));
  EXPECT_EQ(answer_to("hello"), "200 the finder is not reached.");
}

TEST_F(Router, LetsASecondTargetOfItsClassWaitAndTakeOver) {
  start_all();
  answer_to("first");
  LogCapture log;
  auto second = std::make_unique<EchoProcess>(world.loop());
  world.run_for(seconds(10));
  EXPECT_FALSE(second->router.ready());
  EXPECT_EQ(answer_to("still the first"), "100 still the first");
  EXPECT_EQ(echo->target.heard().size(), 2U);
  EXPECT_EQ(log.take_lines().size(), 1U) << "waiting is told once";
  echo.reset();
  settle([&] { return second->router.ready(); }, seconds(2));
  EXPECT_EQ(answer_to("the second"), "100 the second");
  EXPECT_EQ(second->target.heard(), std::vector<std::string>{"the second"});
}

TEST_F(Router, GivesAClassBackToItsHolderAfterTheFinderWasRestarted) {
  start_all();
  LogCapture log;
  EchoProcess second(world.loop());
  world.run_for(seconds(3));
  for (int i = 0; i < 5; ++i) {
    finder.reset();
    world.run_for(milliseconds(300 * i));
    start_finder();
    world.run_for(seconds(5));
    EXPECT_EQ(answer_to("hello"), "100 hello");
  }
  EXPECT_EQ(echo->target.heard().size(), 5U);
  EXPECT_FALSE(second.router.ready());
}

TEST_F(Router, RunsNoCallbackWhoseOwnerIsGone) {
  start_all();
  answer_to("connected");
  auto owner = std::make_unique<Lifeline>();
  bool ran = false;
  ASSERT_TRUE(XrlEchoV0p1Client(client.get())
                  .send_say("echo", "hello",
                            callback(*owner, [&](const XrlError&, const std::string_view*) {
                              ran = true;
                            })));
  owner.reset();
  settle([this] { return client->pending() == 0; });
  EXPECT_FALSE(ran);
}

TEST_F(Router, MayBeDestroyedFromAReplysCallback) {
  start_all();
  answer_to("connected");
  bool ran = false;
  for (int i = 0; i < 3; ++i) {
    ASSERT_TRUE(
        XrlEchoV0p1Client(client.get())
            .send_say("echo", "hello", callback([&](const XrlError&, const std::string_view*) {
                        ran = true;
                        client.reset();
                      })));
  }
  settle([&] { return ran; });
  world.run_for(seconds(1));
  EXPECT_EQ(client, nullptr);
}

TEST_F(Router, MayBeDestroyedFromTheCallbackOfALostRequest) {
  start_all();
  answer_to("connected");
  LogCapture log;
  bool ran = false;
  for (int i = 0; i < 3; ++i) {
    ASSERT_TRUE(
        XrlEchoV0p1Client(client.get())
            .send_say("echo", "hello", callback([&](const XrlError&, const std::string_view*) {
                        ran = true;
                        client.reset();
                      })));
  }
  echo.reset();
  settle([&] { return ran; });
  world.run_for(seconds(1));
  EXPECT_EQ(client, nullptr);
}

TEST_F(Router, IsReachedOverAUnixDomainSocketWhereItAsksForOne) {
  start_finder();
  echo = std::make_unique<EchoProcess>(world.loop(), true);
  start_client();
  settle([this] { return echo->router.ready() && client->ready(); });
  EXPECT_EQ(answer_to("hello"), "100 hello");
  bool over_unix = false;
  for (const SimConnection& connection : world.network().connections()) {
    over_unix = over_unix || connection.listener.family == NetAddress::Family::UNIX;
  }
  EXPECT_TRUE(over_unix);
}

TEST_F(Router, HearsOfTargetsThatLiveAlreadyAndOfBirthsAndDeathsToCome) {
  start_all();
  WatcherProcess watcher(world.loop());
  settle([&] { return watcher.router.ready(); });
  watch(watcher, "echo");
  settle([&] { return watcher.target.events().size() == 1; });
  echo.reset();
  settle([&] { return watcher.target.events().size() == 2; });
  start_echo();
  settle([&] { return watcher.target.events().size() == 3; });
  EXPECT_EQ(watcher.target.events(),
            (std::vector<std::string>{"birth echo", "death echo", "birth echo"}));
}

TEST_F(Router, AsksForItsInterestsAgainWhenTheFinderIsBack) {
  start_all();
  WatcherProcess watcher(world.loop());
  settle([&] { return watcher.router.ready(); });
  watch(watcher, "echo");
  LogCapture log;
  finder.reset();
  world.run_for(seconds(2));
  start_finder();
  settle([&] { return watcher.target.count("birth echo") == 2; });
}

TEST_F(Router, HearsOfABirthAgainWhenWhatItSaidToThatTargetMayBeLost) {
  start_all();
  WatcherProcess watcher(world.loop());
  settle([&] { return watcher.router.ready(); });
  watch(watcher, "echo");
  LogCapture log;
  std::optional<XrlError> answer;
  echo->router.set_request_filter([](std::string_view) { return XrlFilterAction::CLOSE; });
  XrlEchoV0p1Client(&watcher.router)
      .send_say("echo", "hello",
                callback([&](const XrlError& e, const std::string_view*) { answer = e; }));
  settle([&] { return answer.has_value() && watcher.target.count("birth echo") == 2; });
  EXPECT_EQ(answer->code(), XrlErrorCode::SEND_FAILED);
}

class Watching : public Router {
 protected:
  void SetUp() override {
    start_all();
    watcher.emplace(world.loop());
    settle([this] { return watcher->router.ready(); });
  }
  void watch_echo() {
    watch(*watcher, "echo");
    settle([this] { return births() == 1; });
  }
  [[nodiscard]] long births() const { return watcher->target.count("birth echo"); }
  // Says a text from the watcher and answers the error's code.
  std::uint32_t code_of_answer() {
    std::optional<std::uint32_t> code;
    EXPECT_TRUE(XrlEchoV0p1Client(&watcher->router)
                    .send_say("echo", "hello", callback([&](const XrlError& e, const auto*) {
                                code = e.error_code();
                              })));
    settle([&] { return code.has_value(); }, seconds(40));
    return code.value_or(0);
  }
  // Says a text at each birth, as who registers with a target that is born does;
  // answers how many births it heard of.
  long say_at_births(Duration time) {
    const TimePoint end = world.now() + time;
    const long before = births();
    long seen = before - 1;
    const auto say_when_born = [&] {
      if (births() != seen) {
        seen = births();
        EXPECT_TRUE(XrlEchoV0p1Client(&watcher->router)
                        .send_say("echo", "hello", callback([](const XrlError&, const auto*) {})));
      }
      return world.now() >= end;
    };
    EXPECT_TRUE(world.run_until(say_when_born, time + seconds(1)));
    return births() - before;
  }

  LogCapture log;
  std::optional<WatcherProcess> watcher;
};

TEST_F(Watching, HearsOfABirthAgainWhenTheConnectionIsCutInItsHandshake) {
  watch_echo();
  std::optional<XrlError> answer;
  XrlEchoV0p1Client(&watcher->router)
      .send_say("echo", "hello", callback([&](const XrlError& e, const auto*) { answer = e; }));
  settle([this] { return world.network().connections().back().listener.port != FINDER_PORT; });
  ASSERT_TRUE(world.network().cut(world.network().connections().back().id));
  settle([&] { return answer.has_value() && births() == 2; });
  EXPECT_EQ(answer->code(), XrlErrorCode::SEND_FAILED);
  EXPECT_TRUE(echo->target.heard().empty());
}

TEST_F(Watching, HearsOfABirthAgainWhenTheTargetDidNotAnswerInTime) {
  watch_echo();
  echo->router.set_request_filter([](std::string_view) { return XrlFilterAction::IGNORE; });
  EXPECT_EQ(code_of_answer(), 211U);
  settle([this] { return births() == 2; });
}

TEST_F(Watching, HearsOfABirthAgainWhenTheTargetCouldNotDoWhatItWasAsked) {
  watch_echo();
  std::optional<XrlError> answer;
  XrlEchoV0p1Client(&watcher->router)
      .send_fill("echo", xrl_limits::MAX_REPLY_BYTES,
                 callback([&](const XrlError& e, const auto*) { answer = e; }));
  settle([&] { return answer.has_value() && births() == 2; });
  EXPECT_EQ(answer->code(), XrlErrorCode::INTERNAL_ERROR);
}

TEST_F(Watching, HearsOfABirthOnceWhenItsTargetAnswers) {
  watch_echo();
  EXPECT_EQ(code_of_answer(), 100U);
  world.run_for(seconds(60));
  EXPECT_EQ(births(), 1);
}

// After 0.1 s, 0.2 s, 0.4 s ..., and every 5 s from the seventh time on.
TEST_F(Watching, HearsOfABirthLaterAndLaterWhileEveryConnectionIsClosed) {
  watch_echo();
  echo->router.set_request_filter([](std::string_view) { return XrlFilterAction::CLOSE; });
  EXPECT_EQ(say_at_births(seconds(5)), 5);
  const long in_a_minute = say_at_births(seconds(60));
  EXPECT_GE(in_a_minute, 12);
  EXPECT_LE(in_a_minute, 14);
}

TEST_F(Watching, HearsOfABirthSoonAgainOnceItsTargetHasAnswered) {
  watch_echo();
  echo->router.set_request_filter([](std::string_view) { return XrlFilterAction::CLOSE; });
  say_at_births(seconds(30));
  echo->router.set_request_filter({});
  world.run_for(seconds(10));
  EXPECT_EQ(code_of_answer(), 100U);
  echo->router.set_request_filter([](std::string_view) { return XrlFilterAction::CLOSE; });
  const long before = births();
  EXPECT_EQ(code_of_answer(), 210U);
  settle([&] { return births() == before + 1; }, milliseconds(150));
}

TEST_F(Watching, GoesOnWithAnInterestThatTheFinderDidNotConfirmInTime) {
  finder.reset();
  std::optional<XrlError> answer;
  XrlFinderEventNotifierV0p1Client(&watcher->router)
      .send_register_class_event_interest("finder", watcher->router.instance_name(), "echo",
                                          callback([&](const XrlError& e) { answer = e; }));
  settle([&] { return answer.has_value(); }, seconds(40));
  EXPECT_EQ(answer->code(), XrlErrorCode::NO_FINDER);
  start_finder();
  settle([this] { return births() == 1; });
}

TEST_F(Watching, HearsOfEachBirthOnceWhenItAskedWhileTheFinderWasAway) {
  finder.reset();
  world.run_for(seconds(1));
  XrlFinderEventNotifierV0p1Client(&watcher->router)
      .send_register_class_event_interest("finder", watcher->router.instance_name(), "echo",
                                          callback([](const XrlError&) {}));
  start_finder();
  world.run_for(seconds(20));
  EXPECT_EQ(births(), 1);
}

TEST_F(Watching, AsksNoMoreForWhatTheFinderRefused) {
  for (int i = 0; i < 64; ++i) watch(*watcher, "class-" + std::to_string(i));
  std::optional<XrlError> answer;
  XrlFinderEventNotifierV0p1Client(&watcher->router)
      .send_register_class_event_interest("finder", watcher->router.instance_name(), "one-more",
                                          callback([&](const XrlError& e) { answer = e; }));
  settle([&] { return answer.has_value(); });
  EXPECT_EQ(answer->code(), XrlErrorCode::COMMAND_FAILED);
  finder.reset();
  world.run_for(seconds(1));
  static_cast<void>(log.take());
  start_finder();
  world.run_for(seconds(10));
  EXPECT_EQ(finder->registry().interests().size(), 64U);
  EXPECT_EQ(log.take_lines(), std::vector<std::string>());
}

TEST_F(Watching, AsksNoMoreForWhatWasWithdrawnWhileTheFinderWasAway) {
  watch_echo();
  finder.reset();
  world.run_for(seconds(1));
  XrlFinderEventNotifierV0p1Client(&watcher->router)
      .send_deregister_class_event_interest("finder", watcher->router.instance_name(), "echo",
                                            callback([](const XrlError&) {}));
  start_finder();
  world.run_for(seconds(20));
  EXPECT_EQ(births(), 1);
  EXPECT_TRUE(finder->registry().interests().empty());
}

// Has no memory for the first birth that it is told of.
struct ShortOfMemory final : XrlWatcherTargetBase {
  using XrlWatcherTargetBase::XrlWatcherTargetBase;
  XrlCmdError finder_event_observer_0_1_xrl_target_birth(std::string_view,
                                                         std::string_view) override {
    if (++births == 1) throw std::bad_alloc();
    return XrlCmdError::OKAY();
  }
  XrlCmdError finder_event_observer_0_1_xrl_target_death(std::string_view,
                                                         std::string_view) override {
    return XrlCmdError::OKAY();
  }
  int births = 0;
};

TEST_F(Router, HearsOfABirthAgainThatItHadNoMemoryFor) {
  start_all();
  XrlStdRouter router(world.loop(), "watcher", FINDER_HOST, FINDER_PORT, false);
  ShortOfMemory target(&router);
  settle([&] { return router.ready(); });
  LogCapture log;
  XrlFinderEventNotifierV0p1Client(&router).send_register_class_event_interest(
      "finder", router.instance_name(), "echo", callback([](const XrlError&) {}));
  world.run_for(seconds(20));
  EXPECT_EQ(target.births, 2);
  EXPECT_NE(log.take_lines().at(0).find("it could not take its news"), std::string::npos);
}

// The first one's process lives on and is reached, but its name is another's.
TEST_F(Router, LeavesATargetThatLivesOnWithoutItsNameForTheOneThatHasIt) {
  start_all();
  EXPECT_EQ(answer_to("first"), "100 first");
  LogCapture log;
  ASSERT_TRUE(world.network().cut(world.network().connections().front().id));
  EchoProcess second(world.loop());
  settle([&] { return second.router.ready(); }, milliseconds(90));
  world.run_for(seconds(1));
  static_cast<void>(answer_to("on the old connection"));
  world.run_for(seconds(1));
  EXPECT_EQ(answer_to("the second"), "100 the second");
  EXPECT_EQ(second.target.heard(), std::vector<std::string>{"the second"});
}

// Its name was another's, whose end goes unnoticed on the connection to it.
TEST_F(Router, AsksTheTargetThatHasTheNameNowForWhatTheOneBeforeDidNotKnow) {
  start_finder();
  start_client();
  auto other =
      std::make_unique<XrlStdRouter>(world.loop(), "echo", FINDER_HOST, FINDER_PORT, false);
  settle([&] { return other->ready() && client->ready(); });
  EXPECT_EQ(answer_to("anyone?").substr(0, 4), "202 ");
  ASSERT_TRUE(world.network().sever(world.network().connections().back().id));
  other.reset();
  start_echo();
  settle([&] { return echo->router.ready(); });
  EXPECT_EQ(answer_to("hello"), "100 hello");
}

// The one before lives on and is reached, but the finder knows another by now.
TEST_F(Router, AsksWhoHasTheNameNowWhenItConnectsAgainInALaterSession) {
  start_finder();
  start_client();
  XrlStdRouter other(world.loop(), "echo", FINDER_HOST, FINDER_PORT, false);
  settle([&] { return other.ready() && client->ready(); });
  EXPECT_EQ(answer_to("anyone?").substr(0, 4), "202 ");
  LogCapture log;
  ASSERT_TRUE(world.network().cut(world.network().connections().back().id));
  finder.reset();
  world.run_for(seconds(1));
  start_echo();
  start_finder();
  settle([&] { return echo->router.ready(); }, seconds(1));
  world.run_for(seconds(1));
  EXPECT_EQ(answer_to("hello"), "100 hello");
}

TEST_F(Router, ReachesTheNextInstanceOfATargetThatDiedInTheHandshake) {
  start_all();
  ASSERT_TRUE(say("hello"));
  settle([this] { return world.network().connections().back().listener.port != FINDER_PORT; });
  const std::uint64_t handshake = world.network().connections().back().id;
  ASSERT_TRUE(world.network().hold(handshake));
  echo.reset();
  start_echo();
  settle([this] { return echo->router.ready(); });
  world.run_for(seconds(1));
  LogCapture log;
  static_cast<void>(world.network().cut(handshake));
  settle([this] { return !answers.empty(); });
  EXPECT_EQ(answers.at(0), "100 hello");
}

// What was resolved was never tried, and the finder's news of its death were missed.
TEST_F(Router, ReachesTheNextInstanceOfATargetItHadOnlyHeardOf) {
  start_all();
  EXPECT_EQ(answer_to("first"), "100 first");
  LogCapture log;
  ASSERT_TRUE(world.network().cut(world.network().connections().front().id));
  auto second = std::make_unique<EchoProcess>(world.loop());
  settle([&] { return second->router.ready(); }, milliseconds(90));
  world.run_for(seconds(1));
  static_cast<void>(answer_to("on the old connection"));
  world.run_for(seconds(1));
  finder.reset();
  world.run_for(seconds(1));
  echo.reset();
  second.reset();
  start_finder();
  start_echo();
  settle([this] { return echo->router.ready(); });
  world.run_for(seconds(1));
  EXPECT_EQ(answer_to("the third"), "100 the third");
}

TEST_F(Router, AsksNothingOfAStrangerAtTheAddressThatATargetHad) {
  start_all();
  EXPECT_EQ(answer_to("first"), "100 first");
  const NetAddress where = world.network().connections().back().listener;
  ASSERT_NE(where.port, FINDER_PORT);
  LogCapture log;
  finder.reset();
  echo.reset();
  world.run_for(seconds(1));
  XrlListener::Options options = XrlListener::default_options();
  options.hello = {"stranger", ""};
  XrlDispatcher dispatcher;
  XrlListener stranger(world.loop(), dispatcher, std::move(options));
  ASSERT_EQ(stranger.listen(where), 0);
  EXPECT_EQ(answer_to("hello"), "200 the finder is not reached.");
}

TEST_F(Router, LearnsOfTheMethodsThatATargetHasSince) {
  start_finder();
  start_client();
  XrlStdRouter other(world.loop(), "echo", FINDER_HOST, FINDER_PORT, false);
  settle([&] { return other.ready() && client->ready(); });
  EXPECT_EQ(answer_to("anyone?").substr(0, 4), "202 ");
  EchoTarget target(&other);
  world.run_for(seconds(1));
  EXPECT_EQ(answer_to("hello"), "100 hello");
}

TEST_F(Router, RefusesWhatATargetInDoubtDoesNotKnowWhenNobodyHasTheName) {
  start_finder();
  start_client();
  auto other =
      std::make_unique<XrlStdRouter>(world.loop(), "echo", FINDER_HOST, FINDER_PORT, false);
  settle([&] { return other->ready() && client->ready(); });
  EXPECT_EQ(answer_to("anyone?").substr(0, 4), "202 ");
  ASSERT_TRUE(world.network().sever(world.network().connections().back().id));
  other.reset();
  world.run_for(seconds(1));
  EXPECT_EQ(answer_to("hello"), "201 no target 'echo' is registered.");
}

TEST_F(Router, ReachesTheNextInstanceOfATargetThatDiedWhileTheFinderWasAway) {
  start_all();
  EXPECT_EQ(answer_to("first"), "100 first");
  LogCapture log;
  finder.reset();
  world.run_for(seconds(1));
  start_finder();
  world.run_for(seconds(1));
  // Looked up again, and still there.
  EXPECT_EQ(answer_to("second"), "100 second");
  world.run_for(seconds(1));
  finder.reset();
  echo.reset();
  world.run_for(seconds(1));
  start_echo();
  start_finder();
  settle([this] { return echo->router.ready(); });
  world.run_for(seconds(1));
  EXPECT_EQ(answer_to("third"), "100 third");
}

TEST_F(Router, LooksAgainWhereATargetIsInEverySessionWithTheFinder) {
  start_all();
  EXPECT_EQ(answer_to("first"), "100 first");
  LogCapture log;
  finder.reset();
  world.run_for(seconds(1));
  EchoProcess second(world.loop());
  start_finder();
  // The first one's sleep before its next attempt is longer by now.
  settle([&] { return second.router.ready(); }, seconds(1));
  settle([&] { return finder->registry().session_count() == 3; });
  world.run_for(seconds(1));
  static_cast<void>(answer_to("on the old connection"));
  world.run_for(seconds(1));
  EXPECT_EQ(answer_to("the second"), "100 the second");
  EXPECT_EQ(second.target.heard(), std::vector<std::string>{"the second"});
}

TEST_F(Router, RefusesARequestWhoseKeyItDidNotHandOut) {
  start_all();
  NetAddress where;
  for (const SimConnection& connection : world.network().connections()) {
    if (connection.listener.port != FINDER_PORT) where = connection.listener;
  }
  answer_to("connected");
  for (const SimConnection& connection : world.network().connections()) {
    if (connection.listener.port != FINDER_PORT) where = connection.listener;
  }
  struct Guest : XrlConnection::Delegate {
    void connection_up(XrlConnection& connection) override {
      connection.send_request(1, well_known_xrl_key("echo/0.1/refuse"), {});
    }
    void reply_arrived(XrlConnection&, std::uint32_t, const XrlError& error,
                       XrlArgsReader&) override {
      answer = error;
    }
    void connection_down(XrlConnection&, XrlConnection::Cause, std::string_view) override {}
    std::optional<XrlError> answer;
  } guest;
  XrlConnection connection(world.loop(), world.network().connect(where),
                           XrlConnection::Side::CONNECTING, where, {"guest", ""}, nullptr, guest);
  settle([&] { return guest.answer.has_value(); });
  EXPECT_EQ(guest.answer->str(),
            "202 NO_SUCH_METHOD the request's key names no method of this target.");
}

TEST_F(Router, HoldsNoMoreRepliesForAPeerThatNeverReadsThanTheHighWaterMark) {
  start_all();
  answer_to("connected");
  NetAddress where;
  for (const SimConnection& connection : world.network().connections()) {
    if (connection.listener.port != FINDER_PORT) where = connection.listener;
  }
  ByteBuffer args;
  XrlArgsWriter(args).u32("bytes", 100000);
  const XrlCmdMap::Command* fill = echo->router.find("echo/0.1/fill");
  ASSERT_NE(fill, nullptr);
  ByteBuffer bytes;
  xrl_frame::append_hello(bytes, {"greedy", ""});
  for (std::uint32_t i = 0; i < 1000; ++i) {
    xrl_frame::append_request(bytes, i, fill->key, args.bytes());
  }
  const int fd = world.network().connect(where);
  world.run_for(seconds(1));
  LogCapture log;
  while (!bytes.empty()) {
    const auto wrote = world.network().write(fd, bytes.bytes());
    if (wrote <= 0) break;
    bytes.consume(static_cast<std::size_t>(wrote));
    world.run_for(milliseconds(10));
  }
  world.run_for(seconds(20));
  EXPECT_TRUE(log.take().empty());
  world.run_for(seconds(20));
  const auto lines = log.take_lines();
  ASSERT_EQ(lines.size(), 1U) << "a peer that takes nothing for 30 s goes, with one line";
  EXPECT_NE(lines[0].find("the peer takes no data"), std::string::npos) << lines[0];
  world.network().close(fd);
  EXPECT_EQ(answer_to("still there"), "100 still there");
}

}  // namespace
