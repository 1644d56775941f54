// A kernel and a network in one that take no memory while they are used, for
// tests in which memory runs out: peers say what was prepared for them, and
// what they hear is written down in room that was taken before.
#pragma once

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

#include "framework/base/kernel.h"
#include "framework/base/network.h"

class PreparedStreams final : public Kernel, public Network {
 public:
  static constexpr std::size_t MAX_STREAMS = 32;
  static constexpr std::size_t ROOM = 65536;  // for what one peer hears

  PreparedStreams() : _streams(MAX_STREAMS) {
    for (Stream& stream : _streams) stream.heard.reserve(ROOM);
  }

  // A new peer, to be accepted in the next turn.
  int connect_peer() { return FIRST + _made++; }
  void say(int peer, const std::string& bytes) { at(peer).said += bytes; }
  // The end of the stream, behind all that was said.
  void hang_up(int peer) { at(peer).is_over = true; }
  // All of it so far.
  [[nodiscard]] const std::string& heard(int peer) { return at(peer).heard; }
  [[nodiscard]] bool is_closed(int peer) { return at(peer).is_closed; }

  // Kernel
  TimePoint now() override { return {}; }
  void watch(int /*fd*/, IoInterest /*interest*/) override {}
  // Never sleeps; what nobody watches is passed over by the loop.
  std::size_t wait(TimePoint /*until*/, std::span<IoReady> ready) override {
    std::size_t count = 0;
    if (_accepted < _made) ready[count++] = {LISTENER, IoInterest::READ};
    for (int fd = FIRST; fd < FIRST + _accepted; ++fd) {
      if (at(fd).has_news()) ready[count++] = {fd, IoInterest::READ};
    }
    return count;
  }
  void random_bytes(std::span<std::uint8_t> out) override {
    std::memset(out.data(), 0, out.size());
  }

  // Network
  int listen(const NetAddress& /*address*/) override { return LISTENER; }
  int accept(int /*listener*/, NetAddress& peer) override {
    if (_accepted == _made) return -EAGAIN;
    peer = NetAddress::tcp(IPv4::loopback(), 1);
    return FIRST + _accepted++;
  }
  int connect(const NetAddress& /*address*/) override { return -ECONNREFUSED; }
  int connect_result(int /*fd*/) override { return 0; }
  std::ptrdiff_t read(int fd, std::span<std::uint8_t> into) override {
    Stream& stream = at(fd);
    const std::size_t count = std::min(into.size(), stream.said.size() - stream.taken);
    if (count == 0) return stream.is_over ? 0 : -EAGAIN;
    std::memcpy(into.data(), stream.said.data() + stream.taken, count);
    stream.taken += count;
    return static_cast<std::ptrdiff_t>(count);
  }
  std::ptrdiff_t write(int fd, std::span<const std::uint8_t> from) override {
    at(fd).heard.append(reinterpret_cast<const char*>(from.data()), from.size());
    return static_cast<std::ptrdiff_t>(from.size());
  }
  NetAddress local_address(int /*fd*/) override { return NetAddress::tcp(IPv4::loopback(), 19999); }
  bool look_up(const std::string& /*host*/, IPv4& /*address*/) override { return false; }
  void close(int fd) override {
    if (fd != LISTENER) at(fd).is_closed = true;
  }

 private:
  struct Stream {
    [[nodiscard]] bool has_news() const { return !is_closed && (taken < said.size() || is_over); }

    std::string said;
    std::size_t taken = 0;
    bool is_over = false;
    std::string heard;
    bool is_closed = false;
  };
  static constexpr int LISTENER = 3;
  static constexpr int FIRST = 4;

  [[nodiscard]] Stream& at(int fd) { return _streams.at(static_cast<std::size_t>(fd - FIRST)); }

  std::vector<Stream> _streams;
  int _made = 0;
  int _accepted = 0;
};
