#include "linuxcard/netlink/route_messages.h"

#include <gtest/gtest.h>
#include <linux/netlink.h>

#include <cerrno>
#include <string>

#include "tests/unit/linuxcard/scripted_kernel.h"

namespace {

using Kind = RouteMessage::Kind;

std::vector<RouteMessage> parse(const std::vector<std::uint8_t>& bytes, bool sound = true) {
  std::vector<RouteMessage> messages;
  EXPECT_EQ(parse_route_messages(bytes,
                                 [&](const RouteMessage& message) { messages.push_back(message); }),
            sound);
  return messages;
}

const Link SWP1{7, "swp1", 3, 0, 0, "veth", true};

TEST(RouteMessages, TellOfALink) {
  const auto messages = parse(link_message(SWP1, false, 5));
  ASSERT_EQ(messages.size(), 1U);
  EXPECT_EQ(messages[0].kind, Kind::LINK);
  EXPECT_EQ(messages[0].sequence, 5U);
  EXPECT_EQ(messages[0].link, SWP1);
}

TEST(RouteMessages, TellOfALinkThatIsGone) {
  const auto messages = parse(link_message(SWP1, true, 0));
  ASSERT_EQ(messages.size(), 1U);
  EXPECT_EQ(messages[0].kind, Kind::LINK_GONE);
  EXPECT_EQ(messages[0].link.index, 7U);
}

TEST(RouteMessages, TellOfAVlanDevice) {
  const Link device{9, "swp1.20", 0, 7, 20, "vlan", false};
  const auto messages = parse(link_message(device, false, 0));
  ASSERT_EQ(messages.size(), 1U);
  EXPECT_EQ(messages[0].link, device);
}

TEST(RouteMessages, TellOfTheVlansOfABridgePort) {
  const auto messages = parse(vlans_message(7, {{1, 10, 11, 12}, 10}, 4));
  ASSERT_EQ(messages.size(), 1U);
  EXPECT_EQ(messages[0].kind, Kind::BRIDGE_PORT);
  EXPECT_EQ(messages[0].vlans, (LinkVlans{{1, 10, 11, 12}, 10}));
}

TEST(RouteMessages, ThatAPortLeavesItsBridgeIsNotTheEndOfItsLink) {
  std::vector<std::uint8_t> bytes = vlans_message(7, {}, 0);
  reinterpret_cast<nlmsghdr*>(bytes.data())->nlmsg_type = 17;  // RTM_DELLINK
  const auto messages = parse(bytes);
  ASSERT_EQ(messages.size(), 1U);
  EXPECT_EQ(messages[0].kind, Kind::BRIDGE_PORT_GONE);
}

TEST(RouteMessages, TellTheEndOfADumpAndWhyThereIsNone) {
  EXPECT_EQ(parse(end_message(3)).at(0).kind, Kind::DUMP_END);
  const auto refused = parse(end_message(3, EBUSY));
  ASSERT_EQ(refused.size(), 1U);
  EXPECT_EQ(refused[0].kind, Kind::DUMP_REFUSED);
  EXPECT_EQ(refused[0].error, EBUSY);
}

TEST(RouteMessages, TellThatADumpWasTorn) {
  EXPECT_TRUE(parse(link_message(SWP1, false, 5, NLM_F_DUMP_INTR)).at(0).interrupted);
}

TEST(RouteMessages, ComeManyAtATime) {
  std::vector<std::uint8_t> bytes = link_message(SWP1, false, 5);
  const std::vector<std::uint8_t> more = end_message(5);
  bytes.insert(bytes.end(), more.begin(), more.end());
  EXPECT_EQ(parse(bytes).size(), 2U);
}

TEST(RouteMessages, OneThatMakesNoSenseIsPassedOverAlone) {
  std::vector<std::uint8_t> bytes = link_message(Link{7, "", 0, 0, 0, "", true}, false, 5);
  const std::vector<std::uint8_t> more = end_message(5);
  bytes.insert(bytes.end(), more.begin(), more.end());
  const auto messages = parse(bytes, false);
  ASSERT_EQ(messages.size(), 1U);
  EXPECT_EQ(messages[0].kind, Kind::DUMP_END);
}

TEST(RouteMessages, CutAnywhereNeitherCrashNorTellMore) {
  const std::vector<std::uint8_t> whole = link_message(SWP1, false, 5);
  for (std::size_t size = 0; size < whole.size(); ++size) {
    std::vector<RouteMessage> messages;
    parse_route_messages(std::span(whole).first(size),
                         [&](const RouteMessage& message) { messages.push_back(message); });
    EXPECT_TRUE(messages.empty()) << size;
  }
}

}  // namespace
