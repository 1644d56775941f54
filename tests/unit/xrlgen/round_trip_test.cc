#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <string>

#include "tests/unit/xrlgen/every_type_target.h"
#include "tests/unit/xrlgen/interfaces/every_type_xif.h"
#include "tests/unit/xrlgen/interfaces/odd_names_xif.h"
#include "tests/unit/xrlgen/loopback_sender.h"

namespace {

// Runs a method that has no results and answers what its callback was told.
struct Heard {
  int times = 0;
  XrlError error;
  std::string text;
};

XrlAtomList numbers(std::initializer_list<std::uint32_t> values) {
  XrlAtomList list;
  for (const std::uint32_t value : values) list.append(value);
  return list;
}

XrlAtomList texts(std::initializer_list<const char*> values) {
  XrlAtomList list;
  for (const char* value : values) list.append(value);
  return list;
}

class RoundTrip : public testing::Test {
 protected:
  XrlCmdMap _cmds{"every_type"};
  EveryTypeTarget _target{&_cmds};
  LoopbackSender _sender{_cmds};
  XrlEveryTypeV0p1Client _client{&_sender};
  Heard _heard;

  // A callback of a method without results.
  auto hear() {
    return callback([this](const XrlError& error) {
      ++_heard.times;
      _heard.error = error;
    });
  }

  // Of get_level: its text is the level or "null".
  auto hear_level() {
    return callback([this](const XrlError& error, const std::uint32_t* level) {
      ++_heard.times;
      _heard.error = error;
      _heard.text = level == nullptr ? "null" : std::to_string(*level);
    });
  }

  auto hear_queues() {
    return callback(
        [this](const XrlError& error, const XrlAtomList* queues, const XrlAtomList* names) {
          ++_heard.times;
          _heard.error = error;
          _heard.text = queues == nullptr || names == nullptr ? "null" : queues->str();
        });
  }

  // What a handler answers to arguments in textual form.
  std::string answer_to(std::string_view method, std::string_view args) {
    return _sender.call(method, args).error.str();
  }
};

struct Echo {
  std::uint32_t a = 0;
  std::int32_t b = 0;
  std::uint64_t c = 0;
  std::int64_t d = 0;
  bool e = false;
  std::string f;
  IPv4 g;
  IPv6 h;
  Mac i;
  XrlAtom::Binary j;
  XrlAtomList k;
  XrlAtomList l;
  XrlAtomList m;
  bool operator==(const Echo&) const = default;
};

}  // namespace

class EveryType : public RoundTrip {
 protected:
  Echo echo(const Echo& sent) {
    Echo back;
    const bool queued = _client.send_echo(
        "every_type", sent.a, sent.b, sent.c, sent.d, sent.e, sent.f, sent.g, sent.h, sent.i,
        sent.j, sent.k, sent.l, sent.m,
        callback([&](const XrlError& error, const std::uint32_t* a, const std::int32_t* b,
                     const std::uint64_t* c, const std::int64_t* d, const bool* e,
                     const std::string_view* f, const IPv4* g, const IPv6* h, const Mac* i,
                     const std::span<const std::uint8_t>* j, const XrlAtomList* k,
                     const XrlAtomList* l, const XrlAtomList* m) {
          ++_heard.times;
          _heard.error = error;
          if (!error.is_okay()) return;
          back = {*a, *b, *c, *d, *e, std::string(*f), *g, *h, *i, {j->begin(), j->end()},
                  *k, *l, *m};
        }));
    EXPECT_TRUE(queued);
    _sender.deliver();
    EXPECT_EQ(_heard.times, 1);
    EXPECT_EQ(_heard.error.str(), XrlError().str());
    return back;
  }
};

TEST_F(EveryType, ComesBackAsItWasSent) {
  Echo sent;
  sent.a = 1;
  sent.b = -2;
  sent.c = 3;
  sent.d = -4;
  sent.e = true;
  sent.f = "five & six=seven";
  sent.g = IPv4(0xc0000201U);
  sent.h.bytes = {0x20, 0x01, 0x0d, 0xb8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
  sent.i.bytes = {0, 1, 2, 0xfd, 0xfe, 0xff};
  sent.j = {0, 255, 7};
  sent.k.append(XrlAtom("named", 8U));
  sent.k.append(XrlAtom::unnamed(std::string("mixed")));
  sent.l = numbers({9, 10});
  sent.m = texts({"eleven", "", "twelve"});
  EXPECT_EQ(echo(sent), sent);
}

TEST_F(EveryType, ComesBackAtItsLeast) {
  Echo sent;
  sent.b = std::numeric_limits<std::int32_t>::min();
  sent.d = std::numeric_limits<std::int64_t>::min();
  EXPECT_EQ(echo(sent), sent);
}

TEST_F(EveryType, ComesBackAtItsMost) {
  Echo sent;
  sent.a = std::numeric_limits<std::uint32_t>::max();
  sent.b = std::numeric_limits<std::int32_t>::max();
  sent.c = std::numeric_limits<std::uint64_t>::max();
  sent.d = std::numeric_limits<std::int64_t>::max();
  sent.e = true;
  sent.f = std::string(100000, 'x') + std::string("\0\xff", 2);
  sent.g = IPv4(0xffffffffU);
  sent.h.bytes.fill(0xff);
  sent.i.bytes.fill(0xff);
  sent.j.assign(100000, 0xff);
  for (std::uint32_t n = 0; n < 10000; ++n) sent.l.append(n);
  EXPECT_EQ(echo(sent), sent);
}

TEST_F(EveryType, HasItsNameInTextualForm) {
  Echo sent;
  sent.l = numbers({1});
  (void)echo(sent);
  EXPECT_EQ(_sender.args(),
            "a:u32=0&b:i32=0&c:u64=0&d:i64=0&e:bool=false&f:txt=&g:ipv4=0.0.0.0&h:ipv6=%3A%3A"
            "&i:mac=00%3A00%3A00%3A00%3A00%3A00&j:binary=&k:list=&l:list=:u32=1&m:list=");
}

TEST_F(RoundTrip, RequestNamesTargetAndMethodAsTheStubWasTold) {
  EXPECT_TRUE(_client.send_set_level("every_type-17", 7, "eth-0/1/1", hear()));
  EXPECT_EQ(_sender.target(), "every_type-17");
  EXPECT_EQ(_sender.method(), "every_type/0.1/set_level");
  EXPECT_EQ(_sender.args(), "level:u32=7&port:txt=eth-0/1/1");
  EXPECT_EQ(_target.level, 7U);
  EXPECT_EQ(_target.port, "eth-0/1/1");
}

TEST_F(RoundTrip, CallbackRunsOnceAndNotBeforeTheReply) {
  EXPECT_TRUE(_client.send_nothing("every_type", hear()));
  EXPECT_EQ(_heard.times, 0);
  _sender.deliver();
  EXPECT_EQ(_heard.times, 1);
  EXPECT_TRUE(_heard.error.is_okay());
}

TEST_F(RoundTrip, MethodWithoutArgumentsSendsNone) {
  EXPECT_TRUE(_client.send_set_level("every_type", 7, "p", hear()));
  EXPECT_TRUE(_client.send_nothing("every_type", hear()));
  EXPECT_EQ(_sender.args(), "");
  EXPECT_EQ(_target.calls, 2);
}

TEST_F(RoundTrip, StubMayGoBeforeTheReply) {
  auto client = std::make_unique<XrlEveryTypeV0p1Client>(&_sender);
  _target.level = 5;
  EXPECT_TRUE(client->send_get_level("every_type", "p", hear_level()));
  client.reset();
  _sender.deliver();
  EXPECT_EQ(_heard.text, "5");
}

TEST_F(RoundTrip, RequestThatIsNotQueuedIsNeverAnswered) {
  _sender.refuse();
  EXPECT_FALSE(_client.send_nothing("every_type", hear()));
  _sender.deliver();
  EXPECT_EQ(_heard.times, 0);
}

TEST_F(RoundTrip, RefusalReachesTheCallbackWithItsText) {
  _target.answer = XrlCmdError::COMMAND_FAILED("the port does not exist.");
  EXPECT_TRUE(_client.send_nothing("every_type", hear()));
  _sender.deliver();
  EXPECT_EQ(_heard.error.str(), "102 COMMAND_FAILED the port does not exist.");
}

TEST_F(RoundTrip, RefusalHasNoResults) {
  _target.level = 5;
  _target.answer = XrlCmdError::COMMAND_FAILED("no.");
  EXPECT_TRUE(_sender.call("every_type/0.1/get_level", "port:txt=p").results.empty());
  EXPECT_TRUE(_client.send_get_level("every_type", "p", hear_level()));
  _sender.deliver();
  EXPECT_EQ(_heard.error.str(), "102 COMMAND_FAILED no.");
  EXPECT_EQ(_heard.text, "null");
}

TEST_F(RoundTrip, ResultsBeginAsZero) {
  EXPECT_EQ(_sender.call("every_type/0.1/sum", "terms:list=").results_str(), "total:u32=0");
}

TEST_F(RoundTrip, ArgumentsInAnotherOrderAreFound) {
  EXPECT_EQ(answer_to("every_type/0.1/set_level", "port:txt=p&level:u32=3"), XrlError().str());
  EXPECT_EQ(_target.level, 3U);
}

TEST_F(RoundTrip, HandlerIsNotRunWithoutAllItsArguments) {
  EXPECT_EQ(answer_to("every_type/0.1/set_level", "level:u32=3"),
            "101 BAD_ARGS missing argument 'port'.");
  EXPECT_EQ(answer_to("every_type/0.1/set_level", ""), "101 BAD_ARGS missing argument 'level'.");
  EXPECT_EQ(_target.calls, 0);
}

TEST_F(RoundTrip, HandlerIsNotRunWithASurplusArgument) {
  EXPECT_EQ(answer_to("every_type/0.1/set_level", "level:u32=3&port:txt=p&colour:txt=red"),
            "101 BAD_ARGS surplus argument 'colour'.");
  EXPECT_EQ(answer_to("every_type/0.1/nothing", "colour:txt=red"),
            "101 BAD_ARGS surplus argument 'colour'.");
  EXPECT_EQ(_target.calls, 0);
}

TEST_F(RoundTrip, HandlerIsNotRunWithAnArgumentGivenTwice) {
  EXPECT_EQ(answer_to("every_type/0.1/set_level", "level:u32=3&port:txt=p&level:u32=3"),
            "101 BAD_ARGS argument 'level' given twice.");
  EXPECT_EQ(_target.calls, 0);
}

TEST_F(RoundTrip, HandlerIsNotRunWithAnArgumentOfAnotherType) {
  EXPECT_EQ(answer_to("every_type/0.1/set_level", "level:txt=3&port:txt=p"),
            "101 BAD_ARGS argument 'level' is txt, u32 expected.");
  EXPECT_EQ(answer_to("every_type/0.1/set_level", "level:i32=3&port:txt=p"),
            "101 BAD_ARGS argument 'level' is i32, u32 expected.");
  EXPECT_EQ(_target.calls, 0);
}

TEST_F(RoundTrip, HandlerIsNotRunWithAListOfOtherElements) {
  EXPECT_EQ(answer_to("every_type/0.1/set_queues", "queues:list=:txt=a"),
            "101 BAD_ARGS list 'queues' holds txt, u32 expected.");
  EXPECT_EQ(_target.calls, 0);
}

TEST_F(RoundTrip, EmptyListIsAListOfAnything) {
  EXPECT_EQ(answer_to("every_type/0.1/set_queues", "queues:list="), XrlError().str());
  EXPECT_EQ(_target.calls, 1);
}

TEST_F(RoundTrip, HandlerIsNotRunWithDamagedArguments) {
  ByteBuffer args;
  args.append("\x01", 1);
  EXPECT_EQ(_sender.call("every_type/0.1/nothing", args).error.code(), XrlErrorCode::BAD_ARGS);
  EXPECT_EQ(_sender.call("every_type/0.1/set_level", args).error.code(), XrlErrorCode::BAD_ARGS);
  EXPECT_EQ(_target.calls, 0);
}

TEST_F(RoundTrip, ElementOfAnUntypedListMayBeAnything) {
  EXPECT_EQ(_sender.call("every_type/0.1/sum", "terms:list=:u32=1,:u32=41").results_str(),
            "total:u32=42");
}

TEST_F(RoundTrip, HandlerThatMeetsAWrongElementAnswersBadArgsNamingTheList) {
  EXPECT_EQ(answer_to("every_type/0.1/sum", "terms:list=:txt=a"),
            "101 BAD_ARGS element of list 'terms': u32 expected, txt found.");
}

TEST_F(RoundTrip, HandlerThatMeetsAWrongElementAnswersBadArgsNamingAllItsUntypedLists) {
  EXPECT_EQ(answer_to("every_type/0.1/sum_both", "left:list=:u32=1&right:list=:bool=true"),
            "101 BAD_ARGS element of list 'left' or 'right': u32 expected, bool found.");
}

TEST_F(RoundTrip, ReplyWithoutAResultIsAnInternalError) {
  _sender.answer_with("");
  EXPECT_TRUE(_client.send_get_level("every_type", "p", hear_level()));
  _sender.deliver();
  EXPECT_EQ(_heard.times, 1);
  EXPECT_EQ(_heard.error.str(),
            "220 INTERNAL_ERROR reply to every_type/0.1/get_level: missing argument 'level'.");
  EXPECT_EQ(_heard.text, "null");
}

TEST_F(RoundTrip, ReplyWithAResultOfAnotherTypeIsAnInternalError) {
  _sender.answer_with("level:txt=high");
  EXPECT_TRUE(_client.send_get_level("every_type", "p", hear_level()));
  _sender.deliver();
  EXPECT_EQ(_heard.error.str(),
            "220 INTERNAL_ERROR reply to every_type/0.1/get_level: "
            "argument 'level' is txt, u32 expected.");
  EXPECT_EQ(_heard.text, "null");
}

TEST_F(RoundTrip, ReplyWithAListOfOtherElementsIsAnInternalError) {
  _target.queues = texts({"a"});
  EXPECT_TRUE(_client.send_get_queues("every_type", hear_queues()));
  _sender.deliver();
  EXPECT_EQ(_heard.error.str(),
            "220 INTERNAL_ERROR reply to every_type/0.1/get_queues: "
            "list 'queues' holds txt, u32 expected.");
  EXPECT_EQ(_heard.text, "null");
}

TEST_F(RoundTrip, ReplyWithASurplusResultIsAnInternalError) {
  _sender.answer_with("colour:txt=red");
  EXPECT_TRUE(_client.send_nothing("every_type", hear()));
  _sender.deliver();
  EXPECT_EQ(_heard.error.str(),
            "220 INTERNAL_ERROR reply to every_type/0.1/nothing: surplus argument 'colour'.");
}

TEST_F(RoundTrip, ListResultsReachTheCallback) {
  _target.queues = numbers({3, 1, 2});
  EXPECT_TRUE(_client.send_get_queues("every_type", hear_queues()));
  _sender.deliver();
  EXPECT_TRUE(_heard.error.is_okay());
  EXPECT_EQ(_heard.text, ":u32=3,:u32=1,:u32=2");
}

TEST_F(RoundTrip, ArgumentsMayBeCalledLikeWhatGeneratedCodeUses) {
  XrlOddNamesV10p20Client client(&_sender);
  std::string heard;
  EXPECT_TRUE(client.send_request(
      "every_type", 1, 2, 4, 8, 16, 32, 64,
      callback([&](const XrlError& error, const std::uint32_t* callback_result,
                   const std::uint32_t* error_result, const std::uint32_t* results,
                   const std::uint32_t* done, const std::uint32_t* complete) {
        heard = error.str();
        for (const std::uint32_t* result : {callback_result, error_result, results, done, complete})
          heard += " " + std::to_string(*result);
      })));
  _sender.deliver();
  EXPECT_EQ(heard, XrlError().str() + " 3 4 24 32 64");
  EXPECT_EQ(answer_to("odd_names/10.20/untyped", "wrong:list=:txt=a&in:list="),
            "101 BAD_ARGS element of list 'wrong' or 'in': u32 expected, txt found.");
}

TEST_F(RoundTrip, ArgumentsAndResultsMayBeCalledLikeGeneratedFunctions) {
  XrlOddNamesV10p20Client client(&_sender);
  std::string heard;
  EXPECT_TRUE(client.send_hidden(
      "every_type", 1, 2, callback([&](const XrlError& error, const std::uint32_t* bad_reply) {
        heard = error.str() + " " + std::to_string(*bad_reply);
      })));
  _sender.deliver();
  EXPECT_EQ(heard, XrlError().str() + " 3");
}

TEST_F(RoundTrip, MethodsMayBeCalledLikeTypesAndWordsOfInterfaceFiles) {
  XrlOddNamesV10p20Client client(&_sender);
  EXPECT_TRUE(client.send_list("every_type", XrlAtomList(), 5, "text", hear()));
  EXPECT_EQ(_target.port, "text");
  EXPECT_TRUE(client.send_send("every_type", 6, hear()));
  EXPECT_EQ(_target.level, 6U);
  EXPECT_TRUE(client.send_cmds("every_type", 1, "class", "text", 2, hear()));
  EXPECT_EQ(_target.port, "classtext");
  EXPECT_TRUE(client.send_interface("every_type", 1, 2, 4, hear()));
  EXPECT_EQ(_target.level, 7U);
  _sender.deliver();
  EXPECT_EQ(_heard.times, 4);
  EXPECT_TRUE(_heard.error.is_okay());
}

TEST(TargetBaseLife, AddsItsMethodsInTheOrderOfTheFiles) {
  XrlCmdMap cmds("every_type");
  const EveryTypeTarget target(&cmds);
  std::vector<std::string> methods;
  for (const auto& command : cmds.commands()) methods.push_back(command->method);
  const std::vector<std::string> expected = {
      "every_type/0.1/echo",      "every_type/0.1/nothing",    "every_type/0.1/set_level",
      "every_type/0.1/get_level", "every_type/0.1/set_queues", "every_type/0.1/get_queues",
      "every_type/0.1/sum",       "every_type/0.1/sum_both",   "odd_names/10.20/request",
      "odd_names/10.20/hidden",   "odd_names/10.20/untyped",   "odd_names/10.20/list",
      "odd_names/10.20/send",     "odd_names/10.20/cmds",      "odd_names/10.20/interface",
  };
  EXPECT_EQ(methods, expected);
}

TEST(TargetBaseLife, KnowsItsCommandMap) {
  XrlCmdMap cmds("every_type");
  EveryTypeTarget target(&cmds);
  EXPECT_EQ(target.cmds(), &cmds);
}

TEST(TargetBaseLife, TakesItsMethodsBackWhenItGoes) {
  XrlCmdMap cmds("every_type");
  auto target = std::make_unique<EveryTypeTarget>(&cmds);
  target.reset();
  EXPECT_TRUE(cmds.commands().empty());
}

TEST(TargetBaseLifeDeathTest, SecondOneOnTheSameCommandMapIsABugOfOurs) {
  XrlCmdMap cmds("every_type");
  const EveryTypeTarget target(&cmds);
  EXPECT_DEATH(EveryTypeTarget second(&cmds), "every_type/0.1/echo of every_type");
}
