#include "framework/base/line_writer.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <ctime>

namespace {

// A write to a pipe that nobody reads signals SIGPIPE, which ends a process that does
// not ignore it. What another thread or a write of others has raised stays.
ssize_t write_without_signal(int fd, std::string_view text) {
  sigset_t pipe{};
  sigset_t before{};
  sigset_t pending{};
  ::sigemptyset(&pipe);
  ::sigaddset(&pipe, SIGPIPE);
  ::sigpending(&pending);
  ::pthread_sigmask(SIG_BLOCK, &pipe, &before);
  const ssize_t written = ::write(fd, text.data(), text.size());
  const int error = errno;
  if (written < 0 && error == EPIPE && ::sigismember(&pending, SIGPIPE) == 0) {
    const timespec at_once{};
    ::sigtimedwait(&pipe, nullptr, &at_once);
  }
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
  errno = error;
  return written;
}

}  // namespace

// Answers how many bytes there was room for. A pipe that is ready has room for
// PIPE_BUF bytes at once, so that no write waits, and lines of several processes
// up to that length do not mix.
std::size_t LineWriter::write_some(std::string_view text) const {
  std::size_t done = 0;
  while (done < text.size()) {
    pollfd ready{_fd, POLLOUT, 0};
    if (::poll(&ready, 1, 0) != 1 || (ready.revents & POLLOUT) == 0) break;
    const std::string_view piece = text.substr(done, PIPE_BUF);
    const ssize_t written = write_without_signal(_fd, piece);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) break;
    done += static_cast<std::size_t>(written);
  }
  return done;
}

bool LineWriter::write(std::string_view line) {
  if (_line_is_open && write_some("\n") == 0) return false;
  const std::size_t written = write_some(line);
  _line_is_open = written != 0 && written != line.size();
  return written == line.size();
}
