#include "tests/unit/linuxcard/scripted_kernel.h"

#include <gtest/gtest.h>
#include <libmnl/libmnl.h>
#include <linux/if.h>
#include <linux/if_bridge.h>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

namespace {

constexpr std::size_t ROOM = 65536;

nlmsghdr* begin(std::vector<std::uint8_t>& bytes, std::uint16_t type, std::uint32_t sequence,
                std::uint16_t flags, std::uint8_t family, std::uint32_t index, bool carrier) {
  bytes.assign(ROOM, 0);
  nlmsghdr* header = mnl_nlmsg_put_header(bytes.data());
  header->nlmsg_type = type;
  header->nlmsg_flags = flags;
  header->nlmsg_seq = sequence;
  auto* info = static_cast<ifinfomsg*>(mnl_nlmsg_put_extra_header(header, sizeof(ifinfomsg)));
  info->ifi_family = family;
  info->ifi_index = static_cast<int>(index);
  info->ifi_flags = IFF_UP;
  if (carrier) info->ifi_flags |= IFF_LOWER_UP;
  return header;
}

}  // namespace

std::vector<std::uint8_t> link_message(const Link& link, bool gone, std::uint32_t sequence,
                                       std::uint16_t flags) {
  std::vector<std::uint8_t> bytes;
  nlmsghdr* header = begin(bytes, gone ? RTM_DELLINK : RTM_NEWLINK, sequence, flags, AF_UNSPEC,
                           link.index, link.carrier);
  mnl_attr_put_strz(header, IFLA_IFNAME, link.name.c_str());
  mnl_attr_put_u32(header, IFLA_MTU, 1500);
  if (link.master != 0) mnl_attr_put_u32(header, IFLA_MASTER, link.master);
  if (link.lower != 0) mnl_attr_put_u32(header, IFLA_LINK, link.lower);
  if (!link.kind.empty()) {
    nlattr* info = mnl_attr_nest_start(header, IFLA_LINKINFO);
    mnl_attr_put_strz(header, IFLA_INFO_KIND, link.kind.c_str());
    if (link.vlan != 0) {
      nlattr* data = mnl_attr_nest_start(header, IFLA_INFO_DATA);
      mnl_attr_put_u16(header, IFLA_VLAN_ID, link.vlan);
      mnl_attr_nest_end(header, data);
    }
    mnl_attr_nest_end(header, info);
  }
  bytes.resize(header->nlmsg_len);
  return bytes;
}

std::vector<std::uint8_t> vlans_message(std::uint32_t index, const LinkVlans& vlans,
                                        std::uint32_t sequence) {
  std::vector<std::uint8_t> bytes;
  nlmsghdr* header = begin(bytes, RTM_NEWLINK, sequence, 0, AF_BRIDGE, index, true);
  nlattr* spec = mnl_attr_nest_start(header, IFLA_AF_SPEC);
  for (const std::uint16_t id : vlans.ids) {
    bridge_vlan_info info{0, id};
    if (id == vlans.untagged) info.flags = BRIDGE_VLAN_INFO_PVID | BRIDGE_VLAN_INFO_UNTAGGED;
    mnl_attr_put(header, IFLA_BRIDGE_VLAN_INFO, sizeof info, &info);
  }
  mnl_attr_nest_end(header, spec);
  bytes.resize(header->nlmsg_len);
  return bytes;
}

std::vector<std::uint8_t> end_message(std::uint32_t sequence, int error) {
  std::vector<std::uint8_t> bytes(ROOM);
  nlmsghdr* header = mnl_nlmsg_put_header(bytes.data());
  header->nlmsg_type = error == 0 ? NLMSG_DONE : NLMSG_ERROR;
  header->nlmsg_seq = sequence;
  auto* number = static_cast<std::int32_t*>(
      mnl_nlmsg_put_extra_header(header, error == 0 ? 4 : sizeof(nlmsgerr)));
  *number = -error;
  bytes.resize(header->nlmsg_len);
  return bytes;
}

Link& ScriptedKernel::link(const std::string& name) {
  return _links.at(index_of(name));
}

std::uint32_t ScriptedKernel::index_of(const std::string& name) const {
  for (const auto& [index, link] : _links) {
    if (link.name == name) return index;
  }
  ADD_FAILURE() << "no link " << name;
  return 0;
}

std::uint32_t ScriptedKernel::add(const std::string& name, const std::string& kind) {
  const std::uint32_t index = _next_index++;
  _links[index] = Link{index, name, 0, 0, 0, kind, true};
  tell(link_message(_links[index], false, 0));
  return index;
}

void ScriptedKernel::remove(const std::string& name) {
  const Link gone = link(name);
  _links.erase(gone.index);
  _vlans.erase(gone.index);
  for (auto& [index, other] : _links) {
    if (other.master != gone.index) continue;
    other.master = 0;
    tell(link_message(other, false, 0));
  }
  tell(link_message(gone, true, 0));
}

void ScriptedKernel::rename(const std::string& from, const std::string& to) {
  link(from).name = to;
  tell(link_message(link(to), false, 0));
}

void ScriptedKernel::set_master(const std::string& name, const std::string& master) {
  link(name).master = master.empty() ? 0 : index_of(master);
  tell(link_message(link(name), false, 0));
}

void ScriptedKernel::set_carrier(const std::string& name, bool carrier) {
  link(name).carrier = carrier;
  tell(link_message(link(name), false, 0));
}

std::uint32_t ScriptedKernel::add_vlan_device(const std::string& name, const std::string& lower,
                                              std::uint16_t vlan) {
  const std::uint32_t index = _next_index++;
  _links[index] = Link{index, name, 0, index_of(lower), vlan, "vlan", true};
  tell(link_message(_links[index], false, 0));
  return index;
}

void ScriptedKernel::set_vlans(const std::string& name, LinkVlans vlans) {
  const std::uint32_t index = index_of(name);
  _vlans[index] = std::move(vlans);
  tell(vlans_message(index, _vlans[index], 0));
}

void ScriptedKernel::overrun() {
  _overrun = true;
  _waiting.clear();
  _wake.schedule();
}

void ScriptedKernel::tell(std::vector<std::uint8_t> message) {
  if (_overrun || !_ready) return;
  _waiting.push_back(std::move(message));
  if (_waiting.size() > MAX_WAITING) overrun();
  _wake.schedule();
}

int ScriptedKernel::request(RouteDump what, std::uint32_t sequence) {
  ++_dumps;
  if (_refusal != 0) {
    tell(end_message(sequence, _refusal));
    return 0;
  }
  if (what == RouteDump::BRIDGE_VLANS) {
    for (const auto& [index, vlans] : _vlans) tell(vlans_message(index, vlans, sequence));
  } else {
    const bool torn = std::exchange(_tear, false);
    for (const auto& [index, link] : _links) {
      if (torn && index % 2 == 0) continue;
      tell(link_message(link, false, sequence, torn ? NLM_F_DUMP_INTR : 0));
    }
  }
  tell(end_message(sequence));
  return 0;
}

// As many whole messages as the buffer has room for.
int ScriptedKernel::receive(std::span<std::uint8_t> buffer) {
  if (std::exchange(_overrun, false)) return -ENOBUFS;
  std::size_t filled = 0;
  while (!_waiting.empty() && filled + _waiting.front().size() <= buffer.size()) {
    std::copy(_waiting.front().begin(), _waiting.front().end(),
              buffer.begin() + static_cast<std::ptrdiff_t>(filled));
    filled += MNL_ALIGN(_waiting.front().size());
    _waiting.pop_front();
  }
  return static_cast<int>(filled);
}

void ScriptedKernel::wake() {
  if (!_ready) return;
  _ready();
  if (!_waiting.empty() || _overrun) _wake.schedule();
}
