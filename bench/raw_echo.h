// The yardstick: framed messages over TCP with nothing above them. The server
// answers each frame with one of a fixed size; both sides run an epoll loop,
// read what is there, take it apart frame by frame, and write what a turn
// produced in one call, as any framework on this machine has to.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>

struct EchoSizes {
  std::size_t request_bytes;  // whole frames, at least 8
  std::size_t reply_bytes;
};

// A server in a process of its own, and a client of it in this one.
class RawEcho {
 public:
  // The server runs on that CPU; it ends with this object.
  RawEcho(EchoSizes sizes, int server_cpu);
  ~RawEcho();
  RawEcho(const RawEcho&) = delete;
  RawEcho& operator=(const RawEcho&) = delete;

  // Sends `requests` frames over a connection of their own, with at most
  // `in_flight` unanswered, and answers the seconds from the first to the
  // last answer.
  [[nodiscard]] double run(std::size_t requests, std::size_t in_flight) const;

 private:
  EchoSizes _sizes;
  pid_t _server;
  std::uint16_t _port;
};
