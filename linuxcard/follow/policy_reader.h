// PolicyReader: reads the policy of a policyd whole and consistent: it reads until nothing
// has changed meanwhile. Only rules that are bound are asked for.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "framework/base/callback.h"
#include "framework/base/event_loop.h"
#include "linuxcard/follow/policy_snapshot.h"

class XrlAtomList;
class XrlError;
class XrlSender;

class PolicyReader {
 public:
  // Whose bindings are read.
  struct Places {
    std::vector<std::string> ports;
    std::set<std::uint16_t> vlans;
  };
  // Null when the policy could not be read: policyd does not answer, or it changed each
  // time of MAX_ATTEMPTS.
  using Done = std::function<void(std::shared_ptr<const PolicySnapshot>)>;

  static constexpr std::size_t MAX_IN_FLIGHT = 1024;
  static constexpr int MAX_ATTEMPTS = 3;

  // The sender must outlive the reader.
  PolicyReader(EventLoop& loop, XrlSender& sender);
  PolicyReader(const PolicyReader&) = delete;
  PolicyReader& operator=(const PolicyReader&) = delete;
  ~PolicyReader() = default;

  // Reads from the target `policy`; `done` runs once, later, from the loop. What `before`
  // (which may be null) holds of a rule is taken for true where the rule cannot have
  // changed since: it was read from the same target and so few changes were made that the
  // rule cannot have been released, deleted, made anew and bound again. One reading at a
  // time.
  void read(std::string policy, Places places, std::shared_ptr<const PolicySnapshot> before,
            Done done);
  [[nodiscard]] bool is_reading() const { return _done != nullptr; }
  // Ends a reading without a word.
  void forget();

 private:
  // Sends one request; false when it cannot be queued now.
  using Ask = std::function<bool()>;
  enum class Phase : std::uint8_t { SERIAL, BINDINGS, RULES, SERIAL_AGAIN };

  void begin_attempt();
  void pump();
  void phase_ended();
  // Takes the answer's error and answers whether there are results.
  [[nodiscard]] bool take(const XrlError& error);
  void answered();
  void finish(std::shared_ptr<const PolicySnapshot> snapshot);

  bool ask_serial();
  void ask_for_bindings();
  void ask_for_rules();
  bool ask_filters(const std::string& port);
  bool ask_filters(std::uint16_t vlan);
  bool ask_remarks(const std::string& port);
  bool ask_remarks(std::uint16_t vlan);
  bool ask_time_ranges();
  bool ask_rule(RuleKey key);
  [[nodiscard]] bool rules_before_hold() const;

  XrlSender& _sender;
  std::string _policy;
  Places _places;
  std::shared_ptr<const PolicySnapshot> _before;
  Done _done;
  int _attempts = 0;
  Phase _phase = Phase::SERIAL;
  std::shared_ptr<PolicySnapshot> _snapshot;
  std::uint64_t _serial_again = 0;
  bool _changed_meanwhile = false;  // something was missing that others spoke of
  bool _failed = false;
  std::deque<Ask> _asks;
  std::size_t _in_flight = 0;
  Deferred _pump;
  std::unique_ptr<Lifeline> _reading;  // of the callbacks of this reading
};
