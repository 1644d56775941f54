// AllowList: which hosts may connect to the finder.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "framework/base/ipv4.h"
#include "framework/base/network.h"

class AllowList {
 public:
  // This host alone: 127.0.0.0/8 and Unix-domain peers.
  AllowList() = default;

  // Adds "A.B.C.D/LEN", LEN 0 to 32 and no bit of the address set behind it
  // (a slip that would allow other hosts than were meant). False, and nothing
  // changes, for anything else.
  [[nodiscard]] bool add(std::string_view net);

  // Whether the host is this one or of a net that was added. Of `peer` its family
  // and host count.
  [[nodiscard]] bool allows(const NetAddress& peer) const;

 private:
  struct Net {
    std::uint32_t address;
    std::uint32_t mask;
  };
  std::vector<Net> _nets;
};
