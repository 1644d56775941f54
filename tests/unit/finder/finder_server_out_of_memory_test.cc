// The finder with its connections where memory runs out at any place: who is
// still connected afterwards knows what is true.
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "framework/finder/finder_server.h"
#include "framework/xrl/xrl_args.h"
#include "framework/xrl/xrl_args_codec.h"
#include "tests/integration/hostile_bytes.h"
#include "tests/support/log_capture.h"
#include "tests/unit/finder/finder_peer.h"
#include "tests/unit/finder/prepared_streams.h"
#include "tests/unit/policy/counted_memory.h"

namespace {

// Names longer than what a string holds within itself.
const std::string WATCHER = "watcher-0123456789abcdef";
const std::string VLAN = "vlan-manager-of-the-switch";
const std::string POLICY = "policy-daemon-of-the-switch";

std::string registration(const std::string& class_name, const std::string& instance_name) {
  return hostile_bytes::args(FinderPeer::registration(class_name, instance_name));
}

// One that asked for nothing, a watcher of two classes, one of which lives, and one that
// resolved the latter.
class Scene {
 public:
  Scene() {
    ask(watcher, "finder/0.2/register_target", registration(WATCHER, WATCHER));
    for (const std::string& watched : {VLAN, POLICY}) {
      ask(watcher, "finder_event_notifier/0.1/register_class_event_interest",
          hostile_bytes::args("requester_instance:txt=" + WATCHER + "&class_name:txt=" + watched));
    }
    ask(vlan, "finder/0.2/register_target", registration(VLAN, VLAN));
    turn();
    ask(knowing, "finder/0.2/resolve_target", hostile_bytes::args("target:txt=" + VLAN));
    turn();
    EXPECT_EQ(classes(), (std::set<std::string>{WATCHER, VLAN}));
  }

  int greeted() {
    const int peer = streams.connect_peer();
    streams.say(peer, hostile_bytes::hello("peer"));
    return peer;
  }
  void ask(int peer, const char* method, const std::string& args) {
    streams.say(peer, hostile_bytes::request(++last_request, method, args));
  }
  void turn() {
    for (int i = 0; i < 8; ++i) _loop.run();
  }

  // Of clients.
  [[nodiscard]] std::set<std::string> classes() const {
    std::set<std::string> all;
    for (const FinderTarget* target : server().targets()) all.insert(target->class_name);
    all.erase("finder");
    return all;
  }
  [[nodiscard]] const FinderRegistry& server() const { return _server.registry(); }

  // The classes that live as far as a peer was told.
  std::set<std::string> classes_heard_of(int peer) {
    std::set<std::string> living;
    for_each_news(peer, [&](const XrlKey& key, const XrlArgs& args) {
      if (key == well_known_xrl_key("finder_event_observer/0.1/xrl_target_birth")) {
        living.insert(args[0].text());
      } else if (key == well_known_xrl_key("finder_event_observer/0.1/xrl_target_death")) {
        living.erase(args[0].text());
      }
    });
    return living;
  }
  // Whether a peer was told that what it had resolved is no longer true.
  bool heard_that_it_died(int peer) {
    bool died = false;
    for_each_news(peer, [&](const XrlKey& key, const XrlArgs&) {
      died = died || key == well_known_xrl_key("finder_client/0.1/target_died");
    });
    return died;
  }
  // The code of the answer to the last request; nothing when there was none.
  std::optional<std::uint32_t> last_answer(int peer) {
    std::optional<std::uint32_t> code;
    for_each_frame(peer, xrl_frame::Kind::REPLY, [&](std::span<const std::uint8_t> body) {
      xrl_frame::Reply reply;
      ASSERT_TRUE(xrl_frame::parse_reply(body, reply));
      if (reply.sequence == last_request) code = reply.code;
    });
    return code;
  }

  PreparedStreams streams;
  const int bystander = greeted();
  const int watcher = greeted();
  const int vlan = greeted();
  const int knowing = greeted();
  std::uint32_t last_request = 0;

 private:
  void for_each_frame(int peer, xrl_frame::Kind kind,
                      const std::function<void(std::span<const std::uint8_t>)>& use) {
    for (const std::string& frame : hostile_bytes::frames_of(streams.heard(peer))) {
      if (static_cast<xrl_frame::Kind>(frame[0]) != kind) continue;
      use(std::span(reinterpret_cast<const std::uint8_t*>(frame.data()), frame.size()).subspan(1));
    }
  }
  void for_each_news(int peer, const std::function<void(const XrlKey&, const XrlArgs&)>& use) {
    for_each_frame(peer, xrl_frame::Kind::REQUEST, [&](std::span<const std::uint8_t> body) {
      xrl_frame::Request request;
      ASSERT_TRUE(xrl_frame::parse_request(body, request));
      XrlKey key;
      std::copy_n(request.key, key.size(), key.begin());
      XrlArgs args;
      ASSERT_TRUE(XrlArgsReader(request.args).all(args));
      use(key, args);
    });
  }

  EventLoop _loop{streams, streams};
  FinderServer _server{_loop, NetAddress::tcp(IPv4::loopback(), 19999), AllowList(), ""};
};

using Operation = std::function<void(Scene&)>;
using Check = std::function<void(Scene&)>;

void expect_in_step(Scene& scene) {
  std::set<std::string> watched = scene.classes();
  watched.erase(WATCHER);
  if (!scene.streams.is_closed(scene.watcher)) {
    EXPECT_EQ(scene.classes_heard_of(scene.watcher), watched);
  }
  if (!scene.streams.is_closed(scene.knowing)) {
    EXPECT_EQ(scene.heard_that_it_died(scene.knowing), !watched.contains(VLAN));
  }
}

void expect_no_ghosts(Scene& scene) {
  std::size_t open = 0;
  for (const int peer : {scene.bystander, scene.watcher, scene.vlan, scene.knowing}) {
    if (!scene.streams.is_closed(peer)) ++open;
  }
  EXPECT_EQ(scene.server().session_count(), open);
  if (scene.streams.is_closed(scene.vlan)) {
    EXPECT_FALSE(scene.classes().contains(VLAN));
  }
}

// Lets memory run out at each place in turn while the finder does what
// `operation` asks of it, and gives it back.
void at_every_place(const Operation& operation, const Check& check) {
  bool reached = true;
  for (std::size_t successes = 0; reached; ++successes) {
    SCOPED_TRACE(std::to_string(successes) + " allocations");
    // It tells why it closes whom.
    const LogCapture log;
    Scene scene;
    operation(scene);
    {
      const MemoryLimit limit(successes);
      scene.turn();
      reached = MemoryLimit::was_reached();
    }
    scene.turn();
    check(scene);
    if (testing::Test::HasFailure()) return;
    ASSERT_TRUE(reached || successes > 0);
  }
}

void register_another(Scene& scene) {
  scene.ask(scene.vlan, "finder/0.2/register_target", registration(POLICY, POLICY));
}
void deregister(Scene& scene) {
  scene.ask(scene.vlan, "finder/0.2/deregister_target",
            hostile_bytes::args("instance_name:txt=" + VLAN));
}
void hang_up(Scene& scene) {
  scene.streams.hang_up(scene.vlan);
}

TEST(FinderServerOutOfMemory, WhoStaysHearsThatATargetDeregistered) {
  at_every_place(deregister, expect_in_step);
}

TEST(FinderServerOutOfMemory, WhoStaysHearsThatATargetTookThePlaceOfAnother) {
  at_every_place(register_another, expect_in_step);
}

TEST(FinderServerOutOfMemory, WhoStaysHearsThatATargetIsGone) {
  at_every_place(hang_up, expect_in_step);
}

TEST(FinderServerOutOfMemory, WhoStaysHearsThatManyTargetsAreGone) {
  at_every_place(
      [](Scene& scene) {
        std::vector<int> peers;
        for (char last = 'a'; last < 'q'; ++last) {
          const std::string name = std::string(200, 'n') + last;
          peers.push_back(scene.greeted());
          scene.ask(peers.back(), "finder/0.2/register_target", registration(name, name));
          scene.ask(
              scene.watcher, "finder_event_notifier/0.1/register_class_event_interest",
              hostile_bytes::args("requester_instance:txt=" + WATCHER + "&class_name:txt=" + name));
        }
        scene.turn();
        for (const int peer : peers) scene.streams.hang_up(peer);
      },
      expect_in_step);
}

TEST(FinderServerOutOfMemory, WhoIsGoneLeavesNothingBehind) {
  at_every_place(hang_up, expect_no_ghosts);
  at_every_place(register_another, expect_no_ghosts);
}

TEST(FinderServerOutOfMemory, TheAnswerToARegistrationIsTrue) {
  at_every_place(register_another, [](Scene& scene) {
    const std::optional<std::uint32_t> answer = scene.last_answer(scene.vlan);
    if (!answer) return;
    EXPECT_EQ(*answer == static_cast<std::uint32_t>(XrlErrorCode::OKAY),
              scene.classes().contains(POLICY));
  });
}

TEST(FinderServerOutOfMemory, ANewPeerIsASessionOrClosed) {
  int peer = 0;
  at_every_place(
      [&peer](Scene& scene) {
        peer = scene.greeted();
        scene.ask(peer, "finder/0.2/get_xrl_targets", {});
      },
      [&peer](Scene& scene) {
        const bool open = !scene.streams.is_closed(peer);
        EXPECT_EQ(scene.server().session_count(), open ? 5U : 4U);
        if (open) {
          EXPECT_TRUE(scene.last_answer(peer).has_value());
        }
      });
}

}  // namespace
