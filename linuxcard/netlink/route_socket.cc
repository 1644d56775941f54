#include "linuxcard/netlink/route_socket.h"

#include <libmnl/libmnl.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <cerrno>
#include <system_error>
#include <utility>

#include "framework/base/event_loop.h"

namespace {

// Room for the news of some thousands of links that change at once.
constexpr int RECEIVE_BYTES = 4 << 20;

[[noreturn]] void fail(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

}  // namespace

KernelRouteSocket::KernelRouteSocket(EventLoop& loop)
    : _loop(loop), _socket(mnl_socket_open2(NETLINK_ROUTE, SOCK_CLOEXEC | SOCK_NONBLOCK)) {
  if (_socket == nullptr) fail("no route socket");
  const int fd = mnl_socket_get_fd(_socket);
  // The first needs a privilege and may exceed the limit of the machine.
  if (setsockopt(fd, SOL_SOCKET, SO_RCVBUFFORCE, &RECEIVE_BYTES, sizeof RECEIVE_BYTES) != 0) {
    setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &RECEIVE_BYTES, sizeof RECEIVE_BYTES);
  }
  if (mnl_socket_bind(_socket, RTMGRP_LINK, MNL_SOCKET_AUTOPID) < 0) {
    const int error = errno;
    mnl_socket_close(_socket);
    errno = error;
    fail("the route socket tells nothing");
  }
}

KernelRouteSocket::~KernelRouteSocket() {
  _watch.reset();
  mnl_socket_close(_socket);
}

void KernelRouteSocket::on_ready(std::function<void()> ready) {
  _watch = std::make_unique<Watch>(_loop, mnl_socket_get_fd(_socket), IoInterest::READ,
                                   [ready = std::move(ready)](IoInterest) { ready(); });
}

int KernelRouteSocket::request(RouteDump what, std::uint32_t sequence) {
  const std::vector<std::uint8_t> request = route_dump_request(what, sequence);
  return mnl_socket_sendto(_socket, request.data(), request.size()) < 0 ? errno : 0;
}

int KernelRouteSocket::receive(std::span<std::uint8_t> buffer) {
  const ssize_t size = mnl_socket_recvfrom(_socket, buffer.data(), buffer.size());
  if (size >= 0) return static_cast<int>(size);
  if (errno == EAGAIN || errno == EINTR) return 0;
  // A message that is longer than the buffer is a lost one.
  return errno == ENOSPC ? -ENOBUFS : -errno;
}
