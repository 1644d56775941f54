// A TCP port of 127.0.0.1 that is given to nobody else while this lives, though
// nobody listens there: a process that is told the number, and whose listening
// socket has SO_REUSEADDR, takes it, and can leave and come back.
#pragma once

#include <cstdint>

class ReservedPort {
 public:
  // Throws std::system_error when there is none.
  ReservedPort();
  ~ReservedPort();
  ReservedPort(const ReservedPort&) = delete;
  ReservedPort& operator=(const ReservedPort&) = delete;

  [[nodiscard]] std::uint16_t number() const { return _number; }

 private:
  int _fd;
  std::uint16_t _number = 0;
};
