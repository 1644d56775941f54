// The description of a switch, as the chassis reads it from a file:
//
//     {"interfaces": [{"name": "eth-0/1/1"}, {"name": "lag1", "members": ["eth-0/1/1"]}],
//      "vlans": [10, 20], "cards": [17]}
//
// Each of the three may be missing; cards are those present at the start.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

class SwitchModel;

struct InterfaceDescription {
  std::string name;
  std::vector<std::string> members;  // of an aggregate
};

struct SwitchDescription {
  std::vector<InterfaceDescription> interfaces;
  std::vector<std::uint32_t> vlans;
  std::vector<std::uint32_t> cards;
};

// What is wrong with a description, and where:
// `interfaces[1].members[0] "eth-0/1/9": the interface does not exist.`
class DescriptionError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Throws DescriptionError for what is no JSON, unknown or repeated keys,
// values of a wrong type, numbers past 32 bits.
[[nodiscard]] SwitchDescription parse_description(const std::string& json);

// Builds the switch in an empty model. Throws DescriptionError for what the
// model refuses (a name, VLAN or card twice, an unknown member, ...), the model
// then being half-built.
void build_switch(const SwitchDescription& description, SwitchModel& model);
