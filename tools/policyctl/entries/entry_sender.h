// What an entry's kind needs to send a request.
#pragma once

#include <string>

#include "policy/interfaces/policy_config_xif.h"
#include "tools/policyctl/language/entry.h"

using PolicydClient = XrlPolicyConfigV0p1Client;

class EntrySender {
 public:
  using Done = XorpCallback<void, const XrlError&>::RefPtr;

  EntrySender(XrlSender* sender, const std::string& instance) : client(sender), policyd(instance) {}

  // The request for an interface or VLAN, by the method of the client for each; false when
  // it cannot be sent now.
  template <typename PortMethod, typename VlanMethod, typename... Arguments>
  bool send_at(const EntryKey& record, PortMethod of_port, VlanMethod of_vlan,
               const Arguments&... arguments) {
    if (record.name.empty()) {
      return (client.*of_vlan)(policyd, record.numbers[0], arguments..., done);
    }
    return (client.*of_port)(policyd, std::string(record.name.view()), arguments..., done);
  }

  PolicydClient client;
  const std::string& policyd;  // the instance that is changed
  Done done;                   // of the request that is sent next
  // Space that is used again.
  XrlAtomList list1;
  XrlAtomList list2;
};
