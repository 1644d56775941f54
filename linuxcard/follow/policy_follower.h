// PolicyFollower: makes packets obey the policyd that lives. It asks it every POLL_INTERVAL
// whether anything changed, reads the policy when something did, and hands it to the data
// path. While no policyd is there, what is in force stays.
//
// A policyd that was started anew knows no policy until somebody has configured it. So
// long as another one's policy is in force, what such a policyd says is taken only once it
// has bound rules and nothing of it changed for SETTLE, or `hold` has passed since it
// came; then it is taken as it is, even empty, and each change at once.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "framework/base/event_loop.h"
#include "linuxcard/data_path_runner.h"
#include "linuxcard/follow/kernel_switch.h"
#include "linuxcard/follow/policy_reader.h"
#include "linuxcard/follow/switch_policy.h"
#include "linuxcard/follow/time_ranges.h"

class PolicyFollower {
 public:
  static constexpr std::chrono::milliseconds POLL_INTERVAL{20};
  static constexpr std::chrono::seconds SETTLE{2};
  // Between looks at the clock for time ranges, and after which what the data path refused
  // is tried again.
  static constexpr std::chrono::seconds CLOCK_INTERVAL{1};
  static constexpr std::chrono::seconds REFUSED_AGAIN{10};

  enum class State : std::uint8_t {
    WAITING,  // no policyd lives, or nothing was read from it yet
    HOLDING,  // one lives, but another one's policy is still in force
    FOLLOWING,
  };

  struct Options {
    std::chrono::seconds hold{60};
    // The instance whose policy is in force at the start; empty: none is.
    std::string in_force;
    // By which time ranges hold.
    std::function<LocalMoment()> now;
    // Runs when another instance's policy has come into force, and after each apply.
    std::function<void(const std::string& instance)> adopted;
    std::function<void()> applied;
  };

  // All must outlive the follower.
  PolicyFollower(EventLoop& loop, XrlSender& sender, DataPathRunner& data_path, Options options);
  PolicyFollower(const PolicyFollower&) = delete;
  PolicyFollower& operator=(const PolicyFollower&) = delete;
  ~PolicyFollower() = default;

  // What the finder tells of the class "policy".
  void policy_born(std::string_view instance);
  void policy_died(std::string_view instance);

  // The ports and VLANs that there are; nothing is asked for before the first time.
  void set_switch(KernelSwitch kernel);
  void set_queue_map(const std::string& port, const QueueMap& map);

  [[nodiscard]] State state() const;
  // Of the policy in force: whose it is and which.
  [[nodiscard]] const std::string& instance_in_force() const { return _in_force; }
  [[nodiscard]] std::uint64_t serial_in_force() const;
  // Of the last time that the data path was given a policy.
  [[nodiscard]] const DataPathRunner::Outcome& outcome() const { return _outcome; }
  [[nodiscard]] const KernelSwitch& kernel() const { return _kernel; }
  // From the answer that told of the change to the data path's answer.
  [[nodiscard]] Duration last_change_took() const { return _last_change_took; }

 private:
  void poll();
  void serial_arrived(std::uint64_t serial);
  void read();
  void snapshot_arrived(std::shared_ptr<const PolicySnapshot> snapshot);
  [[nodiscard]] bool may_take(const PolicySnapshot& snapshot) const;
  void take_if_due();
  void apply();
  void applied(const DataPathRunner::Outcome& outcome);
  void tell_of_refusals(const DataPathRunner::Outcome& outcome) const;
  void look_at_the_clock();
  [[nodiscard]] bool is_busy() const { return _asking || _applying || _reader.is_reading(); }

  EventLoop& _loop;
  XrlSender& _sender;
  DataPathRunner& _data_path;
  Options _options;
  PolicyReader _reader;

  std::string _policy;  // the instance that lives; empty: none
  TimePoint _born{};
  TimePoint _changed_at{};  // when its serial was last seen to change
  TimePoint _noticed_at{};  // when the change was noticed that is being read
  std::uint64_t _seen_serial = 0;
  bool _seen = false;
  std::string _in_force;
  KernelSwitch _kernel;
  bool _has_switch = false;
  QueueMaps _queues;
  std::shared_ptr<const PolicySnapshot> _read;   // from _policy; null: not yet
  std::shared_ptr<const PolicySnapshot> _taken;  // in force; null: nothing was given yet
  bool _read_again = false;                      // the places changed
  bool _apply_again = false;                     // something beside the policy changed
  bool _asking = false;
  bool _applying = false;
  std::set<std::string> _active_time_ranges;
  DataPathRunner::Outcome _outcome;
  TimePoint _applied_at{};
  Duration _last_change_took{};
  Timer _poll;
  Timer _clock;
  std::unique_ptr<Lifeline> _asked;  // of what was asked of _policy
  Lifeline _lifeline;
};
