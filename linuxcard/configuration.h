// Which of the machine's links are the switch, as its configuration file says:
//
//     # front panel
//     port 1/1/1 = swp1
//     port 1/1/2 = swp2
//     lag1 = bond0
//     bridge = br0
//     hold = 60
//
// `port` names a physical port by unit, slot and port; any other name is an aggregate's,
// whose members are the ports that the kernel says belong to it. `bridge` is the one whose
// VLANs are the switch's; `hold` is PolicyFollower's, in seconds.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>

struct Configuration {
  // Linux's name of each port and each aggregate, by its name in the switch.
  std::map<std::string, std::string, std::less<>> ports;
  std::map<std::string, std::string, std::less<>> aggregates;
  std::string bridge;  // empty: none
  std::chrono::seconds hold{60};
};

// What is wrong with a configuration, and where: `line 3: swp1 is named in line 1 already`.
class ConfigurationError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

inline constexpr std::size_t MAX_CONFIGURATION_BYTES = std::size_t{4} << 20U;

// Throws ConfigurationError for the first fault: a line that is none of the above, a name
// twice, a port whose name is none, a name that Linux cannot have, no port at all.
[[nodiscard]] Configuration parse_configuration(std::string_view text);
