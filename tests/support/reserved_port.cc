#include "tests/support/reserved_port.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace {

// A socket that is bound and does not listen keeps the port from everybody who
// asks for any port, and from nobody who asks for this one as the finder does.
int bound_socket(sockaddr_in& own) {
  const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const int on = 1;
  own.sin_family = AF_INET;
  own.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof(own);
  auto* address = reinterpret_cast<sockaddr*>(&own);
  if (fd < 0 || ::setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on)) != 0 ||
      ::bind(fd, address, length) != 0 || ::getsockname(fd, address, &length) != 0) {
    throw std::system_error(errno, std::generic_category(), "no port");
  }
  return fd;
}

}  // namespace

ReservedPort::ReservedPort() {
  sockaddr_in own{};
  _fd = bound_socket(own);
  _number = ntohs(own.sin_port);
}

ReservedPort::~ReservedPort() {
  ::close(_fd);
}
