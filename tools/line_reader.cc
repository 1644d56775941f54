#include "tools/line_reader.h"

#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

namespace {

constexpr std::size_t READ_BYTES = 64U << 10U;

// The kernel reports the readiness of pipes, sockets and terminals only.
bool can_be_watched(int fd) {
  struct stat status = {};
  if (fstat(fd, &status) != 0) return false;
  return S_ISFIFO(status.st_mode) || S_ISSOCK(status.st_mode) || isatty(fd) != 0;
}

}  // namespace

LineReader::LineReader(EventLoop& loop, int fd, std::function<void()> more)
    : _fd(fd), _more(std::move(more)), _again(loop, [this] { read_some(); }) {
  if (can_be_watched(fd)) {
    _watch = std::make_unique<Watch>(loop, fd, IoInterest::NONE,
                                     [this](IoInterest /*ready*/) { read_some(); });
  }
}

bool LineReader::take(std::string& line) {
  const std::size_t line_break = _buffer.find('\n', _searched);
  if (line_break == std::string::npos) {
    _searched = _buffer.size();
    if (!_ended || _from == _buffer.size()) return false;
  }
  const std::size_t end = line_break == std::string::npos ? _buffer.size() : line_break;
  line.assign(_buffer, _from, end - _from);
  _from = _searched = line_break == std::string::npos ? end : end + 1;
  return true;
}

void LineReader::want(bool wanted) {
  _wanted = wanted && !_ended;
  if (_watch) {
    _watch->set_interest(_wanted ? IoInterest::READ : IoInterest::NONE);
  } else if (_wanted) {
    _again.schedule();
  } else {
    _again.cancel();
  }
}

void LineReader::read_some() {
  _buffer.erase(0, _from);
  _searched -= _from;
  _from = 0;
  std::array<char, READ_BYTES> chunk{};
  const ssize_t count = read(_fd, chunk.data(), chunk.size());
  if (count > 0) {
    _buffer.append(chunk.data(), static_cast<std::size_t>(count));
    if (_searched > MAX_LINE_BYTES) end("a line is too long.");
  } else if (count == 0) {
    end({});
  } else if (errno != EINTR && errno != EAGAIN) {
    end(std::strerror(errno));
  }
  want(_wanted);
  _more();
}

void LineReader::end(const std::string& problem) {
  _ended = true;
  _problem = problem;
  if (problem.empty()) return;
  _buffer.clear();
  _searched = 0;
}
