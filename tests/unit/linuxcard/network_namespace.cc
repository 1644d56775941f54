#include "tests/unit/linuxcard/network_namespace.h"

#include <fcntl.h>
#include <linux/if_ether.h>
#include <linux/if_packet.h>
#include <net/if.h>
#include <poll.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <system_error>

namespace {

void must(int result, const char* what) {
  if (result < 0) throw std::system_error(errno, std::generic_category(), what);
}

// One process for many changes: starting one takes longer than all of them.
void change_links(const std::string& lines) {
  FILE* const ip = popen("ip -batch - >/dev/null 2>&1", "w");
  if (ip == nullptr) throw std::runtime_error("cannot run ip");
  (void)std::fputs(lines.c_str(), ip);
  if (pclose(ip) != 0) throw std::runtime_error("refused: " + lines);
}

// False where the kernel has no such setting.
bool set_setting(const std::string& path, const char* value) {
  std::ofstream file("/proc/sys/net/" + path);
  return static_cast<bool>(file << value << std::flush);
}

constexpr int LONG_MS = 60000;
constexpr int SOON_MS = 20;
constexpr const char* BPF_ROOT = "/sys/fs/bpf";

}  // namespace

NetworkNamespace::NetworkNamespace()
    : _before(open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC)) {
  must(_before, "open namespace");
  must(unshare(CLONE_NEWNET), "unshare");
  (void)set_setting("ipv6/conf/default/disable_ipv6", "1");
  change_links("link set lo up\n");
}

NetworkNamespace::~NetworkNamespace() {
  (void)setns(_before, CLONE_NEWNET);
  close(_before);
}

void NetworkNamespace::add_wire(const std::string& one, const std::string& other) const {
  change_links("link add " + one + " type veth peer name " + other + "\nlink set " + one +
               " up\nlink set " + other + " up\n");
}

void NetworkNamespace::add_bridge(const std::string& name, const std::string& one,
                                  const std::string& other) const {
  std::string lines = "link add " + name + " type bridge mcast_snooping 0\n";
  for (const std::string& port : {one, other}) {
    // Learning: or a frame to whom an earlier one came from would not go on.
    lines += "link set " + port + " master " + name + "\nlink set " + port +
             " type bridge_slave learning off\n";
  }
  change_links(lines + "link set " + name + " up\n");
  // Where the kernel has it, it drops what it thinks is no packet.
  for (const char* family : {"iptables", "ip6tables", "arptables"}) {
    (void)set_setting(std::string("bridge/bridge-nf-call-") + family, "0");
  }
}

void NetworkNamespace::remove(const std::string& interface) const {
  change_links("link delete " + interface + "\n");
}

void stay_on_one_processor() {
  cpu_set_t here;
  CPU_ZERO(&here);
  CPU_SET(static_cast<unsigned>(sched_getcpu()), &here);
  must(sched_setaffinity(0, sizeof here, &here), "sched_setaffinity");
}

std::uint32_t index_of(const std::string& interface) {
  return if_nametoindex(interface.c_str());
}

FrameSocket::FrameSocket(const std::string& interface)
    : _fd(socket(AF_PACKET, SOCK_RAW | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)) {
  must(_fd, "socket");
  const int yes = 1;
  must(setsockopt(_fd, SOL_PACKET, PACKET_AUXDATA, &yes, sizeof yes), "auxdata");
  sockaddr_ll address{};
  address.sll_family = AF_PACKET;
  address.sll_protocol = __builtin_bswap16(ETH_P_ALL);
  address.sll_ifindex = static_cast<int>(index_of(interface));
  must(bind(_fd, reinterpret_cast<sockaddr*>(&address), sizeof address), "bind");
}

FrameSocket::~FrameSocket() {
  close(_fd);
}

void FrameSocket::send(const std::vector<std::uint8_t>& frame) const {
  const ssize_t sent = ::send(_fd, frame.data(), frame.size(), 0);
  must(static_cast<int>(sent), "send");
}

void FrameSocket::wait() const {
  for (int i = 0; i < LONG_MS / SOON_MS; ++i) {
    if (hears()) return;
  }
  throw std::runtime_error("nothing came in");
}

bool FrameSocket::hears() const {
  pollfd waiting{_fd, POLLIN, 0};
  return poll(&waiting, 1, SOON_MS) == 1;
}

void await_way(const std::string& from, const std::string& to) {
  const FrameSocket near(from);
  const FrameSocket far(to);
  // To everybody, of the type for local experiments.
  std::vector<std::uint8_t> probe{0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 2, 0, 0, 0, 0, 1, 0x88, 0xb5};
  probe.resize(64);
  for (int i = 0; i < LONG_MS / SOON_MS; ++i) {
    near.send(probe);
    if (far.hears()) return;
  }
  throw std::runtime_error("no frame gets from " + from + " to " + to);
}

std::vector<std::uint8_t> FrameSocket::receive() const {
  while (true) {
    std::vector<std::uint8_t> frame(4096);
    std::array<char, 256> control{};
    sockaddr_ll from{};
    iovec data{frame.data(), frame.size()};
    msghdr message{};
    message.msg_name = &from;
    message.msg_namelen = sizeof from;
    message.msg_iov = &data;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    const ssize_t size = recvmsg(_fd, &message, 0);
    if (size < 0) return {};
    if (from.sll_pkttype == PACKET_OUTGOING) continue;
    frame.resize(static_cast<std::size_t>(size));
    for (cmsghdr* c = CMSG_FIRSTHDR(&message); c != nullptr; c = CMSG_NXTHDR(&message, c)) {
      if (c->cmsg_level != SOL_PACKET || c->cmsg_type != PACKET_AUXDATA) continue;
      tpacket_auxdata auxiliary{};
      std::memcpy(&auxiliary, CMSG_DATA(c), sizeof auxiliary);
      if ((auxiliary.tp_status & TP_STATUS_VLAN_VALID) == 0) continue;
      const std::array<std::uint8_t, 4> tag{static_cast<std::uint8_t>(auxiliary.tp_vlan_tpid >> 8),
                                            static_cast<std::uint8_t>(auxiliary.tp_vlan_tpid),
                                            static_cast<std::uint8_t>(auxiliary.tp_vlan_tci >> 8),
                                            static_cast<std::uint8_t>(auxiliary.tp_vlan_tci)};
      frame.insert(frame.begin() + 12, tag.begin(), tag.end());
    }
    return frame;
  }
}

PinFolder::PinFolder() : _path(std::string(BPF_ROOT) + "/test") {
  must(unshare(CLONE_NEWNS), "unshare");
  must(mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr), "mount /");
  must(mount("bpf", BPF_ROOT, "bpf", 0, nullptr), "mount bpf");
}

PinFolder::~PinFolder() {
  (void)umount2(BPF_ROOT, MNT_DETACH);
}
