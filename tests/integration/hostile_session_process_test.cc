// Sessions of a real finder that lay claim to what is another's or take no news.
#include <cstdint>

#include "framework/xrl/limits.h"
#include "tests/integration/hostile_bytes.h"
#include "tests/integration/hostile_process.h"

namespace {

using namespace hostile_bytes;

class HostileSessions : public HostileProcesses {
 protected:
  static std::string registration(const std::string& class_name, const std::string& instance) {
    XrlArgs target =
        XrlArgs::parse("instance_name:txt=" + instance + "&class_name:txt=" + class_name +
                       "&addresses:list=:txt=127.0.0.1%3A1"
                       "&methods:list=:txt=finder_event_observer/0.1/xrl_target_birth,"
                       ":txt=finder_event_observer/0.1/xrl_target_death");
    XrlAtomList keys;
    for (int i = 0; i < 2; ++i) keys.append(XrlAtom::unnamed(XrlAtom::Binary(16, 7)));
    target.add(XrlAtom("keys", keys));
    return args(target);
  }
  std::string answer_to(Stranger& peer, const std::string& bytes) {
    const std::size_t before = peer.frames().size();
    peer.say(bytes);
    EXPECT_TRUE(turn_until([&] { return peer.frames().size() > before; }));
    return peer.heard().back();
  }
};

TEST_F(HostileSessions, GetNoNameThatAnotherOwns) {
  const std::string policyd(resolution.find("instance_name")->text());
  Stranger thief(loop(), finder_address);
  thief.say(hello("thief"));
  ASSERT_TRUE(turn_until([&] { return thief.frames().size() == 1; }));
  const std::string before = ask("finder/finder/0.2/get_instances");
  const auto claim = [&](const std::string& class_name, const std::string& instance) {
    return answer_to(thief,
                     request(1, "finder/0.2/register_target", registration(class_name, instance)));
  };
  EXPECT_EQ(claim("policy", "thief"),
            "reply 1 102 the class 'policy' is registered by another target.");
  EXPECT_EQ(claim("thief", policyd),
            "reply 1 102 the instance '" + policyd + "' is registered by another target.");
  EXPECT_EQ(claim("thief", "policy"),
            "reply 1 102 the instance 'policy' is registered by another target.");
  EXPECT_EQ(claim("finder", "thief"),
            "reply 1 102 the class 'finder' is registered by another target.");
  EXPECT_EQ(ask("finder/finder/0.2/get_instances"), before);
  expect_service();
  EXPECT_EQ(plane.finder->errors(), "");
}

TEST_F(HostileSessions, SpeakForNoOtherInstance) {
  const std::string policyd(resolution.find("instance_name")->text());
  Stranger thief(loop(), finder_address);
  thief.say(hello("thief"));
  ASSERT_TRUE(turn_until([&] { return thief.frames().size() == 1; }));
  EXPECT_EQ(
      answer_to(thief, request(1, "finder/0.2/register_target", registration("thief", "thief"))),
      "reply 1 100 ");
  // All that policyd asks for at its start is there, the mirror's last.
  std::string before;
  while (before.find("sif_mirror") == std::string::npos) {
    before = ask("finder/finder/0.2/get_interests");
  }
  const std::string theirs = args("requester_instance:txt=" + policyd + "&class_name:txt=vlan");
  const std::string interest = "finder_event_notifier/0.1/";
  for (const std::string& stolen :
       {request(2, interest + "register_class_event_interest", theirs),
        request(2, interest + "deregister_class_event_interest", theirs),
        request(2, "finder/0.2/deregister_target", args("instance_name:txt=" + policyd))}) {
    EXPECT_EQ(answer_to(thief, stolen).substr(0, 11), "reply 2 102");
  }
  EXPECT_EQ(ask("finder/finder/0.2/get_interests"), before);
  expect_service();
  EXPECT_EQ(plane.finder->errors(), "");
}

TEST_F(HostileSessions, ThatTakeNoNewsAreClosedBeforeTheyCostMuch) {
  const std::size_t before = resident_bytes(plane.finder->pid());
  const std::string noise_name(128, 'n');
  constexpr std::size_t DEAF = 100;
  Strangers deaf;
  for (std::size_t i = 0; i < DEAF; ++i) {
    const std::string name = "deaf" + std::to_string(i);
    deaf.push_back(std::make_unique<Stranger>(loop(), finder_address));
    deaf.back()->say(
        hello(name) + request(1, "finder/0.2/register_target", registration(name, name)) +
        request(2, "finder_event_notifier/0.1/register_class_event_interest",
                args("requester_instance:txt=" + name + "&class_name:txt=" + noise_name)));
    ASSERT_TRUE(turn_until([&] { return deaf.back()->frames().size() == 3; }));
    deaf.back()->set_reading(false);
  }
  // Each round is a birth and a death, told to all of them; together more than
  // a session may leave unread and the sockets between can hold.
  constexpr std::uint32_t ROUNDS = 20000;
  Stranger noise(loop(), finder_address);
  std::string rounds = hello("noise");
  for (std::uint32_t i = 0; i < ROUNDS; ++i) {
    rounds += request(i, "finder/0.2/register_target", registration(noise_name, noise_name));
    rounds += request(i, "finder/0.2/deregister_target", args("instance_name:txt=" + noise_name));
  }
  noise.say(rounds);
  while (noise.frames().size() < 2 * ROUNDS + 1) {
    const std::size_t heard = noise.frames().size();
    ASSERT_TRUE(turn_until([&] {
      return noise.frames().size() > heard + 5000 || noise.frames().size() == 2 * ROUNDS + 1;
    }));
    EXPECT_EQ(ask("finder/common/0.1/get_target_name"), "100 name:txt=finder");
    expect_resident_at_most(plane.finder->pid(),
                            before + xrl_limits::MAX_BUFFERED_BYTES + 16 * MIB);
  }
  expect_service();
  EXPECT_EQ(ask("finder/finder/0.2/get_xrl_targets").find("deaf"), std::string::npos);
  EXPECT_TRUE(plane.finder->wait_for_errors("closed the connection of", DEAF));
  EXPECT_EQ(count_lines(plane.finder->errors()), DEAF);
}

}  // namespace
