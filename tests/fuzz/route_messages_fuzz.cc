// Whatever the kernel's route socket brings: no read beyond it, no more messages than it
// can hold, names and VLANs within their limits, and what was taken does not depend on
// where the bytes lie.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "linuxcard/netlink/route_messages.h"
#include "tests/fuzz/fuzz_check.h"

namespace {

constexpr std::size_t SMALLEST_MESSAGE = 16;
constexpr std::size_t MAX_LINK_NAME = 15;
constexpr std::uint16_t LAST_VLAN = 4094;

std::size_t parse(const std::vector<std::uint8_t>& bytes) {
  std::size_t count = 0;
  parse_route_messages(bytes, [&](const RouteMessage& message) {
    ++count;
    FUZZ_CHECK(message.link.name.size() <= MAX_LINK_NAME);
    FUZZ_CHECK(message.vlans.untagged <= LAST_VLAN);
    FUZZ_CHECK(message.vlans.ids.empty() ||
               (*message.vlans.ids.begin() > 0 && *message.vlans.ids.rbegin() <= LAST_VLAN));
    FUZZ_CHECK(message.kind != RouteMessage::Kind::LINK || !message.link.name.empty());
    FUZZ_CHECK(message.kind != RouteMessage::Kind::DUMP_REFUSED || message.error > 0);
  });
  return count;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // Without a byte to spare, so that the sanitizer sees what is read beyond.
  const std::vector<std::uint8_t> bytes(data, data + size);
  const std::size_t count = parse(bytes);
  FUZZ_CHECK(count <= size / SMALLEST_MESSAGE);
  FUZZ_CHECK(parse(bytes) == count);
  return 0;
}
