// Random operations on the registry and on a model of it that is too simple to
// be wrong: flat lists, searched from the front. Answers, notices and listings
// must be equal throughout.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "framework/finder/finder_registry.h"
#include "tests/unit/finder/finder_samples.h"

namespace {

using Lines = std::vector<std::string>;

bool is_plain(const std::string& name) {
  return !name.empty() && name.find(' ') == std::string::npos;
}

class Model {
 public:
  struct Entry {
    FinderSession session;
    std::optional<FinderTarget> target;
    Lines interests;
    std::vector<FinderSession> resolved;
  };

  Model() { _entries.push_back({FinderSession{0}, finder_samples::own_target(), {}, {}}); }

  void open(FinderSession session) { _entries.push_back({session, std::nullopt, {}, {}}); }

  void close(FinderSession session) {
    entry(session).interests.clear();
    entry(session).resolved.clear();
    if (entry(session).target) die(session);
    std::erase_if(_entries, [=](const Entry& e) { return e.session == session; });
  }

  std::string register_target(FinderSession session, const FinderTarget& target) {
    if (!is_plain(target.class_name)) return "the class name is malformed.";
    if (!is_plain(target.instance_name)) return "the instance name is malformed.";
    if (belongs_to_another(session, target.class_name)) {
      return "the class '" + target.class_name + "' is registered by another target.";
    }
    if (belongs_to_another(session, target.instance_name)) {
      return "the instance '" + target.instance_name + "' is registered by another target.";
    }
    Entry& own = entry(session);
    if (own.target && own.target->class_name == target.class_name &&
        own.target->instance_name == target.instance_name) {
      if (*own.target != target) outdate(session);
      own.target = target;
      return {};
    }
    if (own.target) die(session);
    own.target = target;
    tell_interested("birth", target);
    return {};
  }

  std::string deregister_target(FinderSession session, const std::string& instance) {
    if (std::string refusal = not_own(session, instance); !refusal.empty()) return refusal;
    die(session);
    return {};
  }

  // The instance, or the refusal up to the guess of what was meant.
  std::string resolve(FinderSession session, const std::string& name) {
    if (!is_plain(name)) return "the target name is malformed.";
    const Entry* owner = owner_of(name);
    if (owner == nullptr) return "no target '" + name + "' is registered";
    std::vector<FinderSession>& resolved = entry(session).resolved;
    if (std::find(resolved.begin(), resolved.end(), owner->session) == resolved.end()) {
      resolved.push_back(owner->session);
    }
    return owner->target->instance_name;
  }

  std::string register_interest(FinderSession session, const std::string& requester,
                                const std::string& class_name) {
    if (std::string refusal = not_own(session, requester); !refusal.empty()) return refusal;
    if (!is_plain(class_name)) return "the class name is malformed.";
    Entry& own = entry(session);
    const std::string no_method = "the instance '" + requester + "' has no method '";
    if (!has_method(own, finder_samples::BIRTH)) return no_method + finder_samples::BIRTH + "'.";
    if (!has_method(own, finder_samples::DEATH)) return no_method + finder_samples::DEATH + "'.";
    std::erase(own.interests, class_name);
    own.interests.push_back(class_name);
    for (const Entry& e : _entries) {
      if (e.target && e.target->class_name == class_name) tell(own, "birth", *e.target);
    }
    return {};
  }

  std::string deregister_interest(FinderSession session, const std::string& requester,
                                  const std::string& class_name) {
    if (std::string refusal = not_own(session, requester); !refusal.empty()) return refusal;
    if (!is_plain(class_name)) return "the class name is malformed.";
    std::erase(entry(session).interests, class_name);
    return {};
  }

  Lines take_notices() { return std::exchange(_notices, {}); }

  [[nodiscard]] Lines targets() const {
    Lines lines;
    for (const Entry& e : _entries) {
      if (e.target) lines.push_back(e.target->class_name + " " + e.target->instance_name);
    }
    std::sort(lines.begin(), lines.end());
    return lines;
  }
  [[nodiscard]] Lines interests() const {
    Lines lines;
    for (const Entry& e : _entries) {
      for (const std::string& name : e.interests) {
        lines.push_back(e.target->instance_name + " in " + name);
      }
    }
    std::sort(lines.begin(), lines.end());
    return lines;
  }

 private:
  Entry& entry(FinderSession session) {
    return *std::find_if(_entries.begin(), _entries.end(),
                         [=](const Entry& e) { return e.session == session; });
  }
  [[nodiscard]] const Entry* owner_of(const std::string& name) const {
    for (const Entry& e : _entries) {
      if (e.target && (e.target->class_name == name || e.target->instance_name == name)) return &e;
    }
    return nullptr;
  }
  [[nodiscard]] bool belongs_to_another(FinderSession session, const std::string& name) const {
    const Entry* owner = owner_of(name);
    return owner != nullptr && owner->session != session;
  }
  static bool has_method(const Entry& e, const std::string& method) {
    return std::any_of(e.target->methods.begin(), e.target->methods.end(),
                       [&](const FinderMethod& m) { return m.name == method; });
  }
  std::string not_own(FinderSession session, const std::string& instance) {
    const Entry& own = entry(session);
    if (own.target && own.target->instance_name == instance) return {};
    if (!is_plain(instance)) return "the instance name is malformed.";
    return "the instance '" + instance + "' is not registered by this session.";
  }
  void tell(const Entry& to, const std::string& kind, const FinderTarget& about) {
    if (kind == "birth" && !has_method(to, finder_samples::BIRTH)) return;
    if (kind == "death" && !has_method(to, finder_samples::DEATH)) return;
    _notices.push_back(kind + " of " + about.class_name + " " + about.instance_name + " to " +
                       std::to_string(static_cast<std::uint64_t>(to.session)));
  }
  void tell_interested(const std::string& kind, const FinderTarget& about) {
    for (const Entry& e : _entries) {
      const bool interested =
          std::find(e.interests.begin(), e.interests.end(), about.class_name) != e.interests.end();
      if (interested) tell(e, kind, about);
    }
  }
  void outdate(FinderSession session) {
    for (Entry& e : _entries) {
      if (std::erase(e.resolved, session) > 0) {
        tell(e, "target_died", *entry(session).target);
      }
    }
  }
  void die(FinderSession session) {
    outdate(session);
    entry(session).interests.clear();
    const FinderTarget dead = *entry(session).target;
    entry(session).target.reset();
    tell_interested("death", dead);
  }

  std::vector<Entry> _entries;  // in ascending order of sessions
  Lines _notices;
};

class Pair {
 public:
  explicit Pair(std::uint64_t seed) : _random(seed) {}

  void step() {
    const unsigned operation = below(100);
    if (_sessions.empty() || operation < 6) {
      open();
    } else if (operation < 10) {
      const FinderSession session = pick(_sessions);
      std::erase(_sessions, session);
      _registry.close_session(session);
      _model.close(session);
    } else if (operation < 40) {
      register_target(pick(_sessions));
    } else if (operation < 45) {
      const FinderSession session = pick(_sessions);
      const std::string instance = some_instance(session);
      compare(_registry.deregister_target(session, instance),
              _model.deregister_target(session, instance));
    } else if (operation < 65) {
      resolve(pick(_sessions));
    } else {
      change_interest(pick(_sessions), operation < 92);
    }
    EXPECT_EQ(finder_samples::str(_registry.take_notices()), _model.take_notices());
    compare_listings();
  }

 private:
  unsigned below(unsigned limit) { return static_cast<unsigned>(_random() % limit); }
  template <typename T>
  const T& pick(const std::vector<T>& from) {
    return from[below(static_cast<unsigned>(from.size()))];
  }

  void open() {
    const FinderSession session = *_registry.open_session();
    _sessions.push_back(session);
    _model.open(session);
  }

  void register_target(FinderSession session) {
    FinderTarget target = finder_samples::target(pick(CLASSES), pick(INSTANCES));
    // Mostly the same again, so that replacing is not rare.
    const FinderTarget* before = _registry.target_of(session);
    if (before != nullptr && below(2) == 0) {
      target.class_name = before->class_name;
      target.instance_name = before->instance_name;
    }
    if (below(8) != 0) target.methods.push_back({finder_samples::BIRTH, finder_samples::key(1)});
    if (below(8) != 0) target.methods.push_back({finder_samples::DEATH, finder_samples::key(2)});
    compare(_registry.register_target(session, target), _model.register_target(session, target));
  }

  void resolve(FinderSession session) {
    const std::string name = below(2) == 0 ? pick(CLASSES) : pick(INSTANCES);
    const FinderTarget* found = nullptr;
    const XrlCmdError answer = _registry.resolve(session, name, found);
    const std::string expected = _model.resolve(session, name);
    if (answer.is_okay()) {
      EXPECT_EQ(found->instance_name, expected);
    } else {
      EXPECT_EQ(answer.note().substr(0, expected.size()), expected);
    }
  }

  void change_interest(FinderSession session, bool wanted) {
    const std::string requester = some_instance(session);
    const std::string class_name = pick(CLASSES);
    if (wanted) {
      compare(_registry.register_interest(session, requester, class_name),
              _model.register_interest(session, requester, class_name));
    } else {
      compare(_registry.deregister_interest(session, requester, class_name),
              _model.deregister_interest(session, requester, class_name));
    }
  }

  // Mostly the session's own.
  std::string some_instance(FinderSession session) {
    const FinderTarget* own = _registry.target_of(session);
    return own != nullptr && below(8) != 0 ? own->instance_name : pick(INSTANCES);
  }

  static void compare(const XrlCmdError& answer, const std::string& expected) {
    EXPECT_EQ(answer.note(), expected);
    EXPECT_EQ(answer.is_okay(), expected.empty());
  }

  void compare_listings() {
    Lines targets;
    for (const FinderTarget* target : _registry.targets()) {
      targets.push_back(target->class_name + " " + target->instance_name);
    }
    EXPECT_EQ(targets, _model.targets());
    Lines interests;
    for (const FinderInterest& interest : _registry.interests()) {
      interests.push_back(interest.requester + " in " + interest.class_name);
    }
    std::sort(interests.begin(), interests.end());
    EXPECT_EQ(interests, _model.interests());
  }

  static const Lines CLASSES;
  static const Lines INSTANCES;

  std::mt19937_64 _random;
  FinderRegistry _registry{finder_samples::own_target()};
  Model _model;
  std::vector<FinderSession> _sessions;
};

// "a" is in both, for what belongs to a class must not be had as an instance.
const Lines Pair::CLASSES = {"a", "b", "c", "d", "finder", "no good"};
const Lines Pair::INSTANCES = {"a", "a-1", "a-2", "b-1", "c-1", "c-2", "finder", ""};

TEST(FinderRegistryModel, RandomOperationsLeaveRegistryAndModelEqual) {
  for (std::uint64_t seed = 1; seed <= 100; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Pair pair(seed);
    for (int i = 0; i < 400 && !testing::Test::HasFailure(); ++i) pair.step();
    if (testing::Test::HasFailure()) return;
  }
}

}  // namespace
