// show.
#pragma once

#include <string>
#include <vector>

#include "tools/policyctl/commands/context.h"
#include "tools/policyctl/language/configuration.h"
#include "tools/policyctl/switch/read_switch.h"

// A part of a configuration as a command line names it: nothing for all of it,
// "cos", "time-ranges", "acls", "acl 10", "acl 10 rule 1", "interfaces",
// "interface eth-0/3/1", "vlans", "vlan 100".
class Selection {
 public:
  // Throws Failure USAGE, saying what is wrong.
  static Selection parse(const std::vector<std::string>& words);

  // What has to be read for it.
  [[nodiscard]] const SwitchParts& parts() const { return _parts; }
  // Drops all that is not selected. Throws Failure REFUSED when a single thing is
  // selected and is not there.
  void apply(Configuration& configuration) const;

 private:
  SwitchParts _parts;
  std::vector<std::string> _words;
};

// The configuration of the switch, as text that can be applied.
ExitStatus show_command(const Context& context, const Selection& selection);
