#include "linuxcard/configuration.h"

#include <gtest/gtest.h>

#include <string>

#include "linuxcard/propose.h"

namespace {

using Names = std::map<std::string, std::string, std::less<>>;

std::string problem_of(const std::string& text) {
  try {
    static_cast<void>(parse_configuration(text));
  } catch (const ConfigurationError& error) {
    return error.what();
  }
  return "none";
}

TEST(LinuxcardConfiguration, NamesPortsAggregatesAndTheBridge) {
  const Configuration configuration = parse_configuration(
      "# front panel\n\nport 1/1/1 = swp1\r\n  port eth-1/1/2=swp2 # the second\nlag1 = bond0\n"
      "bridge = br0\nhold = 5");
  EXPECT_EQ(configuration.ports, (Names{{"1/1/1", "swp1"}, {"eth-1/1/2", "swp2"}}));
  EXPECT_EQ(configuration.aggregates, (Names{{"lag1", "bond0"}}));
  EXPECT_EQ(configuration.bridge, "br0");
  EXPECT_EQ(configuration.hold, std::chrono::seconds(5));
}

TEST(LinuxcardConfiguration, IsRefusedWithItsLine) {
  EXPECT_EQ(problem_of(""), "no port is named");
  EXPECT_EQ(problem_of("bridge = br0"), "no port is named");
  EXPECT_EQ(problem_of("\nport 1/1/1 swp1"), "line 2: '=' is missing");
  EXPECT_EQ(problem_of("port swp1 = swp1"),
            "line 1: 'swp1' is no name of a port; UNIT/SLOT/PORT is expected");
  EXPECT_EQ(problem_of("1/1/1 = swp1"),
            "line 1: '1/1/1' is the name of a port; 'port' is missing in front of it");
  EXPECT_EQ(problem_of("two words = swp1"),
            "line 1: 'port NAME', a name, 'bridge' or 'hold' is expected in front of '='");
  EXPECT_EQ(problem_of(" = swp1"),
            "line 1: 'port NAME', a name, 'bridge' or 'hold' is expected in front of '='");
  EXPECT_EQ(problem_of("port 1/1/1 ="), "line 1: '' is no name that a link of Linux can have");
  EXPECT_EQ(problem_of("port 1/1/1 = a-name-too-long0"),
            "line 1: 'a-name-too-long0' is no name that a link of Linux can have");
  EXPECT_EQ(problem_of("hold = soon"), "line 1: 'soon' is no number of seconds from 0 to 86400");
  EXPECT_EQ(problem_of("bridge = br0\nbridge = br1"), "line 2: the bridge is named already");
}

TEST(LinuxcardConfiguration, NamesEverythingOnce) {
  EXPECT_EQ(problem_of("port 1/1/1 = swp1\nport 1/1/1 = swp2"),
            "line 2: '1/1/1' is named in line 1 already");
  EXPECT_EQ(problem_of("port 1/1/1 = swp1\nport 1/1/2 = swp1"),
            "line 2: 'swp1' is named in line 1 already");
  EXPECT_EQ(problem_of("port 1/1/1 = swp1\nlag1 = swp1"),
            "line 2: 'swp1' is named in line 1 already");
}

PlacedLink link(const std::string& name, const std::string& bus, const std::string& port,
                const std::string& kind = "") {
  return {Link{1, name, 0, 0, 0, kind, true}, {bus, port}};
}

TEST(LinuxcardProposal, HasASlotForEachDeviceAndPortsInItsOrder) {
  const std::string text = propose_configuration(
      {link("swp10", "0000:02:00.0", "p10"), link("swp2", "0000:02:00.0", "p2"),
       link("eno1", "0000:01:00.0", ""), link("lo", "", ""), link("br0", "", "", "bridge"),
       link("bond0", "", "", "bond"), link("v", "", "", "veth")});
  EXPECT_EQ(text,
            "# Ports of this switch and what Linux calls them.\n"
            "\n# 0000:01:00.0\nport 1/1/1 = eno1\n"
            "\n# 0000:02:00.0\nport 1/2/1 = swp2\nport 1/2/2 = swp10\n"
            "\nlag1 = bond0\n\nbridge = br0\n");
  EXPECT_EQ(parse_configuration(text).ports.size(), 3U);
}

TEST(LinuxcardProposal, TakesVirtualLinksWhereThereAreNoOthers) {
  EXPECT_EQ(propose_configuration({link("veth10", "", "", "veth"), link("veth9", "", "", "veth"),
                                   link("lo", "", "")}),
            "# Ports of this switch and what Linux calls them.\n"
            "\n# virtual links\nport 1/1/1 = veth9\nport 1/1/2 = veth10\n");
}

TEST(LinuxcardProposal, LeavesTheBridgeOpenWhereThereAreSeveral) {
  EXPECT_EQ(propose_configuration({link("eno1", "0000:01:00.0", ""), link("br0", "", "", "bridge"),
                                   link("br1", "", "", "bridge")}),
            "# Ports of this switch and what Linux calls them.\n"
            "\n# 0000:01:00.0\nport 1/1/1 = eno1\n");
}

}  // namespace
