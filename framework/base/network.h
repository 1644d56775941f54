// Stream sockets as the framework uses them: all non-blocking, TCP over IPv4
// or Unix-domain. PosixNetwork is the real one; tests use a simulated one.
//
// Errors come back as negative errno values (-EAGAIN, -ECONNREFUSED, ...; never -EINTR), in
// the simulation too. Descriptors belong to whoever got them and are given
// back with close(), after the event loop stopped watching them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <utility>

#include "framework/base/ipv4.h"

struct NetAddress {
  enum class Family : std::uint8_t { TCP, UNIX };

  Family family = Family::TCP;
  IPv4 host;               // TCP
  std::uint16_t port = 0;  // TCP; 0 asks listen() for any free port
  std::string path;        // UNIX; a leading '@' names the abstract namespace

  static NetAddress tcp(IPv4 host, std::uint16_t port) { return {Family::TCP, host, port, {}}; }
  static NetAddress unix_path(std::string path) { return {Family::UNIX, {}, 0, std::move(path)}; }

  // "127.0.0.1:19999" or "unix:PATH"; parse() is its inverse and answers
  // false, leaving `out` alone, for anything else.
  [[nodiscard]] std::string str() const;
  [[nodiscard]] static bool parse(const std::string& text, NetAddress& out);

  bool operator==(const NetAddress&) const = default;
};

class Network {
 public:
  virtual ~Network() = default;

  // A listening descriptor, or an error.
  virtual int listen(const NetAddress& address) = 0;
  // The next waiting connection, -EAGAIN when none waits, or an error.
  // `peer` is set on success. -EMFILE: the process has no descriptor left, and
  // the connection was closed, so that the listener does not stay ready for it.
  virtual int accept(int listener, NetAddress& peer) = 0;
  // Starts a connection: the descriptor becomes writable when it stands or
  // failed, and connect_result() then answers 0 or the error. An error known at
  // once is answered here instead.
  virtual int connect(const NetAddress& address) = 0;
  virtual int connect_result(int fd) = 0;
  // Bytes moved, 0 at the end of the stream (read only), or an error.
  virtual std::ptrdiff_t read(int fd, std::span<std::uint8_t> into) = 0;
  virtual std::ptrdiff_t write(int fd, std::span<const std::uint8_t> from) = 0;
  // Where the descriptor listens, or its own end of a connection.
  virtual NetAddress local_address(int fd) = 0;
  virtual void close(int fd) = 0;

  // The address of a host, told dotted or by name. A name is looked for by the
  // machine's name service, for whose answer this waits. False, and `address`
  // stays, when there is none.
  [[nodiscard]] virtual bool look_up(const std::string& host, IPv4& address) = 0;

 protected:
  Network() = default;
  Network(const Network&) = default;
  Network& operator=(const Network&) = default;
};
