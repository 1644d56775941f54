#include "framework/base/event_loop.h"

#include <algorithm>
#include <array>
#include <string>

#include "framework/base/epoll_kernel.h"
#include "framework/base/posix_network.h"
#include "framework/base/xlog.h"

namespace {

bool runs_before(TimePoint when, std::uint64_t order, TimePoint other_when,
                 std::uint64_t other_order) {
  return when != other_when ? when < other_when : order < other_order;
}

IoInterest both(IoInterest a, IoInterest b) {
  return static_cast<IoInterest>(static_cast<unsigned>(a) & static_cast<unsigned>(b));
}

}  // namespace

Timer::Timer(EventLoop& loop, Callback callback) : _loop(loop), _callback(std::move(callback)) {
  _loop.make_room_for_timer();
}

Timer::~Timer() {
  cancel();
  --_loop._living_timers;
}

void Timer::schedule_at(TimePoint when) {
  _loop.arm(*this, when);
}

void Timer::schedule_after(Duration delay) {
  const Duration left = TimePoint::max() - _loop.now();
  _loop.arm(*this,
            delay < left ? _loop.now() + std::max(delay, Duration::zero()) : TimePoint::max());
}

void Timer::cancel() {
  if (is_armed()) _loop.disarm(*this);
}

Watch::Watch(EventLoop& loop, int fd, IoInterest interest, Callback callback)
    : _loop(loop),
      _fd(fd),
      _interest(interest),
      _order(loop._next_order++),
      _callback(std::move(callback)) {
  _loop.add_watch(*this);
}

Watch::~Watch() {
  _loop.remove_watch(*this);
}

void Watch::set_interest(IoInterest interest) {
  if (interest == _interest) return;
  _interest = interest;
  _loop._kernel->watch(_fd, interest);
}

Deferred::Deferred(EventLoop& loop, Callback callback)
    : _loop(loop), _callback(std::move(callback)) {}

Deferred::~Deferred() {
  cancel();
}

void Deferred::schedule() {
  if (!_scheduled) _loop.append_deferred(*this);
}

void Deferred::cancel() {
  if (_scheduled) _loop.remove_deferred(*this);
}

EventLoop::EventLoop()
    : _own_kernel(std::make_unique<EpollKernel>()),
      _own_network(std::make_unique<PosixNetwork>()),
      _kernel(_own_kernel.get()),
      _network(_own_network.get()),
      _now(_kernel->now()) {}

EventLoop::EventLoop(Kernel& kernel, Network& network)
    : _kernel(&kernel), _network(&network), _now(_kernel->now()) {}

EventLoop::~EventLoop() = default;

void EventLoop::run() {
  // On the stack, since a nested turn has ready descriptors of its own.
  std::array<IoReady, READY_PER_TURN> ready;  // NOLINT(cppcoreguidelines-pro-type-member-init)
  const std::size_t count = _kernel->wait(end_of_sleep(), ready);
  const std::uint64_t turn = _next_order;
  _now = _kernel->now();
  run_due_timers(turn);
  run_ready(std::span(ready).first(count), turn);
  run_deferred();
}

TimePoint EventLoop::end_of_sleep() const {
  if (_deferred != nullptr) return Kernel::AT_ONCE;
  return _timers.empty() ? Kernel::NEVER : _timers.front()->_when;
}

void EventLoop::run_due_timers(std::uint64_t turn) {
  // Kept here, since a nested turn moves the loop's own time on.
  const TimePoint now = _now;
  while (!_timers.empty()) {
    Timer& timer = *_timers.front();
    // A timer armed since then has its time at `now` or later, so none that
    // is due stands behind it.
    if (timer._when > now || timer._order >= turn) return;
    disarm(timer);
    timer._callback();
  }
}

void EventLoop::run_ready(std::span<const IoReady> ready, std::uint64_t turn) {
  for (const IoReady& entry : ready) {
    const auto index = static_cast<std::size_t>(entry.fd);
    if (index >= _watches.size()) continue;
    Watch* watch = _watches[index];
    // A watch made since the kernel was asked may stand for another file
    // under the same number.
    if (watch == nullptr || watch->_order >= turn) continue;
    const IoInterest wanted = both(entry.ready, watch->_interest);
    if (wanted != IoInterest::NONE) watch->_callback(wanted);
  }
}

void EventLoop::run_deferred() {
  const std::uint64_t turn = _next_order;
  while (_deferred != nullptr && _deferred->_order < turn) {
    Deferred& deferred = *_deferred;
    remove_deferred(deferred);
    deferred._callback();
  }
}

void EventLoop::make_room_for_timer() {
  if (_living_timers == _timers.capacity()) _timers.reserve(2 * _living_timers + 8);
  ++_living_timers;
}

void EventLoop::arm(Timer& timer, TimePoint when) {
  if (timer.is_armed()) disarm(timer);
  timer._when = std::max(when, _now);
  timer._order = _next_order++;
  _timers.push_back(&timer);
  timer._heap_index = _timers.size() - 1;
  sift_up(timer._heap_index);
}

void EventLoop::disarm(Timer& timer) {
  const std::size_t index = timer._heap_index;
  Timer* last = _timers.back();
  _timers.pop_back();
  timer._heap_index = Timer::NOT_ARMED;
  if (last == &timer) return;
  place(index, last);
  sift_up(index);
  sift_down(last->_heap_index);
}

void EventLoop::sift_up(std::size_t index) {
  Timer* timer = _timers[index];
  while (index > 0) {
    const std::size_t parent = (index - 1) / 2;
    Timer* above = _timers[parent];
    if (!runs_before(timer->_when, timer->_order, above->_when, above->_order)) break;
    place(index, above);
    index = parent;
  }
  place(index, timer);
}

void EventLoop::sift_down(std::size_t index) {
  Timer* timer = _timers[index];
  for (;;) {
    std::size_t child = 2 * index + 1;
    if (child >= _timers.size()) break;
    if (child + 1 < _timers.size() &&
        runs_before(_timers[child + 1]->_when, _timers[child + 1]->_order, _timers[child]->_when,
                    _timers[child]->_order)) {
      ++child;
    }
    Timer* below = _timers[child];
    if (!runs_before(below->_when, below->_order, timer->_when, timer->_order)) break;
    place(index, below);
    index = child;
  }
  place(index, timer);
}

void EventLoop::place(std::size_t index, Timer* timer) {
  _timers[index] = timer;
  timer->_heap_index = index;
}

void EventLoop::add_watch(Watch& watch) {
  XLOG_ASSERT(watch._fd >= 0, "descriptor " + std::to_string(watch._fd));
  const auto index = static_cast<std::size_t>(watch._fd);
  if (index >= _watches.size()) _watches.resize(index + 1);
  XLOG_ASSERT(_watches[index] == nullptr,
              "descriptor " + std::to_string(watch._fd) + " is watched already");
  _watches[index] = &watch;
  if (watch._interest != IoInterest::NONE) _kernel->watch(watch._fd, watch._interest);
}

void EventLoop::remove_watch(Watch& watch) {
  _watches[static_cast<std::size_t>(watch._fd)] = nullptr;
  if (watch._interest != IoInterest::NONE) _kernel->watch(watch._fd, IoInterest::NONE);
}

void EventLoop::append_deferred(Deferred& deferred) {
  deferred._scheduled = true;
  deferred._order = _next_order++;
  deferred._previous = _last_deferred;
  (_last_deferred != nullptr ? _last_deferred->_next : _deferred) = &deferred;
  _last_deferred = &deferred;
}

void EventLoop::remove_deferred(Deferred& deferred) {
  (deferred._previous != nullptr ? deferred._previous->_next : _deferred) = deferred._next;
  (deferred._next != nullptr ? deferred._next->_previous : _last_deferred) = deferred._previous;
  deferred._previous = deferred._next = nullptr;
  deferred._scheduled = false;
}
