// What travels over the kernel's route socket: requests for all that there is, and the
// messages that answer them or tell of changes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "linuxcard/netlink/link_table.h"

// What can be asked for.
enum class RouteDump : std::uint8_t { LINKS, BRIDGE_VLANS };

struct RouteMessage {
  enum class Kind : std::uint8_t {
    LINK,              // `link` is there, or has changed
    LINK_GONE,         // the link of link.index is gone
    BRIDGE_PORT,       // `vlans` are those of link.index
    BRIDGE_PORT_GONE,  // link.index is no longer a port of a bridge
    DUMP_END,          // all that was asked for under `sequence` was told
    DUMP_REFUSED,      // what was asked for under `sequence` cannot be told: `error`
  };
  Kind kind = Kind::LINK;
  std::uint32_t sequence = 0;  // of the request that is answered; of no meaning otherwise
  int error = 0;               // an errno
  bool interrupted = false;    // things changed during the dump, which may be incomplete
  Link link;
  LinkVlans vlans;
};

using TakeRouteMessage = std::function<void(const RouteMessage&)>;

// Takes apart what one read of the socket brought. What is of no interest is passed over,
// and so is a message that makes no sense: false is answered then, and those after it are
// still taken where the length of the bad one can be trusted.
bool parse_route_messages(std::span<const std::uint8_t> bytes, const TakeRouteMessage& take);

// The request for a dump.
[[nodiscard]] std::vector<std::uint8_t> route_dump_request(RouteDump what, std::uint32_t sequence);
