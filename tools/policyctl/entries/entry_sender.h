// What an entry's kind needs to send a request.
#pragma once

#include <string>

#include "policy/interfaces/policy_config_xif.h"

class EntrySender {
 public:
  using Done = XorpCallback<void, const XrlError&>::RefPtr;

  EntrySender(XrlSender* sender, const std::string& instance) : client(sender), policyd(instance) {}

  XrlPolicyConfigV0p1Client client;
  const std::string& policyd;  // the instance that is changed
  Done done;                   // of the request that is sent next
  // Space that is used again.
  XrlAtomList list1;
  XrlAtomList list2;
};
