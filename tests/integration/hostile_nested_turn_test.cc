// What peers say while the handler of another's request turns the loop.
#include "tests/integration/hostile_connection.h"

namespace {

using namespace hostile_bytes;
using namespace hostile_connection;

constexpr const char* WAIT = "test/0.1/wait";

// The method WAIT answers its text after `within` has run.
class HostileNestedTurn : public HostileConnection {
 protected:
  HostileNestedTurn() {
    commands.add_handler(WAIT, wait, this);
    world.network().set_partial(0);
  }

  std::function<void()> within = [] {};

 private:
  static XrlCmdError wait(void* self, XrlArgsReader& in, XrlArgsWriter& out) {
    std::string_view text;
    if (!in.text("text", text) || !in.finish()) return in.bad_args();
    static_cast<HostileNestedTurn*>(self)->within();
    out.text("said", text);
    return XrlCmdError::OKAY();
  }
};

TEST_F(HostileNestedTurn, LeavesTheArgumentsOfTheRunningRequestAlone) {
  Stranger other(world.loop(), HERE);
  other.say(hello("other-1"));
  settle([&] { return other.frames().size() == 1; });
  within = [&] {
    other.say(request(1, SAY, args("text:txt=" + std::string(1000, 'x'))));
    settle([&] { return other.frames().size() == 2; });
  };
  EXPECT_EQ(answers_to(hello("peer-1") + request(1, WAIT, args("text:txt=precious"))),
            (Lines{"hello echo-1", "reply 1 100 said:txt=precious"}));
}

TEST_F(HostileNestedTurn, LeavesTheAnswerOfTheRunningRequestAlone) {
  within = [&] { dispatcher.current()->hand_over(); };
  EXPECT_EQ(answers_to(hello("peer-1") + request(1, WAIT, args("text:txt=whole"))),
            (Lines{"hello echo-1", "reply 1 100 said:txt=whole"}));
}

}  // namespace
