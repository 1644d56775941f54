// LinkFollower: keeps a table of the kernel's links in step with them. It reads all of
// them first, and again whenever news were lost or a dump was torn; meanwhile the table
// stays as it was, so that no link is ever missing from it that was there all the time.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "framework/base/retry_timer.h"
#include "linuxcard/netlink/link_table.h"
#include "linuxcard/netlink/route_socket.h"

class LinkFollower {
 public:
  // Reads at once. `changed` runs from the loop with the whole table: once it was read
  // whole, and after that when it differs, once for the news of a turn. Loop and socket
  // must outlive the follower.
  using Changed = std::function<void(const LinkTable&)>;
  LinkFollower(EventLoop& loop, RouteSocket& socket, Changed changed);
  LinkFollower(const LinkFollower&) = delete;
  LinkFollower& operator=(const LinkFollower&) = delete;
  ~LinkFollower() = default;

  // The table was read whole at least once.
  [[nodiscard]] bool is_complete() const { return _complete; }
  [[nodiscard]] const LinkTable& table() const { return _table; }
  // How often it was read because news had been lost; for tests.
  [[nodiscard]] std::uint64_t overruns() const { return _overruns; }

 private:
  // A dump that is under way.
  struct Reading {
    RouteDump what;
    std::uint32_t sequence;
    bool torn = false;
    LinkTable fresh;
  };

  void read_all();
  void read(RouteDump what, LinkTable so_far);
  void read_failed(int error);
  void receive();
  void take(const RouteMessage& message);
  void take_answer(const RouteMessage& message);
  void reading_ended();
  static void apply(const RouteMessage& message, LinkTable& table);
  void tell();

  RouteSocket& _socket;
  Changed _changed;
  std::vector<std::uint8_t> _buffer;
  LinkTable _table;
  std::optional<LinkTable> _told;
  std::optional<Reading> _reading;
  std::uint32_t _sequence = 0;
  bool _complete = false;
  bool _warned = false;
  bool _vlans_due = false;  // a bridge told of a change during another dump
  std::uint64_t _overruns = 0;
  RetryTimer _retry;
  Deferred _tell;
};
