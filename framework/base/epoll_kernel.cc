#include "framework/base/epoll_kernel.h"

#include <sys/epoll.h>
#include <sys/random.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <ctime>
#include <string>
#include <utility>

#include "framework/base/xlog.h"

namespace {

using Events = std::array<epoll_event, EpollKernel::MAX_READY>;

std::string system_error(int fd) {
  return "descriptor " + std::to_string(fd) + ": " + std::strerror(errno);
}

epoll_event event_for(int fd, IoInterest interest) {
  epoll_event event{};
  if (wants_read(interest)) event.events |= EPOLLIN;
  if (wants_write(interest)) event.events |= EPOLLOUT;
  event.data.u64 =
      static_cast<std::uint32_t>(fd) | (std::uint64_t{static_cast<std::uint8_t>(interest)} << 32U);
  return event;
}

IoReady ready_from(const epoll_event& event) {
  const auto watched = static_cast<unsigned>(event.data.u64 >> 32U);
  const bool broken = (event.events & (EPOLLERR | EPOLLHUP)) != 0;
  unsigned ready = 0;
  if (broken || (event.events & EPOLLIN) != 0) ready |= static_cast<unsigned>(IoInterest::READ);
  if (broken || (event.events & EPOLLOUT) != 0) ready |= static_cast<unsigned>(IoInterest::WRITE);
  return {static_cast<int>(event.data.u64 & 0xffffffffU), static_cast<IoInterest>(ready & watched)};
}

// Rounded up: a rest below one millisecond must not become a busy loop of
// zero time-outs.
int to_milliseconds(Duration timeout) {
  const auto rounded = std::chrono::ceil<std::chrono::milliseconds>(timeout).count();
  return static_cast<int>(std::min<std::int64_t>(rounded, INT_MAX));
}

timespec to_timespec(Duration timeout) {
  const auto seconds = std::chrono::floor<std::chrono::seconds>(timeout);
  timespec result{};
  result.tv_sec = static_cast<time_t>(seconds.count());
  result.tv_nsec = static_cast<long>((timeout - seconds).count());
  return result;
}

}  // namespace

EpollKernel::EpollKernel(Sleep sleep) : _epoll(::epoll_create1(EPOLL_CLOEXEC)), _sleep(sleep) {
  XLOG_ASSERT(_epoll >= 0, system_error(_epoll));
}

EpollKernel::~EpollKernel() {
  ::close(_epoll);
}

TimePoint EpollKernel::now() {
  timespec time{};
  ::clock_gettime(CLOCK_MONOTONIC, &time);
  return TimePoint(std::chrono::seconds(time.tv_sec) + Duration(time.tv_nsec));
}

void EpollKernel::watch(int fd, IoInterest interest) {
  const auto index = static_cast<std::size_t>(fd);
  if (index >= _interest.size()) _interest.resize(index + 1, IoInterest::NONE);
  const IoInterest before = std::exchange(_interest[index], interest);
  if (before == interest) return;
  if (forget_always_ready(fd)) {
    if (interest != IoInterest::NONE) _always_ready.push_back({fd, interest});
    return;
  }
  int operation = EPOLL_CTL_MOD;
  if (before == IoInterest::NONE) operation = EPOLL_CTL_ADD;
  if (interest == IoInterest::NONE) operation = EPOLL_CTL_DEL;
  epoll_event event = event_for(fd, interest);
  if (::epoll_ctl(_epoll, operation, fd, &event) == 0) return;
  XLOG_ASSERT(operation == EPOLL_CTL_ADD && errno == EPERM, system_error(fd));
  _always_ready.push_back({fd, interest});
}

bool EpollKernel::forget_always_ready(int fd) {
  return std::erase_if(_always_ready, [fd](const IoReady& file) { return file.fd == fd; }) != 0;
}

std::size_t EpollKernel::wait(Duration timeout, std::span<IoReady> ready) {
  Events events;  // NOLINT(cppcoreguidelines-pro-type-member-init)
  const int room = static_cast<int>(std::min(ready.size(), events.size()));
  if (!_always_ready.empty()) timeout = Duration::zero();

  int count = -1;
  if (timeout > Duration::zero() && _sleep == Sleep::BEST) {
    const timespec limit = to_timespec(timeout);
    count = ::epoll_pwait2(_epoll, events.data(), room, &limit, nullptr);
    // A sandbox that does not know the call answers EPERM.
    if (count < 0 && (errno == ENOSYS || errno == EPERM)) _sleep = Sleep::MILLISECONDS;
  }
  if (count < 0 && (timeout <= Duration::zero() || _sleep == Sleep::MILLISECONDS)) {
    const int limit = timeout < Duration::zero() ? -1 : to_milliseconds(timeout);
    count = ::epoll_wait(_epoll, events.data(), room, limit);
  }
  XLOG_ASSERT(count >= 0 || errno == EINTR, system_error(_epoll));

  std::size_t filled = 0;
  for (int i = 0; i < count; ++i) ready[filled++] = ready_from(events[static_cast<std::size_t>(i)]);
  for (const IoReady& file : _always_ready) {
    if (filled < ready.size()) ready[filled++] = file;
  }
  return filled;
}

void EpollKernel::random_bytes(std::span<std::uint8_t> out) {
  while (!out.empty()) {
    const ssize_t got = ::getrandom(out.data(), out.size(), 0);
    XLOG_ASSERT(got >= 0 || errno == EINTR, std::string(std::strerror(errno)));
    if (got > 0) out = out.subspan(static_cast<std::size_t>(got));
  }
}
