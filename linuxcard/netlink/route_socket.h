// RouteSocket: the kernel's route socket as its follower sees it. KernelRouteSocket is
// the real one; tests follow a kernel that a script plays.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>

#include "linuxcard/netlink/route_messages.h"

class EventLoop;
class Watch;
struct mnl_socket;

class RouteSocket {
 public:
  virtual ~RouteSocket() = default;

  // `ready` runs from the loop whenever receive() has something to give; set once.
  virtual void on_ready(std::function<void()> ready) = 0;
  // Asks for a dump: 0, or an errno when it could not be sent.
  [[nodiscard]] virtual int request(RouteDump what, std::uint32_t sequence) = 0;
  // How many bytes it filled in; 0 when there is nothing; -ENOBUFS when messages were
  // lost for want of room, which may come between any two; another negative errno when
  // the socket is of no use any more. The buffer has MESSAGE_BYTES at least.
  [[nodiscard]] virtual int receive(std::span<std::uint8_t> buffer) = 0;

  // The kernel fills no more into one read.
  static constexpr std::size_t MESSAGE_BYTES = std::size_t{64} << 10U;
};

class KernelRouteSocket final : public RouteSocket {
 public:
  // Tells of links and of what bridges say of them from here on, of the network namespace
  // that the process is in. Throws std::system_error.
  explicit KernelRouteSocket(EventLoop& loop);
  ~KernelRouteSocket() override;

  void on_ready(std::function<void()> ready) override;
  int request(RouteDump what, std::uint32_t sequence) override;
  int receive(std::span<std::uint8_t> buffer) override;

 private:
  EventLoop& _loop;
  mnl_socket* _socket;
  std::unique_ptr<Watch> _watch;
};
