#include "linuxcard/netlink/route_messages.h"

#include <libmnl/libmnl.h>
#include <linux/if.h>
#include <linux/if_bridge.h>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstring>

namespace {

constexpr std::uint16_t FIRST_VLAN = 1;
constexpr std::uint16_t LAST_VLAN = 4094;

bool is_vlan(std::uint16_t id) {
  return id >= FIRST_VLAN && id <= LAST_VLAN;
}

// Runs `take` for each attribute behind `offset` bytes of the message's payload, or
// within `nest`; false when one reaches past the end, or `take` answers false.
template <typename Take>
bool for_each_attribute(const std::uint8_t* begin, std::size_t size, Take take) {
  const auto* attribute = reinterpret_cast<const nlattr*>(begin);
  auto left = static_cast<int>(size);
  while (mnl_attr_ok(attribute, left)) {
    if (!take(*attribute)) return false;
    left -= MNL_ALIGN(mnl_attr_get_len(attribute));
    attribute = mnl_attr_next(attribute);
  }
  return left <= 0;
}

template <typename Take>
bool for_each_nested(const nlattr& nest, Take take) {
  return for_each_attribute(static_cast<const std::uint8_t*>(mnl_attr_get_payload(&nest)),
                            mnl_attr_get_payload_len(&nest), take);
}

template <typename Number>
bool read_number(const nlattr& attribute, Number& out) {
  if (mnl_attr_get_payload_len(&attribute) != sizeof(Number)) return false;
  std::memcpy(&out, mnl_attr_get_payload(&attribute), sizeof(Number));
  return true;
}

// With or without the final NUL, which the kernel writes and counts.
bool read_text(const nlattr& attribute, std::size_t longest, std::string& out) {
  const auto* text = static_cast<const char*>(mnl_attr_get_payload(&attribute));
  const std::size_t size = strnlen(text, mnl_attr_get_payload_len(&attribute));
  if (size == 0 || size > longest) return false;
  out.assign(text, size);
  return true;
}

bool read_link_info(const nlattr& nest, Link& link) {
  const nlattr* data = nullptr;
  const bool read = for_each_nested(nest, [&](const nlattr& attribute) {
    switch (mnl_attr_get_type(&attribute)) {
      case IFLA_INFO_KIND:
        return read_text(attribute, IFNAMSIZ, link.kind);
      case IFLA_INFO_DATA:
        data = &attribute;
        return true;
      default:
        return true;
    }
  });
  if (!read || data == nullptr || link.kind != "vlan") return read;
  return for_each_nested(*data, [&](const nlattr& attribute) {
    return mnl_attr_get_type(&attribute) != IFLA_VLAN_ID || read_number(attribute, link.vlan);
  });
}

bool read_link_attribute(const nlattr& attribute, Link& link) {
  switch (mnl_attr_get_type(&attribute)) {
    case IFLA_IFNAME:
      return read_text(attribute, IFNAMSIZ - 1, link.name);
    case IFLA_MASTER:
      return read_number(attribute, link.master);
    case IFLA_LINK:
      return read_number(attribute, link.lower);
    case IFLA_LINKINFO:
      return read_link_info(attribute, link);
    default:
      return true;
  }
}

// A range is told as its first and its last id.
bool read_vlan(const nlattr& attribute, std::uint16_t& range_begin, LinkVlans& vlans) {
  bridge_vlan_info info{};
  if (!read_number(attribute, info) || !is_vlan(info.vid)) return false;
  if ((info.flags & BRIDGE_VLAN_INFO_PVID) != 0) vlans.untagged = info.vid;
  if ((info.flags & BRIDGE_VLAN_INFO_RANGE_BEGIN) != 0) {
    range_begin = info.vid;
    return true;
  }
  const std::uint16_t first =
      (info.flags & BRIDGE_VLAN_INFO_RANGE_END) != 0 && range_begin != 0 ? range_begin : info.vid;
  for (std::uint32_t id = first; id <= info.vid; ++id) {
    vlans.ids.insert(static_cast<std::uint16_t>(id));
  }
  range_begin = 0;
  return true;
}

bool read_bridge_attribute(const nlattr& attribute, LinkVlans& vlans) {
  if (mnl_attr_get_type(&attribute) != IFLA_AF_SPEC) return true;
  std::uint16_t range_begin = 0;
  return for_each_nested(attribute, [&](const nlattr& inner) {
    return mnl_attr_get_type(&inner) != IFLA_BRIDGE_VLAN_INFO ||
           read_vlan(inner, range_begin, vlans);
  });
}

// A link as such, or what a bridge says of one: the family tells.
bool read_link(const nlmsghdr& header, RouteMessage& message) {
  ifinfomsg info{};
  if (mnl_nlmsg_get_payload_len(&header) < sizeof info) return false;
  std::memcpy(&info, mnl_nlmsg_get_payload(&header), sizeof info);
  if (info.ifi_index <= 0) return false;
  const bool of_bridge = info.ifi_family == AF_BRIDGE;
  const bool gone = header.nlmsg_type == RTM_DELLINK;
  message.kind = of_bridge ? RouteMessage::Kind::BRIDGE_PORT : RouteMessage::Kind::LINK;
  if (gone) {
    message.kind = of_bridge ? RouteMessage::Kind::BRIDGE_PORT_GONE : RouteMessage::Kind::LINK_GONE;
  }
  message.link.index = static_cast<std::uint32_t>(info.ifi_index);
  message.link.carrier = (info.ifi_flags & IFF_UP) != 0 && (info.ifi_flags & IFF_LOWER_UP) != 0;
  if (gone) return true;
  const auto* payload = static_cast<const std::uint8_t*>(mnl_nlmsg_get_payload(&header));
  const std::size_t head = MNL_ALIGN(sizeof info);
  const std::size_t size = mnl_nlmsg_get_payload_len(&header);
  if (size < head) return false;
  const bool read = for_each_attribute(payload + head, size - head, [&](const nlattr& attribute) {
    return of_bridge ? read_bridge_attribute(attribute, message.vlans)
                     : read_link_attribute(attribute, message.link);
  });
  return read && (of_bridge || !message.link.name.empty());
}

// The number behind the head is an errno, negative; 0 acknowledges, which nobody asked for.
bool read_end(const nlmsghdr& header, RouteMessage& message) {
  std::int32_t number = 0;
  if (mnl_nlmsg_get_payload_len(&header) >= sizeof number) {
    std::memcpy(&number, mnl_nlmsg_get_payload(&header), sizeof number);
  } else if (header.nlmsg_type == NLMSG_ERROR) {
    return false;
  }
  message.error = number < 0 && number > INT32_MIN ? -number : 0;
  message.kind =
      message.error != 0 ? RouteMessage::Kind::DUMP_REFUSED : RouteMessage::Kind::DUMP_END;
  return header.nlmsg_type == NLMSG_DONE || message.error != 0;
}

bool read_message(const nlmsghdr& header, const TakeRouteMessage& take) {
  RouteMessage message;
  message.sequence = header.nlmsg_seq;
  message.interrupted = (header.nlmsg_flags & NLM_F_DUMP_INTR) != 0;
  bool read = false;
  switch (header.nlmsg_type) {
    case RTM_NEWLINK:
    case RTM_DELLINK:
      read = read_link(header, message);
      break;
    case NLMSG_DONE:
    case NLMSG_ERROR:
      read = read_end(header, message);
      break;
    default:
      return true;
  }
  if (read) take(message);
  return read;
}

}  // namespace

bool parse_route_messages(std::span<const std::uint8_t> bytes, const TakeRouteMessage& take) {
  bool sound = true;
  while (bytes.size() >= sizeof(nlmsghdr)) {
    const auto* header = reinterpret_cast<const nlmsghdr*>(bytes.data());
    // libmnl takes a length past 2^31 for a negative one.
    const std::size_t size = header->nlmsg_len;
    if (size < sizeof(nlmsghdr) || size > bytes.size()) return false;
    if (!read_message(*header, take)) sound = false;
    bytes = bytes.subspan(std::min<std::size_t>(MNL_ALIGN(size), bytes.size()));
  }
  return sound && bytes.empty();
}

std::vector<std::uint8_t> route_dump_request(RouteDump what, std::uint32_t sequence) {
  std::vector<std::uint8_t> request(256);
  nlmsghdr* header = mnl_nlmsg_put_header(request.data());
  header->nlmsg_type = RTM_GETLINK;
  header->nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
  header->nlmsg_seq = sequence;
  auto* info = static_cast<ifinfomsg*>(mnl_nlmsg_put_extra_header(header, sizeof(ifinfomsg)));
  const bool vlans = what == RouteDump::BRIDGE_VLANS;
  info->ifi_family = vlans ? AF_BRIDGE : AF_UNSPEC;
  mnl_attr_put_u32(header, IFLA_EXT_MASK, vlans ? RTEXT_FILTER_BRVLAN : RTEXT_FILTER_SKIP_STATS);
  request.resize(header->nlmsg_len);
  return request;
}
