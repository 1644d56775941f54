// One thread's event loop: timers, watched descriptors and deferred calls.
//
// run() is one turn, always in this order: due timers, then ready
// descriptors, then deferred calls. When nothing is due it sleeps in the
// kernel; it never spins. Time stands still within a turn: now() answers the
// same value until the next one. A timer that is armed within a turn and a call
// that is deferred by a deferred call run in a later turn, so a turn always
// ends.
//
// Timer, Watch and Deferred are handles. A callback runs only while its
// handle lives and is armed; destroying the handle, also from inside a callback
// (its own included), takes the callback back for good. Handles must not
// outlive their loop.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <utility>
#include <vector>

#include "framework/base/clock.h"
#include "framework/base/kernel.h"
#include "framework/base/network.h"
#include "framework/base/ref_ptr.h"

class EventLoop;

namespace event_loop_detail {

// Shared between a handle and the call that is under way, so that a callback
// which destroys its own handle does not pull the ground from under itself.
template <typename... Args>
class SharedCallback {
 public:
  explicit SharedCallback(std::function<void(Args...)> function)
      : _held(new Held(std::move(function))) {}
  void operator()(Args... args) const {
    const ref_ptr<Held> held = _held;
    held->function(args...);
  }

 private:
  struct Held : RefCounted {
    explicit Held(std::function<void(Args...)> f) : function(std::move(f)) {}
    std::function<void(Args...)> function;
  };
  ref_ptr<Held> _held;
};

}  // namespace event_loop_detail

// Runs its callback once for each time it is armed.
class Timer {
 public:
  using Callback = std::function<void()>;

  // Not armed.
  Timer(EventLoop& loop, Callback callback);
  ~Timer();
  Timer(const Timer&) = delete;
  Timer& operator=(const Timer&) = delete;

  // (Re)arms the timer, which takes no memory: it runs once, in the first turn that begins at or
  // after `when`. Timers due in the same turn run in order of their time,
  // those of equal time in the order they were armed. A time already past
  // counts as the loop's now().
  void schedule_at(TimePoint when);
  // Counted from the loop's now(); a delay past the end of time is cut there.
  void schedule_after(Duration delay);
  // Does nothing when not armed.
  void cancel();
  [[nodiscard]] bool is_armed() const { return _heap_index != NOT_ARMED; }
  // Meaningful while armed.
  [[nodiscard]] TimePoint when() const { return _when; }

 private:
  friend class EventLoop;
  static constexpr std::size_t NOT_ARMED = static_cast<std::size_t>(-1);

  EventLoop& _loop;
  event_loop_detail::SharedCallback<> _callback;
  TimePoint _when{};
  std::uint64_t _order = 0;
  std::size_t _heap_index = NOT_ARMED;
};

// Runs its callback whenever its descriptor is ready for something it is
// watched for, first in the turn after the one that made the watch.
// Level-triggered.
class Watch {
 public:
  using Callback = std::function<void(IoInterest ready)>;

  // One watch per descriptor at a time. The descriptor stays its owner's and
  // must be closed only after the watch is gone.
  Watch(EventLoop& loop, int fd, IoInterest interest, Callback callback);
  ~Watch();
  Watch(const Watch&) = delete;
  Watch& operator=(const Watch&) = delete;

  // What it is watched for from now on; NONE lets it rest.
  void set_interest(IoInterest interest);
  [[nodiscard]] IoInterest interest() const { return _interest; }
  [[nodiscard]] int fd() const { return _fd; }

 private:
  friend class EventLoop;
  EventLoop& _loop;
  int _fd;
  IoInterest _interest;
  std::uint64_t _order;
  event_loop_detail::SharedCallback<IoInterest> _callback;
};

// Runs its callback once at the end of the turn in which it was scheduled;
// scheduled again before that, still once. Scheduled from a deferred call or
// outside a turn, it runs in the next turn, which then does not sleep.
class Deferred {
 public:
  using Callback = std::function<void()>;

  // Not scheduled.
  Deferred(EventLoop& loop, Callback callback);
  ~Deferred();
  Deferred(const Deferred&) = delete;
  Deferred& operator=(const Deferred&) = delete;

  void schedule();
  // Does nothing when not scheduled.
  void cancel();
  [[nodiscard]] bool is_scheduled() const { return _scheduled; }

 private:
  friend class EventLoop;
  EventLoop& _loop;
  event_loop_detail::SharedCallback<> _callback;
  bool _scheduled = false;
  std::uint64_t _order = 0;
  Deferred* _previous = nullptr;
  Deferred* _next = nullptr;
};

class EventLoop {
 public:
  // On the machine's kernel and network, which it then owns.
  EventLoop();
  // On the given ones, which must outlive it.
  EventLoop(Kernel& kernel, Network& network);
  ~EventLoop();
  EventLoop(const EventLoop&) = delete;
  EventLoop& operator=(const EventLoop&) = delete;

  // One turn. With no timer armed, nothing deferred and nothing watched it
  // sleeps for ever. May be called from within a callback (a nested turn):
  // waiting for one condition while the rest of the process goes on. A nested
  // turn also runs what the outer one still had to run, and may enter the
  // callback it is called from once more.
  void run();

  // When the current turn began its callbacks; outside a turn, when the last
  // one did.
  [[nodiscard]] TimePoint now() const { return _now; }

  [[nodiscard]] Kernel& kernel() { return *_kernel; }
  [[nodiscard]] Network& network() { return *_network; }

 private:
  friend class Timer;
  friend class Watch;
  friend class Deferred;

  static constexpr std::size_t READY_PER_TURN = 64;

  // `turn` tells what stood before this turn's callbacks (a lower number)
  // from what they made (this number or higher), which has to wait.
  void run_due_timers(std::uint64_t turn);
  void run_ready(std::span<const IoReady> ready, std::uint64_t turn);
  void run_deferred();
  [[nodiscard]] TimePoint end_of_sleep() const;

  // May throw std::bad_alloc, and then there is none.
  void make_room_for_timer();
  void arm(Timer& timer, TimePoint when);
  void disarm(Timer& timer);
  void sift_up(std::size_t index);
  void sift_down(std::size_t index);
  void place(std::size_t index, Timer* timer);

  void add_watch(Watch& watch);
  void remove_watch(Watch& watch);

  void append_deferred(Deferred& deferred);
  void remove_deferred(Deferred& deferred);

  std::unique_ptr<Kernel> _own_kernel;
  std::unique_ptr<Network> _own_network;
  Kernel* _kernel;
  Network* _network;
  TimePoint _now;
  std::uint64_t _next_order = 0;
  std::vector<Timer*> _timers;  // binary heap by (when, order), with room for all that live
  std::size_t _living_timers = 0;
  std::vector<Watch*> _watches;   // by descriptor, null where none
  Deferred* _deferred = nullptr;  // list in the order they were scheduled
  Deferred* _last_deferred = nullptr;
};
