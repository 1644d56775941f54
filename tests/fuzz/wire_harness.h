// A listener with one peer at a time, all in memory: what the peer says goes in, what
// it is told comes out. No time passes but what the clock is told to take. The listener
// stays for the life of the process; what a read did not fill may not be looked at.
#pragma once

#include <sanitizer/asan_interface.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <span>
#include <string>
#include <utility>

#include "framework/base/event_loop.h"
#include "framework/base/xlog.h"
#include "framework/xrl/router/xrl_dispatcher.h"
#include "framework/xrl/router/xrl_listener.h"

// The machine of that listener: one listening descriptor, one stream at a time.
class OneStream final : public Kernel, public Network {
 public:
  // How the stream treats the listener.
  struct Manners {
    std::size_t read_at_most = SIZE_MAX;   // bytes a read gets
    std::size_t write_at_most = SIZE_MAX;  // bytes a write gets rid of between two reads
    Duration look = Duration::zero();      // what a look at the clock takes
  };

  // The next stream waits to be accepted.
  void begin(Manners manners) {
    _manners = manners;
    _writable = manners.write_at_most;
    _looks_that_take_time = LOOKS_THAT_TAKE_TIME;
    _waits = true;
    _open = true;
    _ended = false;
    _in = {};
    _heard.clear();
  }
  // `bytes` must stay where they are until they are read.
  void say(std::span<const std::uint8_t> bytes) { _in = bytes; }
  void say_no_more() { _ended = true; }
  [[nodiscard]] const std::string& heard() const { return _heard; }
  [[nodiscard]] bool is_open() const { return _open; }
  // Grows with whatever happens.
  [[nodiscard]] std::uint64_t steps() const { return _steps; }

  TimePoint now() override {
    if (_looks_that_take_time > 0) {
      --_looks_that_take_time;
      _now += _manners.look;
    }
    return _now;
  }
  void watch(int fd, IoInterest interest) override {
    if (fd == STREAM) _interest = interest;
  }
  std::size_t wait(TimePoint until, std::span<IoReady> ready) override {
    if (until <= _now) ++_steps;
    if (_waits) {
      ready[0] = {LISTENER, IoInterest::READ};
      return 1;
    }
    const unsigned can_read = !_in.empty() || _ended ? 1 : 0;
    const auto both = static_cast<IoInterest>(static_cast<unsigned>(_interest) & (can_read | 2U));
    if (!_open || both == IoInterest::NONE) return 0;
    ++_steps;
    _writable = _manners.write_at_most;
    ready[0] = {STREAM, both};
    return 1;
  }
  void random_bytes(std::span<std::uint8_t> out) override {
    std::ranges::fill(out, std::uint8_t{0});
  }

  int listen(const NetAddress& /*address*/) override { return LISTENER; }
  int accept(int /*listener*/, NetAddress& peer) override {
    if (!std::exchange(_waits, false)) return -EAGAIN;
    ++_steps;
    peer = NetAddress::tcp(IPv4::loopback(), 1);
    return STREAM;
  }
  int connect(const NetAddress& /*address*/) override { return -ECONNREFUSED; }
  int connect_result(int /*fd*/) override { return -ECONNREFUSED; }
  std::ptrdiff_t read(int /*fd*/, std::span<std::uint8_t> into) override {
    ASAN_UNPOISON_MEMORY_REGION(into.data(), into.size());
    const std::size_t count = std::min({into.size(), _in.size(), _manners.read_at_most});
    if (count == 0) return _ended ? 0 : -EAGAIN;
    ++_steps;
    std::memcpy(into.data(), _in.data(), count);
    _in = _in.subspan(count);
    ASAN_POISON_MEMORY_REGION(into.data() + count, into.size() - count);
    return static_cast<std::ptrdiff_t>(count);
  }
  std::ptrdiff_t write(int /*fd*/, std::span<const std::uint8_t> from) override {
    const std::size_t count = std::min(from.size(), _writable);
    if (count == 0) return -EAGAIN;
    ++_steps;
    _writable -= count;
    _heard.append(reinterpret_cast<const char*>(from.data()), count);
    return static_cast<std::ptrdiff_t>(count);
  }
  NetAddress local_address(int /*fd*/) override { return NetAddress::tcp(IPv4::loopback(), 2); }
  bool look_up(const std::string& /*host*/, IPv4& /*address*/) override { return false; }
  void close(int fd) override {
    if (fd == STREAM) _open = false;
  }

 private:
  static constexpr int LISTENER = 1;
  static constexpr int STREAM = 2;
  // So that no deadline comes.
  static constexpr int LOOKS_THAT_TAKE_TIME = 500;

  Manners _manners;
  std::size_t _writable = 0;
  int _looks_that_take_time = 0;
  TimePoint _now{};
  std::uint64_t _steps = 0;
  bool _waits = false;
  bool _open = false;
  bool _ended = false;
  IoInterest _interest = IoInterest::NONE;
  std::span<const std::uint8_t> _in;
  std::string _heard;
};

class WireHarness final : private XrlListener::Observer {
 public:
  // `commands` must outlive it.
  WireHarness(const XrlCmdMap& commands, std::string cookie) : _loop(_stream, _stream) {
    xlog_start();
    xlog_add_output([this](const XlogRecord& /*record*/) { ++_log_lines; });
    _dispatcher.set_commands(commands);
    XrlListener::Options options = XrlListener::default_options();
    options.hello = {"listener", std::move(cookie)};
    XrlListener::Observer* const self = this;
    _listener.emplace(_loop, _dispatcher, std::move(options), self);
    static_cast<void>(_listener->listen(NetAddress::tcp(IPv4::loopback(), 2)));
  }
  ~WireHarness() override = default;
  WireHarness(const WireHarness&) = delete;
  WireHarness& operator=(const WireHarness&) = delete;

  // A new peer, once the one before has left; it is taken on when something is said.
  void begin(OneStream::Manners manners) {
    _stream.begin(manners);
    _was_up = false;
    _log_lines = 0;
  }
  // Says this and waits until all is quiet.
  void say(std::span<const std::uint8_t> bytes) {
    _stream.say(bytes);
    settle();
  }
  void leave() {
    _stream.say_no_more();
    settle();
  }
  [[nodiscard]] const std::string& heard() const { return _stream.heard(); }
  [[nodiscard]] bool is_open() const { return _stream.is_open(); }
  [[nodiscard]] bool was_up() const { return _was_up; }
  [[nodiscard]] int log_lines() const { return _log_lines; }
  [[nodiscard]] std::size_t held() { return _listener->budget().held(); }

 private:
  void session_up(XrlConnection& /*connection*/) override { _was_up = true; }
  void session_down(XrlConnection& /*connection*/) override {}

  void settle() {
    // What is deferred in one turn is run in the next at the latest.
    for (int quiet = 0; quiet < 2; ++quiet) {
      const std::uint64_t before = _stream.steps();
      _loop.run();
      if (_stream.steps() != before) quiet = -1;
    }
  }

  OneStream _stream;
  EventLoop _loop;
  XrlDispatcher _dispatcher;
  std::optional<XrlListener> _listener;
  int _log_lines = 0;
  bool _was_up = false;
};
