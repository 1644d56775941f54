// Reads what a switch's traffic policy is.
#pragma once

#include "tools/policyctl/language/configuration.h"
#include "tools/policyctl/switch/switch_session.h"

// What of it.
struct SwitchParts {
  bool class_of_service = false;
  bool time_ranges = false;
  bool acls = false;      // with their rules
  bool bindings = false;  // of every interface and VLAN, known from their managers

  [[nodiscard]] static SwitchParts all() { return {true, true, true, true}; }
};

// Every interface and VLAN that policyd knows is in the answer, bound to or not.
// What appears or goes while it is read may or may not be. Throws Failure.
[[nodiscard]] Configuration read_switch(SwitchSession& session, const SwitchParts& parts);
