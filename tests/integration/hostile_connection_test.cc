// What one connection makes of what a stranger says to it, byte by byte and on
// virtual time; docs/wire-format.md tells the same as a table.
#include <gtest/gtest.h>

#include "framework/xrl/connection.h"
#include "framework/xrl/dispatcher.h"
#include "framework/xrl/listener.h"
#include "framework/xrl/well_known_cmd_map.h"
#include "tests/integration/hostile_bytes.h"
#include "tests/integration/hostile_stranger.h"
#include "tests/simulation/sim_world.h"
#include "tests/support/echo_target.h"
#include "tests/support/log_capture.h"

namespace {

using namespace hostile_bytes;
using std::chrono::milliseconds;
using std::chrono::seconds;
using Lines = std::vector<std::string>;

const NetAddress HERE = NetAddress::tcp(IPv4::loopback(), 4711);

// Runs what a test hands it as the handler of one method.
class Handler {
 public:
  using Function = std::function<void()>;
  Handler(XrlCmdMap& commands, const char* method, Function function)
      : _function(std::move(function)) {
    commands.add_handler(method, run, this);
  }

 private:
  static XrlCmdError run(void* handler, XrlArgsReader& /*in*/, XrlArgsWriter& out) {
    static_cast<Handler*>(handler)->_function();
    out.u32("done", 1);
    return XrlCmdError::OKAY();
  }
  Function _function;
};

class HostileConnection : public testing::Test {
 protected:
  void SetUp() override {
    dispatcher.set_commands(commands);
    ASSERT_EQ(listener.listen(HERE), 0);
  }
  static XrlListener::Options options() {
    XrlListener::Options options = XrlListener::default_options();
    options.hello.instance = "echo-1";
    return options;
  }
  void settle(const std::function<bool()>& done, Duration limit = seconds(2)) {
    ASSERT_TRUE(world.run_until(done, limit)) << world.report();
  }

  SimWorld world{7};
  WellKnownCmdMap commands{"echo"};
  EchoTarget target{&commands};
  XrlDispatcher dispatcher;
  XrlListener listener{world.loop(), dispatcher, options()};
};

TEST_F(HostileConnection, LetsAHandlerAskOnTheConnectionItAnswers) {
  const XrlKey key = well_known_xrl_key("peer/0.1/news");
  Handler handler(commands, "test/0.1/ask_back",
                  [&] { dispatcher.current()->send_request(77, key, {}); });
  dispatcher.set_commands(commands);
  Stranger peer(world.loop(), HERE);
  peer.say(hello("peer-1") + request(1, "test/0.1/ask_back"));
  settle([&] { return peer.frames().size() == 3; });
  EXPECT_EQ(peer.heard(), (Lines{"hello echo-1", "reply 1 100 done:u32=1", "request 77"}));
}

}  // namespace
