#include "framework/finder/finder_registry.h"

#include <algorithm>
#include <new>
#include <utility>

#include "framework/base/quoted.h"
#include "framework/base/unless_kept.h"
#include "framework/base/xlog.h"
#include "framework/finder/finder_names.h"
#include "framework/xrl/nearest_name.h"

namespace {

constexpr std::string_view BIRTH_METHOD = "finder_event_observer/0.1/xrl_target_birth";
constexpr std::string_view DEATH_METHOD = "finder_event_observer/0.1/xrl_target_death";

XrlCmdError too_many(std::size_t limit, const char* what) {
  return XrlCmdError::COMMAND_FAILED("at most " + std::to_string(limit) + " " + what + ".");
}

auto what_is_queued_now(std::vector<FinderNotice>& notices) {
  return UnlessKept([&notices, before = notices.size()] {
    while (notices.size() > before) notices.pop_back();
  });
}

}  // namespace

const XrlKey* FinderTarget::key_of(std::string_view method) const {
  const auto found = std::find_if(methods.begin(), methods.end(),
                                  [method](const FinderMethod& m) { return m.name == method; });
  return found == methods.end() ? nullptr : &found->key;
}

FinderRegistry::FinderRegistry(FinderTarget own) {
  const std::string problem = finder_names::problem_of(own);
  XLOG_ASSERT(problem.empty(), problem);
  _sessions.try_emplace(OWN);
  bear(OWN, std::move(own));
  _method_count = 0;
}

// ---------------------------------------------------------------- sessions

std::optional<FinderSession> FinderRegistry::open_session() {
  if (session_count() >= finder_limits::MAX_SESSIONS) return std::nullopt;
  const FinderSession session{++_last_session};
  _sessions.try_emplace(session);
  return session;
}

void FinderRegistry::close_session(FinderSession session) {
  // First what it asked for, so that it is told nothing of its own death.
  forget_resolutions(session);
  drop_interests(session);
  Session& s = at(session);
  if (s.target) {
    try {
      tell_of_death(session);
    } catch (const std::bad_alloc&) {
      lose_step_of_those_to_tell(session);
    }
    remove_target(session);
  }
  if (s.out_of_step) --_out_of_step_count;
  _sessions.erase(session);
}

void FinderRegistry::lose_step(FinderSession session) {
  Session& s = at(session);
  if (!s.out_of_step) ++_out_of_step_count;
  s.out_of_step = true;
}

void FinderRegistry::lose_step_of_those_to_tell(FinderSession dead) {
  const Session& s = at(dead);
  for (const FinderSession knowing : s.known_by) lose_step(knowing);
  const auto interested = _interested.find(s.target->class_name);
  if (interested == _interested.end()) return;
  for (const FinderSession session : interested->second) lose_step(session);
}

FinderRegistry::Session& FinderRegistry::at(FinderSession session) {
  const auto found = _sessions.find(session);
  XLOG_ASSERT(found != _sessions.end(),
              "session " + std::to_string(static_cast<std::uint64_t>(session)));
  return found->second;
}

const FinderRegistry::Session& FinderRegistry::at(FinderSession session) const {
  return const_cast<FinderRegistry*>(this)->at(session);
}

const FinderTarget* FinderRegistry::target_of(FinderSession session) const {
  const std::optional<FinderTarget>& target = at(session).target;
  return target ? &*target : nullptr;
}

// ----------------------------------------------------------------- targets

XrlCmdError FinderRegistry::register_target(FinderSession session, FinderTarget target) {
  if (std::string problem = finder_names::problem_of(target); !problem.empty()) {
    return XrlCmdError::BAD_ARGS(std::move(problem));
  }
  if (owned_by_another(session, target.class_name)) {
    return XrlCmdError::COMMAND_FAILED("the class " + quoted(target.class_name) +
                                       " is registered by another target.");
  }
  if (owned_by_another(session, target.instance_name)) {
    return XrlCmdError::COMMAND_FAILED("the instance " + quoted(target.instance_name) +
                                       " is registered by another target.");
  }
  Session& s = at(session);
  const std::size_t methods_before = s.target ? s.target->methods.size() : 0;
  if (_method_count - methods_before + target.methods.size() > finder_limits::MAX_METHODS) {
    return too_many(finder_limits::MAX_METHODS, "methods of all targets can be registered");
  }

  const bool same_names = s.target && s.target->class_name == target.class_name &&
                          s.target->instance_name == target.instance_name;
  if (!same_names) {
    if (s.target) bury(session);
    bear(session, std::move(target));
    return XrlCmdError::OKAY();
  }
  if (target == *s.target) return XrlCmdError::OKAY();
  auto notices = what_is_queued_now(_notices);
  tell_knowing(session);
  notices.keep();
  disown_resolutions(session);
  _method_count += target.methods.size() - methods_before;
  s.target = std::move(target);
  return XrlCmdError::OKAY();
}

XrlCmdError FinderRegistry::deregister_target(FinderSession session,
                                              std::string_view instance_name) {
  XrlCmdError answer = require_own(at(session), instance_name);
  if (answer.is_okay()) bury(session);
  return answer;
}

void FinderRegistry::bear(FinderSession session, FinderTarget target) {
  auto notices = what_is_queued_now(_notices);
  tell_interested(FinderNotice::Kind::BIRTH, target, session);
  const auto by_class = _classes.emplace(target.class_name, session).first;
  UnlessKept class_name([this, by_class] { _classes.erase(by_class); });
  _instances.emplace(target.instance_name, session);
  class_name.keep();
  notices.keep();
  _method_count += target.methods.size();
  at(session).target = std::move(target);
}

void FinderRegistry::bury(FinderSession session) {
  tell_of_death(session);
  remove_target(session);
}

void FinderRegistry::tell_of_death(FinderSession session) {
  auto notices = what_is_queued_now(_notices);
  tell_knowing(session);
  tell_interested(FinderNotice::Kind::DEATH, *at(session).target, session);
  notices.keep();
}

void FinderRegistry::remove_target(FinderSession session) {
  Session& s = at(session);
  disown_resolutions(session);
  drop_interests(session);
  _classes.erase(s.target->class_name);
  _instances.erase(s.target->instance_name);
  _method_count -= s.target->methods.size();
  s.target.reset();
}

std::optional<FinderSession> FinderRegistry::owner_of(std::string_view name) const {
  for (const Owners* owners : {&_classes, &_instances}) {
    const auto found = owners->find(name);
    if (found != owners->end()) return found->second;
  }
  return std::nullopt;
}

bool FinderRegistry::owned_by_another(FinderSession session, std::string_view name) const {
  const std::optional<FinderSession> owner = owner_of(name);
  return owner && *owner != session;
}

XrlCmdError FinderRegistry::require_own(const Session& session,
                                        std::string_view instance_name) const {
  if (session.target && session.target->instance_name == instance_name) return XrlCmdError::OKAY();
  if (!finder_names::is_name(instance_name)) {
    return XrlCmdError::BAD_ARGS("the instance name is malformed.");
  }
  return XrlCmdError::COMMAND_FAILED("the instance " + quoted(instance_name) +
                                     " is not registered by this session.");
}

// ---------------------------------------------------------------- look-ups

XrlCmdError FinderRegistry::find_owner(std::string_view name, FinderSession& owner) const {
  if (!finder_names::is_name(name)) {
    return XrlCmdError(XrlError::RESOLVE_FAILED("the target name is malformed."));
  }
  const std::optional<FinderSession> found = owner_of(name);
  if (!found) {
    return XrlCmdError(XrlError::RESOLVE_FAILED("no target " + quoted(name) + " is registered" +
                                                nearest_target(name)));
  }
  owner = *found;
  return XrlCmdError::OKAY();
}

std::string FinderRegistry::nearest_target(std::string_view name) const {
  NearestName nearest(name);
  for (const auto& [class_name, session] : _classes) nearest.consider(class_name);
  return nearest.question();
}

XrlCmdError FinderRegistry::find(std::string_view name, const FinderTarget*& found) const {
  FinderSession owner{};
  XrlCmdError answer = find_owner(name, owner);
  if (answer.is_okay()) found = &*at(owner).target;
  return answer;
}

XrlCmdError FinderRegistry::resolve(FinderSession session, std::string_view name,
                                    const FinderTarget*& found) {
  FinderSession owner{};
  XrlCmdError answer = find_owner(name, owner);
  if (!answer.is_okay()) return answer;
  Session& s = at(session);
  if (!s.knows.contains(owner)) {
    if (s.knows.size() >= finder_limits::MAX_RESOLUTIONS_PER_SESSION) {
      return too_many(finder_limits::MAX_RESOLUTIONS_PER_SESSION,
                      "targets can be resolved by a session");
    }
    if (_resolution_count >= finder_limits::MAX_RESOLUTIONS) {
      return too_many(finder_limits::MAX_RESOLUTIONS, "resolved targets of all sessions are kept");
    }
    const auto known = s.knows.insert(owner).first;
    UnlessKept knowledge([&s, known] { s.knows.erase(known); });
    at(owner).known_by.insert(session);
    knowledge.keep();
    ++_resolution_count;
  }
  found = &*at(owner).target;
  return answer;
}

// What was resolved of the session's target is no longer true.
void FinderRegistry::tell_knowing(FinderSession session) {
  const Session& s = at(session);
  for (const FinderSession knowing : s.known_by) {
    tell(knowing, FinderNotice::Kind::TARGET_DIED, *s.target);
  }
}

void FinderRegistry::disown_resolutions(FinderSession session) {
  Session& s = at(session);
  for (const FinderSession knowing : s.known_by) at(knowing).knows.erase(session);
  _resolution_count -= s.known_by.size();
  s.known_by.clear();
}

// What the session resolved no longer matters to it.
void FinderRegistry::forget_resolutions(FinderSession session) {
  Session& s = at(session);
  for (const FinderSession owner : s.knows) at(owner).known_by.erase(session);
  _resolution_count -= s.knows.size();
  s.knows.clear();
}

std::vector<const FinderTarget*> FinderRegistry::targets() const {
  std::vector<const FinderTarget*> all;
  all.reserve(_classes.size());
  for (const auto& [class_name, session] : _classes) all.push_back(&*at(session).target);
  return all;
}

// --------------------------------------------------------------- interests

XrlCmdError FinderRegistry::register_interest(FinderSession session, std::string_view requester,
                                              std::string_view class_name) {
  Session& s = at(session);
  XrlCmdError answer = require_own(s, requester);
  if (!answer.is_okay()) return answer;
  if (!finder_names::is_name(class_name)) {
    return XrlCmdError::BAD_ARGS("the class name is malformed.");
  }
  for (const std::string_view method : {BIRTH_METHOD, DEATH_METHOD}) {
    if (s.target->key_of(method) == nullptr) {
      return XrlCmdError::COMMAND_FAILED("the instance " + quoted(requester) + " has no method " +
                                         quoted(method) + ".");
    }
  }
  const bool is_new = !s.interests.contains(class_name);
  if (is_new && s.interests.size() >= finder_limits::MAX_INTERESTS_PER_SESSION) {
    return too_many(finder_limits::MAX_INTERESTS_PER_SESSION,
                    "classes can be of interest to a target");
  }
  if (is_new && _interest_count >= finder_limits::MAX_INTERESTS) {
    return too_many(finder_limits::MAX_INTERESTS, "interests of all targets can be registered");
  }
  auto notices = what_is_queued_now(_notices);
  const auto living = _classes.find(class_name);
  if (living != _classes.end()) {
    tell(session, FinderNotice::Kind::BIRTH, *at(living->second).target);
  }
  if (is_new) add_interest(session, class_name);
  notices.keep();
  return answer;
}

XrlCmdError FinderRegistry::deregister_interest(FinderSession session, std::string_view requester,
                                                std::string_view class_name) {
  Session& s = at(session);
  XrlCmdError answer = require_own(s, requester);
  if (!answer.is_okay()) return answer;
  if (!finder_names::is_name(class_name)) {
    return XrlCmdError::BAD_ARGS("the class name is malformed.");
  }
  const auto interest = s.interests.find(class_name);
  if (interest == s.interests.end()) return answer;
  s.interests.erase(interest);
  remove_interested(class_name, session);
  return answer;
}

void FinderRegistry::add_interest(FinderSession session, std::string_view class_name) {
  Session& s = at(session);
  const auto interest = s.interests.emplace(class_name).first;
  UnlessKept of_session([&s, interest] { s.interests.erase(interest); });
  const auto interested = _interested.try_emplace(std::string(class_name)).first;
  UnlessKept of_class([this, interested] {
    if (interested->second.empty()) _interested.erase(interested);
  });
  interested->second.insert(session);
  of_class.keep();
  of_session.keep();
  ++_interest_count;
}

void FinderRegistry::drop_interests(FinderSession session) {
  Session& s = at(session);
  for (const std::string& class_name : s.interests) remove_interested(class_name, session);
  s.interests.clear();
}

void FinderRegistry::remove_interested(std::string_view class_name, FinderSession session) {
  const auto interested = _interested.find(class_name);
  interested->second.erase(session);
  if (interested->second.empty()) _interested.erase(interested);
  --_interest_count;
}

std::vector<FinderInterest> FinderRegistry::interests() const {
  std::vector<FinderInterest> all;
  all.reserve(_interest_count);
  for (const auto& [class_name, sessions] : _interested) {
    for (const FinderSession session : sessions) {
      all.push_back({at(session).target->instance_name, class_name});
    }
  }
  return all;
}

// ----------------------------------------------------------------- notices

void FinderRegistry::tell_interested(FinderNotice::Kind kind, const FinderTarget& about,
                                     FinderSession but) {
  const auto interested = _interested.find(about.class_name);
  if (interested == _interested.end()) return;
  for (const FinderSession session : interested->second) {
    if (session != but) tell(session, kind, about);
  }
}

void FinderRegistry::tell(FinderSession to, FinderNotice::Kind kind, const FinderTarget& about) {
  FinderNotice notice{kind, to, about.class_name, about.instance_name, {}};
  if (kind != FinderNotice::Kind::TARGET_DIED) {
    const XrlKey* key =
        at(to).target->key_of(kind == FinderNotice::Kind::BIRTH ? BIRTH_METHOD : DEATH_METHOD);
    // It registered again without the method, so it does not want to know.
    if (key == nullptr) return;
    notice.key = *key;
  }
  _notices.push_back(std::move(notice));
}

std::vector<FinderNotice> FinderRegistry::take_notices() {
  return std::exchange(_notices, {});
}
