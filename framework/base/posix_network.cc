#include "framework/base/posix_network.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "framework/base/host_name.h"

namespace {

constexpr int STREAM_FLAGS = SOCK_NONBLOCK | SOCK_CLOEXEC;

struct SocketAddress {  // NOLINT(cppcoreguidelines-pro-type-member-init): one at a time
  union {
    sockaddr_un local{};
    sockaddr_in tcp;
    sockaddr any;
  };
  socklen_t length = 0;
};

// 0, or why there is no such socket address.
int to_socket_address(const NetAddress& address, SocketAddress& out) {
  if (address.family == NetAddress::Family::TCP) {
    out.tcp.sin_family = AF_INET;
    out.tcp.sin_port = htons(address.port);
    out.tcp.sin_addr.s_addr = htonl(address.host.host_order());
    out.length = sizeof(out.tcp);
    return 0;
  }
  const std::string& path = address.path;
  if (path.empty() || path.find('\0') != std::string::npos) return -EINVAL;
  // A path of the full length would leave no room for its terminator.
  if (path.size() >= sizeof(out.local.sun_path)) return -ENAMETOOLONG;
  out.local.sun_family = AF_UNIX;
  std::copy(path.begin(), path.end(), out.local.sun_path);
  const bool abstract = path.front() == '@';
  if (abstract) out.local.sun_path[0] = '\0';
  // An abstract name is as long as its length says, without terminator.
  out.length =
      static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size() + (abstract ? 0 : 1));
  return 0;
}

NetAddress from_socket_address(const SocketAddress& address) {
  if (address.any.sa_family == AF_INET) {
    return NetAddress::tcp(IPv4(ntohl(address.tcp.sin_addr.s_addr)), ntohs(address.tcp.sin_port));
  }
  const std::size_t head = offsetof(sockaddr_un, sun_path);
  if (address.length <= head) return NetAddress::unix_path({});
  // The kernel counts a terminator that a path of full length has no room for.
  const std::size_t length = std::min(address.length - head, sizeof(address.local.sun_path));
  std::string path(address.local.sun_path, length);
  if (path.front() == '\0') {
    path.front() = '@';
  } else {
    path.resize(::strnlen(path.data(), path.size()));
  }
  return NetAddress::unix_path(std::move(path));
}

bool is_tcp(const NetAddress& address) {
  return address.family == NetAddress::Family::TCP;
}

int open_stream(const NetAddress& address) {
  const int fd = ::socket(is_tcp(address) ? AF_INET : AF_UNIX, SOCK_STREAM | STREAM_FLAGS, 0);
  return fd < 0 ? -errno : fd;
}

void set_option(int fd, int level, int option, int value = 1) {
  (void)::setsockopt(fd, level, option, &value, sizeof(value));
}

// How long an idle peer is believed to be there, in seconds, how often it is
// asked then and how many times; and how long bytes may stay unacknowledged, in
// milliseconds. Both give up after 25 s.
constexpr int KEEPALIVE_IDLE = 10;
constexpr int KEEPALIVE_INTERVAL = 5;
constexpr int KEEPALIVE_PROBES = 3;
constexpr int UNACKNOWLEDGED_TIMEOUT = 25000;

void set_stream_options(int fd) {
  // Everything of one turn is written in one call, so waiting for more to send
  // would only delay it.
  set_option(fd, IPPROTO_TCP, TCP_NODELAY);
  // A host that is cut off or loses its power says no good-bye.
  set_option(fd, SOL_SOCKET, SO_KEEPALIVE);
  set_option(fd, IPPROTO_TCP, TCP_KEEPIDLE, KEEPALIVE_IDLE);
  set_option(fd, IPPROTO_TCP, TCP_KEEPINTVL, KEEPALIVE_INTERVAL);
  set_option(fd, IPPROTO_TCP, TCP_KEEPCNT, KEEPALIVE_PROBES);
  set_option(fd, IPPROTO_TCP, TCP_USER_TIMEOUT, UNACKNOWLEDGED_TIMEOUT);
}

int closed_with(int fd, int error) {
  ::close(fd);
  return error;
}

// Whether the file is a socket left over from a listener that is gone.
bool is_abandoned(const SocketAddress& address) {
  struct stat file {};
  if (::lstat(address.local.sun_path, &file) != 0 || !S_ISSOCK(file.st_mode)) return false;
  const int probe = ::socket(AF_UNIX, SOCK_STREAM | STREAM_FLAGS, 0);
  if (probe < 0) return false;
  const bool refused = ::connect(probe, &address.any, address.length) != 0 && errno == ECONNREFUSED;
  ::close(probe);
  return refused;
}

int bind_stream(int fd, const NetAddress& address, const SocketAddress& socket_address) {
  const auto try_bind = [&] {
    return ::bind(fd, &socket_address.any, socket_address.length) == 0 ? 0 : -errno;
  };
  const int result = try_bind();
  const bool is_file = !is_tcp(address) && address.path.front() != '@';
  if (result != -EADDRINUSE || !is_file || !is_abandoned(socket_address)) return result;
  ::unlink(address.path.c_str());
  return try_bind();
}

// A connection to a free local port can meet itself, as both ends draw their
// numbers from the same range.
bool is_connected_to_itself(const SocketAddress& peer, int fd) {
  if (peer.any.sa_family != AF_INET) return false;
  SocketAddress own;
  own.length = sizeof(own.local);
  if (::getsockname(fd, &own.any, &own.length) != 0) return false;
  return own.tcp.sin_port == peer.tcp.sin_port &&
         own.tcp.sin_addr.s_addr == peer.tcp.sin_addr.s_addr;
}

int open_reserve() {
  return ::open("/dev/null", O_RDONLY | O_CLOEXEC);
}

template <typename Call>
auto without_interruption(Call call) {
  auto result = call();
  while (result < 0 && errno == EINTR) result = call();
  return result < 0 ? -errno : result;
}

}  // namespace

PosixNetwork::PosixNetwork() : _reserve(open_reserve()) {}

PosixNetwork::~PosixNetwork() {
  if (_reserve >= 0) ::close(_reserve);
}

int PosixNetwork::listen(const NetAddress& address) {
  SocketAddress socket_address;
  if (const int error = to_socket_address(address, socket_address); error != 0) return error;
  const int fd = open_stream(address);
  if (fd < 0) return fd;
  if (is_tcp(address)) set_option(fd, SOL_SOCKET, SO_REUSEADDR);
  if (const int error = bind_stream(fd, address, socket_address); error != 0) {
    return closed_with(fd, error);
  }
  if (::listen(fd, SOMAXCONN) != 0) return closed_with(fd, -errno);
  if (!is_tcp(address) && address.path.front() != '@') _socket_files[fd] = address.path;
  return fd;
}

int PosixNetwork::accept(int listener, NetAddress& peer) {
  SocketAddress from;
  const int fd = without_interruption([&] {
    from.length = sizeof(from.local);
    return ::accept4(listener, &from.any, &from.length, STREAM_FLAGS);
  });
  if (fd == -EMFILE || fd == -ENFILE) return refuse_one(listener);
  if (fd < 0) return fd;
  if (from.any.sa_family == AF_INET) set_stream_options(fd);
  peer = from_socket_address(from);
  return fd;
}

int PosixNetwork::refuse_one(int listener) {
  if (_reserve >= 0) ::close(_reserve);
  const int fd =
      without_interruption([&] { return ::accept4(listener, nullptr, nullptr, STREAM_FLAGS); });
  if (fd >= 0) ::close(fd);
  _reserve = open_reserve();
  // Without descriptors the kernel does not even look whether one waits.
  return fd == -EAGAIN ? -EAGAIN : -EMFILE;
}

int PosixNetwork::connect(const NetAddress& address) {
  SocketAddress socket_address;
  if (const int error = to_socket_address(address, socket_address); error != 0) return error;
  const int fd = open_stream(address);
  if (fd < 0) return fd;
  if (is_tcp(address)) set_stream_options(fd);
  if (::connect(fd, &socket_address.any, socket_address.length) == 0) return fd;
  // An interrupted connect goes on by itself.
  if (errno == EINPROGRESS || errno == EINTR) return fd;
  return closed_with(fd, -errno);
}

int PosixNetwork::connect_result(int fd) {
  int error = 0;
  socklen_t length = sizeof(error);
  if (::getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &length) != 0) return -errno;
  if (error != 0) return -error;
  SocketAddress peer;
  peer.length = sizeof(peer.local);
  if (::getpeername(fd, &peer.any, &peer.length) != 0) {
    return errno == ENOTCONN ? -EINPROGRESS : -errno;
  }
  return is_connected_to_itself(peer, fd) ? -ECONNREFUSED : 0;
}

std::ptrdiff_t PosixNetwork::read(int fd, std::span<std::uint8_t> into) {
  return without_interruption([&] { return ::recv(fd, into.data(), into.size(), 0); });
}

std::ptrdiff_t PosixNetwork::write(int fd, std::span<const std::uint8_t> from) {
  return without_interruption([&] { return ::send(fd, from.data(), from.size(), MSG_NOSIGNAL); });
}

NetAddress PosixNetwork::local_address(int fd) {
  SocketAddress own;
  own.length = sizeof(own.local);
  if (::getsockname(fd, &own.any, &own.length) != 0) return {};
  return from_socket_address(own);
}

void PosixNetwork::close(int fd) {
  ::close(fd);
  const auto file = _socket_files.find(fd);
  if (file == _socket_files.end()) return;
  ::unlink(file->second.c_str());
  _socket_files.erase(file);
}

bool PosixNetwork::look_up(const std::string& host, IPv4& address) {
  return resolve_host_name(host, address);
}
