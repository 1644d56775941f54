#include "framework/base/epoll_kernel.h"

#include <sys/epoll.h>
#include <sys/random.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <string>
#include <utility>

#include "framework/base/xlog.h"

namespace {

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

itimerspec once_at(TimePoint when) {
  const auto seconds = std::chrono::floor<std::chrono::seconds>(when.time_since_epoch());
  itimerspec result{};
  result.it_value.tv_sec = static_cast<time_t>(seconds.count());
  result.it_value.tv_nsec = static_cast<long>((when.time_since_epoch() - seconds).count());
  return result;
}

}  // namespace

EpollKernel::EpollKernel()
    : _epoll(::epoll_create1(EPOLL_CLOEXEC)),
      _alarm(::timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC)) {
  XLOG_ASSERT(_epoll >= 0 && _alarm >= 0, system_error(std::min(_epoll, _alarm)));
  epoll_event event = event_for(_alarm, IoInterest::READ);
  // Told once each time it goes off, it need not be read.
  event.events |= EPOLLET;
  const int result = ::epoll_ctl(_epoll, EPOLL_CTL_ADD, _alarm, &event);
  XLOG_ASSERT(result == 0, system_error(_alarm));
}

EpollKernel::~EpollKernel() {
  ::close(_alarm);
  ::close(_epoll);
}

TimePoint EpollKernel::now() {
  timespec time{};
  ::clock_gettime(CLOCK_MONOTONIC, &time);
  _now = TimePoint(std::chrono::seconds(time.tv_sec) + Duration(time.tv_nsec));
  return _now;
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

std::size_t EpollKernel::wait(TimePoint until, std::span<IoReady> ready) {
  for (;;) {
    const bool may_sleep = until > _now && _always_ready.empty();
    if (may_sleep) wake_by(until);
    const TimePoint alarm_before = _alarm_at;
    const std::size_t filled = look(may_sleep ? -1 : 0, ready);
    // The alarm may have been set for a sleep that did not last so long.
    const bool was_alarm_alone = filled == 0 && _alarm_at != alarm_before;
    if (!was_alarm_alone || now() >= until) return filled;
  }
}

void EpollKernel::wake_by(TimePoint when) {
  if (when >= _alarm_at) return;
  const itimerspec time = once_at(when);
  const int result = ::timerfd_settime(_alarm, TFD_TIMER_ABSTIME, &time, nullptr);
  XLOG_ASSERT(result == 0, system_error(_alarm));
  _alarm_at = when;
}

std::size_t EpollKernel::look(int timeout, std::span<IoReady> ready) {
  std::array<epoll_event, MAX_READY> events;  // NOLINT(cppcoreguidelines-pro-type-member-init)
  const int room = static_cast<int>(std::min(ready.size(), events.size()));
  const int count = ::epoll_wait(_epoll, events.data(), room, timeout);
  XLOG_ASSERT(count >= 0 || errno == EINTR, system_error(_epoll));

  std::size_t filled = 0;
  for (int i = 0; i < count; ++i) {
    const IoReady entry = ready_from(events[static_cast<std::size_t>(i)]);
    if (entry.fd == _alarm) {
      _alarm_at = NEVER;
    } else {
      ready[filled++] = entry;
    }
  }
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
