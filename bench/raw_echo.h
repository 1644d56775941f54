// The yardstick: framed messages over TCP with nothing above them. The server
// answers each frame with one of a fixed size; both sides run an epoll loop,
// read what is there, take it apart frame by frame, and write what a turn
// produced in one call, as any framework on this machine has to.
#pragma once

#include <cstddef>
#include <cstdint>

struct EchoSizes {
  std::size_t request_bytes;  // whole frames, at least 8
  std::size_t reply_bytes;
};

// Listens on loopback, prints "echo: listening on PORT", serves one connection
// until it ends, and returns.
void serve_raw_echo(EchoSizes sizes);

// Sends `requests` frames with at most `in_flight` unanswered and returns the
// seconds it took.
double run_raw_echo(std::uint16_t port, EchoSizes sizes, std::size_t requests,
                    std::size_t in_flight);
