// What tests of one connection share: a listener on virtual time with an echo
// target behind it, and what strangers get from it.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "framework/xrl/router/xrl_dispatcher.h"
#include "framework/xrl/router/xrl_listener.h"
#include "framework/xrl/well_known_cmd_map.h"
#include "tests/integration/hostile_bytes.h"
#include "tests/integration/hostile_stranger.h"
#include "tests/simulation/sim_world.h"
#include "tests/support/echo_target.h"
#include "tests/support/log_capture.h"

namespace hostile_connection {

using Lines = std::vector<std::string>;

inline const NetAddress HERE = NetAddress::tcp(IPv4::loopback(), 4711);
inline constexpr const char* SAY = "echo/0.1/say";
inline constexpr const char* SUM = "echo/0.1/sum";
inline constexpr const char* FILL = "echo/0.1/fill";

// Runs what a test hands it as the handler of one method.
class Handler {
 public:
  using Function = std::function<void()>;
  // Each answer has a text of so many bytes, if any.
  Handler(XrlCmdMap& commands, const char* method, Function function, std::size_t bytes = 0)
      : _function(std::move(function)), _text(bytes, 'x') {
    commands.add_handler(method, run, this);
  }

 private:
  static XrlCmdError run(void* handler, XrlArgsReader& /*in*/, XrlArgsWriter& out) {
    static_cast<Handler*>(handler)->_function();
    out.u32("done", 1);
    const std::string& text = static_cast<Handler*>(handler)->_text;
    if (!text.empty()) out.text("text", text);
    return XrlCmdError::OKAY();
  }
  Function _function;
  std::string _text;
};

// The log lines so far, without the addresses of the peers.
inline Lines closings(LogCapture& log) {
  Lines all;
  for (const std::string& line : log.take_lines()) {
    const std::size_t reason = line.rfind("closed the connection of ");
    all.push_back(reason == std::string::npos ? line : line.substr(line.find(": ", reason) + 2));
  }
  return all;
}

}  // namespace hostile_connection

class HostileConnection : public testing::Test {
 protected:
  using Lines = hostile_connection::Lines;

  void SetUp() override {
    dispatcher.set_commands(commands);
    ASSERT_EQ(listener.listen(hostile_connection::HERE), 0);
  }
  static XrlListener::Options options() {
    XrlListener::Options options = XrlListener::default_options();
    options.hello.instance = "echo-1";
    return options;
  }
  void settle(const std::function<bool()>& done, Duration limit = std::chrono::seconds(2)) {
    ASSERT_TRUE(world.run_until(done, limit)) << world.report();
  }
  // What it hears until it is silent for a second.
  Lines answers_to(const std::string& bytes) {
    Stranger peer(world.loop(), hostile_connection::HERE);
    peer.say(bytes);
    world.run_for(std::chrono::seconds(1));
    return peer.heard();
  }
  // Why a peer is closed that says this, or "open".
  std::string end_of(const std::string& bytes) {
    LogCapture log;
    Stranger peer(world.loop(), hostile_connection::HERE);
    peer.say(bytes);
    world.run_for(std::chrono::seconds(1));
    const Lines lines = hostile_connection::closings(log);
    EXPECT_LE(lines.size(), 1U);
    EXPECT_EQ(peer.is_refused(), !lines.empty());
    return lines.empty() ? "open" : lines.front();
  }
  void expect_service() {
    EXPECT_EQ(answers_to(hostile_bytes::hello("honest-1") +
                         hostile_bytes::request(1, hostile_connection::SAY,
                                                hostile_bytes::args("text:txt=there"))),
              (Lines{"hello echo-1", "reply 1 100 said:txt=there"}));
  }

  SimWorld world{7};
  WellKnownCmdMap commands{"echo"};
  EchoTarget target{&commands};
  XrlDispatcher dispatcher;
  XrlListener listener{world.loop(), dispatcher, options()};
};
