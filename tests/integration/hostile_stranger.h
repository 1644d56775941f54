// A peer that says what it likes: bytes on one connection, and what comes back.
// On a simulated or on a real event loop, which turns it.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "framework/base/event_loop.h"
#include "framework/xrl/byte_buffer.h"

class Stranger {
 public:
  // Connects to that address.
  Stranger(EventLoop& loop, const NetAddress& to);
  // Takes over an accepted stream.
  Stranger(EventLoop& loop, int fd);
  ~Stranger();
  Stranger(const Stranger&) = delete;
  Stranger& operator=(const Stranger&) = delete;

  // The bytes leave as the other side takes them.
  void say(std::string_view bytes);
  // Whether it reads what comes, which it does at first.
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

// A place where others connect to strangers.
class StrangerHost {
 public:
  // On a free port of this host.
  explicit StrangerHost(EventLoop& loop);
  ~StrangerHost();
  StrangerHost(const StrangerHost&) = delete;
  StrangerHost& operator=(const StrangerHost&) = delete;

  [[nodiscard]] NetAddress address() const;
  // Those that were connected to, in that order.
  [[nodiscard]] const std::vector<std::unique_ptr<Stranger>>& strangers() const {
    return _strangers;
  }

 private:
  void accept();

  EventLoop& _loop;
  int _fd;
  std::vector<std::unique_ptr<Stranger>> _strangers;
  std::optional<Watch> _watch;
};
