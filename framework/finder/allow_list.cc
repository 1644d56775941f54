#include "framework/finder/allow_list.h"

#include <algorithm>

#include "framework/base/decimal.h"

namespace {

constexpr unsigned LONGEST_PREFIX = 32;

// Shifting by all 32 bits is not defined.
std::uint32_t mask_of(unsigned length) {
  return length == 0 ? 0 : ~0U << (LONGEST_PREFIX - length);
}

}  // namespace

bool AllowList::add(std::string_view net) {
  const std::size_t slash = net.find('/');
  if (slash == std::string_view::npos) return false;
  IPv4 address;
  unsigned length = 0;
  if (!IPv4::parse(net.substr(0, slash), address) ||
      !parse_plain_decimal(net.substr(slash + 1), length) || length > LONGEST_PREFIX) {
    return false;
  }
  const std::uint32_t mask = mask_of(length);
  if ((address.host_order() & ~mask) != 0) return false;
  _nets.push_back({address.host_order(), mask});
  return true;
}

bool AllowList::allows(const NetAddress& peer) const {
  if (peer.family == NetAddress::Family::UNIX || peer.host.is_loopback()) return true;
  return std::any_of(_nets.begin(), _nets.end(), [&](const Net& net) {
    return (peer.host.host_order() & net.mask) == net.address;
  });
}
