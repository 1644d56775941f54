#include "bench/raw_echo.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "bench/measure.h"
#include "framework/xrl/byte_order.h"

namespace {

[[noreturn]] void fail(const char* what) {
  std::perror(what);
  std::exit(1);
}

sockaddr_in loopback(std::uint16_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(port);
  return address;
}

// A non-blocking stream, its epoll, and what is buffered in either direction.
class FramedStream {
 public:
  explicit FramedStream(int fd) : _fd(fd), _epoll(epoll_create1(0)), _in(256U << 10U) {
    const int on = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    epoll_event event{EPOLLIN, {}};
    epoll_ctl(_epoll, EPOLL_CTL_ADD, fd, &event);
  }
  ~FramedStream() {
    close(_epoll);
    close(_fd);
  }
  FramedStream(const FramedStream&) = delete;
  FramedStream& operator=(const FramedStream&) = delete;

  void queue_frame(std::size_t bytes) {
    const std::size_t at = _out.size();
    _out.resize(at + bytes);
    store_u32(_out.data() + at, static_cast<std::uint32_t>(bytes - 4));
  }

  void flush() {
    std::size_t at = 0;
    while (at < _out.size()) {
      const ssize_t wrote = send(_fd, _out.data() + at, _out.size() - at, MSG_DONTWAIT);
      if (wrote > 0) at += static_cast<std::size_t>(wrote);
      if (wrote < 0 && errno != EAGAIN) fail("echo: write");
    }
    _out.clear();
  }

  // Sleeps until input is there and answers how many whole frames came; 0 at
  // the end of the stream.
  std::size_t receive() {
    for (;;) {
      epoll_event event{};
      epoll_wait(_epoll, &event, 1, -1);
      const ssize_t got = recv(_fd, _in.data() + _held, _in.size() - _held, MSG_DONTWAIT);
      if (got == 0) return 0;
      if (got < 0) {
        if (errno == EAGAIN) continue;
        return 0;
      }
      _held += static_cast<std::size_t>(got);
      const std::size_t frames = take_frames();
      if (frames > 0) return frames;
    }
  }

 private:
  std::size_t take_frames() {
    std::size_t frames = 0;
    std::size_t at = 0;
    while (_held - at >= 4) {
      const std::size_t length = load_u32(_in.data() + at) + 4U;
      if (_held - at < length) break;
      at += length;
      ++frames;
    }
    std::memmove(_in.data(), _in.data() + at, _held - at);
    _held -= at;
    return frames;
  }

  int _fd;
  int _epoll;
  std::vector<std::uint8_t> _in;
  std::size_t _held = 0;
  std::vector<std::uint8_t> _out;
};

[[noreturn]] void serve(int listener, EchoSizes sizes) {
  for (;;) {
    FramedStream stream(accept(listener, nullptr, nullptr));
    while (const std::size_t frames = stream.receive()) {
      for (std::size_t i = 0; i < frames; ++i) stream.queue_frame(sizes.reply_bytes);
      stream.flush();
    }
  }
}

}  // namespace

RawEcho::RawEcho(EchoSizes sizes, int server_cpu) : _sizes(sizes) {
  const int listener = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address = loopback(0);
  socklen_t size = sizeof address;
  if (bind(listener, reinterpret_cast<sockaddr*>(&address), size) != 0 ||
      listen(listener, 16) != 0 ||
      getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
    fail("echo: listen");
  }
  _port = ntohs(address.sin_port);
  _server = fork();
  if (_server < 0) fail("echo: fork");
  if (_server == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    run_on_cpu(server_cpu);
    serve(listener, sizes);
  }
  close(listener);
}

RawEcho::~RawEcho() {
  kill(_server, SIGKILL);
  waitpid(_server, nullptr, 0);
}

double RawEcho::run(std::size_t requests, std::size_t in_flight) const {
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  const sockaddr_in address = loopback(_port);
  if (connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    fail("echo: connect");
  }
  FramedStream stream(fd);
  const Stopwatch watch;
  std::size_t sent = 0;
  std::size_t answered = 0;
  while (answered < requests) {
    while (sent < requests && sent - answered < in_flight) {
      stream.queue_frame(_sizes.request_bytes);
      ++sent;
    }
    stream.flush();
    const std::size_t frames = stream.receive();
    if (frames == 0) fail("echo: ended");
    answered += frames;
  }
  return watch.seconds();
}
