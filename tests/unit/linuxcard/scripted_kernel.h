// A kernel's links as a script says, told over a route socket as the kernel tells them.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "framework/base/event_loop.h"
#include "linuxcard/netlink/route_socket.h"

// The bytes of one message: of a link, of the VLANs of one, of the end of a dump.
std::vector<std::uint8_t> link_message(const Link& link, bool gone, std::uint32_t sequence,
                                       std::uint16_t flags = 0);
std::vector<std::uint8_t> vlans_message(std::uint32_t index, const LinkVlans& vlans,
                                        std::uint32_t sequence);
std::vector<std::uint8_t> end_message(std::uint32_t sequence, int error = 0);

class ScriptedKernel final : public RouteSocket {
 public:
  // Messages that wait to be received; of more, all that wait are lost.
  static constexpr std::size_t MAX_WAITING = 16384;

  explicit ScriptedKernel(EventLoop& loop) : _wake(loop, [this] { wake(); }) {}

  // Answers the index.
  std::uint32_t add(const std::string& name, const std::string& kind = "veth");
  void remove(const std::string& name);
  void rename(const std::string& from, const std::string& to);
  // Of a bond or bridge; an empty name: of none any more.
  void set_master(const std::string& name, const std::string& master);
  void set_carrier(const std::string& name, bool carrier);
  std::uint32_t add_vlan_device(const std::string& name, const std::string& lower,
                                std::uint16_t vlan);
  void set_vlans(const std::string& name, LinkVlans vlans);

  // The socket loses what it holds and what comes until somebody reads it.
  void overrun();
  // Dumps are refused with that errno, 0: no longer.
  void refuse_dumps(int error) { _refusal = error; }
  // The next dump of links tells that things changed meanwhile, and leaves out a half.
  void tear_next_dump() { _tear = true; }
  [[nodiscard]] int dumps() const { return _dumps; }
  [[nodiscard]] std::uint32_t index_of(const std::string& name) const;

  void on_ready(std::function<void()> ready) override { _ready = std::move(ready); }
  int request(RouteDump what, std::uint32_t sequence) override;
  int receive(std::span<std::uint8_t> buffer) override;

 private:
  void tell(std::vector<std::uint8_t> message);
  void wake();
  Link& link(const std::string& name);

  std::map<std::uint32_t, Link> _links;
  std::map<std::uint32_t, LinkVlans> _vlans;
  std::uint32_t _next_index = 2;
  int _refusal = 0;
  bool _tear = false;
  bool _overrun = false;
  int _dumps = 0;
  std::deque<std::vector<std::uint8_t>> _waiting;
  std::function<void()> _ready;
  Deferred _wake;
};
