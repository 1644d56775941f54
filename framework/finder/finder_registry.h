// FinderRegistry: who is registered, who asked about whom, and who wants to
// hear of whom. The name service without its network: FinderServer feeds it
// what arrives and sends what it answers.
//
// A session is one client's connection. It may register one target: a class,
// an instance of it, the addresses that instance listens on and its methods,
// each with the key that opens it. Within all sessions a name, be it a class
// or an instance, belongs to one target at most, so a second daemon of a class
// is refused and the first does not notice.
//
// A target lives from its registration to its deregistration, to a
// registration of its session under another class or instance, or to the end
// of its session; its interests in classes go with it.
//
// What others are to be told of an operation queues up as notices, in order:
//   a death   TARGET_DIED to every session that resolved the target, then
//             DEATH to every target that is interested in its class
//   a birth   BIRTH to every target that is interested in the class
// each time in ascending order of sessions. A target that registers again with
// other addresses, methods or keys stays alive, but what was resolved is no
// longer true: TARGET_DIED, without death or birth.
//
// Every operation holds what it is given against finder_limits, so what all
// sessions together keep here is bounded (docs/finder.md has the sum). A
// refusal changes nothing and queues nothing.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "framework/xrl/limits.h"
#include "framework/xrl/xrl_error.h"
#include "framework/xrl/xrl_key.h"

namespace finder_limits {

inline constexpr std::size_t MAX_SESSIONS = xrl_limits::MAX_CONNECTIONS;
// A class or an instance name.
inline constexpr std::size_t MAX_NAME_BYTES = xrl_limits::MAX_TARGET_NAME_BYTES;
// "INTERFACE/VERSION/METHOD", all of it.
inline constexpr std::size_t MAX_METHOD_BYTES = 255;
inline constexpr std::size_t MAX_ADDRESS_BYTES = 128;
inline constexpr std::size_t MAX_ADDRESSES_PER_TARGET = 8;
inline constexpr std::size_t MAX_METHODS_PER_TARGET = 1024;
inline constexpr std::size_t MAX_INTERESTS_PER_SESSION = 64;
inline constexpr std::size_t MAX_RESOLUTIONS_PER_SESSION = 1024;
// Over all sessions.
inline constexpr std::size_t MAX_METHODS = 65536;
inline constexpr std::size_t MAX_INTERESTS = 16384;
inline constexpr std::size_t MAX_RESOLUTIONS = 65536;

}  // namespace finder_limits

struct FinderMethod {
  std::string name;
  XrlKey key;
  bool operator==(const FinderMethod&) const = default;
};

struct FinderTarget {
  std::string class_name;
  std::string instance_name;
  std::vector<std::string> addresses;  // the best one first
  std::vector<FinderMethod> methods;   // in the order the target declares them

  // The key of a method, or null.
  [[nodiscard]] const XrlKey* key_of(std::string_view method) const;
  bool operator==(const FinderTarget&) const = default;
};

// Names a session for as long as it is open; never given twice.
enum class FinderSession : std::uint64_t {};

struct FinderNotice {
  enum class Kind : std::uint8_t { TARGET_DIED, DEATH, BIRTH };

  Kind kind;
  FinderSession to;
  std::string class_name;
  std::string instance_name;
  // What the receiving target registered for the method that takes the
  // notice; all zero with TARGET_DIED, which needs none.
  XrlKey key{};
  bool operator==(const FinderNotice&) const = default;
};

struct FinderInterest {
  std::string requester;  // instance name
  std::string class_name;
  bool operator==(const FinderInterest&) const = default;
};

// An operation that throws std::bad_alloc has changed nothing, with one exception:
// where another target was to take the place of a session's, that one is dead.
// close_session() does not throw. Where there is no memory for its notices, those
// who should have had them are out of step from then on and must be closed too.
class FinderRegistry {
 public:
  // `own` is the finder's own target: it can be found like any other, and
  // nobody else gets its names.
  explicit FinderRegistry(FinderTarget own);

  // Nothing when MAX_SESSIONS are open.
  [[nodiscard]] std::optional<FinderSession> open_session();
  // The operations below take only sessions that are open. Closing one is the
  // death of its target.
  void close_session(FinderSession session);
  // Whether any session is, or that one is, out of step.
  [[nodiscard]] bool is_out_of_step() const { return _out_of_step_count > 0; }
  [[nodiscard]] bool is_out_of_step(FinderSession session) const { return at(session).out_of_step; }
  // The session's target, or null; valid until the next operation.
  [[nodiscard]] const FinderTarget* target_of(FinderSession session) const;
  // Of clients.
  [[nodiscard]] std::size_t session_count() const { return _sessions.size() - 1; }

  // Makes `target` the session's target, in place of the one it had.
  [[nodiscard]] XrlCmdError register_target(FinderSession session, FinderTarget target);
  [[nodiscard]] XrlCmdError deregister_target(FinderSession session,
                                              std::string_view instance_name);

  // Sets `found` to the target of that class or instance name, valid until the
  // next operation, and remembers that the session knows it.
  [[nodiscard]] XrlCmdError resolve(FinderSession session, std::string_view name,
                                    const FinderTarget*& found);
  // As resolve(), but nothing is remembered.
  [[nodiscard]] XrlCmdError find(std::string_view name, const FinderTarget*& found) const;

  // Interest of the session's target, which must have both methods of
  // finder_event_observer/0.1, in births and deaths of a class. An instance
  // that lives already is a birth for the requester, also when the interest
  // stood before.
  [[nodiscard]] XrlCmdError register_interest(FinderSession session, std::string_view requester,
                                              std::string_view class_name);
  // No refusal where there is no interest: a request that is repeated in a new
  // session has then reached its end already.
  [[nodiscard]] XrlCmdError deregister_interest(FinderSession session, std::string_view requester,
                                                std::string_view class_name);

  // All targets, the finder's own included, in ascending order of class name;
  // valid until the next operation.
  [[nodiscard]] std::vector<const FinderTarget*> targets() const;
  // In ascending order of class name, then of sessions.
  [[nodiscard]] std::vector<FinderInterest> interests() const;

  // Whether take_notices() would answer any.
  [[nodiscard]] bool has_notices() const { return !_notices.empty(); }
  // The notices queued since the last call, in order.
  [[nodiscard]] std::vector<FinderNotice> take_notices();

 private:
  struct Session {
    std::optional<FinderTarget> target;
    std::set<std::string, std::less<>> interests;
    std::set<FinderSession> knows;     // sessions whose target it resolved
    std::set<FinderSession> known_by;  // sessions that resolved its target
    bool out_of_step = false;          // missed a notice
  };
  using Owners = std::map<std::string, FinderSession, std::less<>>;

  [[nodiscard]] Session& at(FinderSession session);
  [[nodiscard]] const Session& at(FinderSession session) const;
  [[nodiscard]] std::optional<FinderSession> owner_of(std::string_view name) const;
  [[nodiscard]] bool owned_by_another(FinderSession session, std::string_view name) const;
  // Refused unless the session's target is that instance.
  [[nodiscard]] XrlCmdError require_own(const Session& session,
                                        std::string_view instance_name) const;
  [[nodiscard]] XrlCmdError find_owner(std::string_view name, FinderSession& owner) const;
  // Ends the refusal of a name that is not registered.
  [[nodiscard]] std::string nearest_target(std::string_view name) const;

  void bear(FinderSession session, FinderTarget target);
  void bury(FinderSession session);
  // All or none.
  void tell_of_death(FinderSession session);
  // Instead of telling them.
  void lose_step(FinderSession session);
  void lose_step_of_those_to_tell(FinderSession dead);
  void remove_target(FinderSession session);
  void tell_knowing(FinderSession session);
  void disown_resolutions(FinderSession session);
  void forget_resolutions(FinderSession session);
  void add_interest(FinderSession session, std::string_view class_name);
  void drop_interests(FinderSession session);
  void remove_interested(std::string_view class_name, FinderSession session);
  // All but one session.
  void tell_interested(FinderNotice::Kind kind, const FinderTarget& about, FinderSession but);
  void tell(FinderSession to, FinderNotice::Kind kind, const FinderTarget& about);

  static constexpr FinderSession OWN{0};

  std::uint64_t _last_session = 0;
  std::map<FinderSession, Session> _sessions;  // OWN, and those of clients
  Owners _classes;
  Owners _instances;
  std::map<std::string, std::set<FinderSession>, std::less<>> _interested;  // by class
  std::size_t _method_count = 0;                                            // of clients
  std::size_t _interest_count = 0;
  std::size_t _resolution_count = 0;
  std::size_t _out_of_step_count = 0;
  std::vector<FinderNotice> _notices;
};
