// A peer that says what it likes: bytes on one connection, and what comes back.
// On a simulated or on a real event loop, which turns it.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "framework/base/event_loop.h"
#include "framework/xrl/byte_buffer.h"

class Stranger {
 public:
  Stranger(EventLoop& loop, const NetAddress& to);
  ~Stranger();
  Stranger(const Stranger&) = delete;
  Stranger& operator=(const Stranger&) = delete;

  // The bytes leave as the other side takes them.
  void say(std::string_view bytes);
  // From now on, or until it is to read again.
  void set_reading(bool reading);
  // Ends the connection from this side.
  void leave();

  // The other side ended it, or never took it.
  [[nodiscard]] bool is_refused() const { return _refused; }
  // All that was said has left.
  [[nodiscard]] bool has_said_all() const { return _out.empty(); }
  // The frames that came, without their lengths.
  [[nodiscard]] const std::vector<std::string>& frames() const { return _frames; }
  // What they say (hostile_bytes::told()).
  [[nodiscard]] std::vector<std::string> heard() const;

 private:
  void on_ready(IoInterest ready);
  void read();
  void write();
  void update_interest();
  void end();

  EventLoop& _loop;
  int _fd;
  bool _connected = false;
  bool _reading = true;
  bool _refused = false;
  ByteBuffer _out;
  std::string _in;
  std::vector<std::string> _frames;
  std::optional<Watch> _watch;
};
