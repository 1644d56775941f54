// The machine's sockets. A TCP connection whose other host is gone without a
// word (no power, no link) breaks after 25 s, idle or not.
#pragma once

#include <map>
#include <string>

#include "framework/base/network.h"

class PosixNetwork final : public Network {
 public:
  PosixNetwork();
  ~PosixNetwork() override;
  PosixNetwork(const PosixNetwork&) = delete;
  PosixNetwork& operator=(const PosixNetwork&) = delete;

  // A Unix-domain listener takes over a socket file that nobody listens on any
  // more; its own file goes when it is closed.
  int listen(const NetAddress& address) override;
  int accept(int listener, NetAddress& peer) override;
  int connect(const NetAddress& address) override;
  // -EINPROGRESS while the descriptor is not writable yet.
  int connect_result(int fd) override;
  std::ptrdiff_t read(int fd, std::span<std::uint8_t> into) override;
  std::ptrdiff_t write(int fd, std::span<const std::uint8_t> from) override;
  NetAddress local_address(int fd) override;
  void close(int fd) override;
  bool look_up(const std::string& host, IPv4& address) override;

 private:
  [[nodiscard]] int refuse_one(int listener);

  int _reserve;                              // given up for a moment when descriptors run out
  std::map<int, std::string> _socket_files;  // of the Unix-domain listeners
};
