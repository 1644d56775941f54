#include "tools/policyctl/entries/switch_reader.h"

SwitchReader::SwitchReader(SwitchSession& session)
    : _session(session),
      client(session.sender()),
      _window(session, "the configuration of the switch", [this] { return who_is_silent(); }) {}

Entries SwitchReader::read(const std::vector<const EntryKind*>& kinds) {
  for (const EntryKind* kind : kinds) kind->read(*this, {});
  return run();
}

Entries SwitchReader::read_names(const EntryKind& kind, const EntryKey& above) {
  _wants_only_names = true;
  kind.read(*this, above);
  return run();
}

Entries SwitchReader::run() {
  _window.run([this] { return send_next(); });
  if (_failure) throw Failure(*_failure);
  if (!_unsent.empty()) {
    throw Failure(ExitStatus::NOT_REACHABLE, "a request could not be sent to the switch.");
  }
  return std::move(_read);
}

void SwitchReader::ask(std::function<bool()> request) {
  ask_each({0}, [request = std::move(request)](std::uint32_t) { return request(); });
}

void SwitchReader::ask_each(std::vector<std::uint32_t> numbers,
                            std::function<bool(std::uint32_t)> request) {
  if (!numbers.empty()) _unsent.push_back({std::move(numbers), 0, std::move(request)});
}

void SwitchReader::ask_manager(const EntryKind& kind, const Manager& manager,
                               std::function<bool()> request) {
  ask([this, &kind, &manager, request = std::move(request)] {
    if (!request()) return false;
    _asked.emplace_back(&kind, &manager);
    return true;
  });
}

void SwitchReader::found(const EntryKind& kind, const EntryKey& key, EntryValue value) {
  _read.put(kind, key, std::move(value));
  ask_below(kind, key);
}

void SwitchReader::ask_below(const EntryKind& kind, const EntryKey& key) {
  if (*kind.facts().opens == nullptr) return;
  if (_wants_only_names) {
    _read.of(kind).try_emplace(key);
    return;
  }
  for (const EntryKind* child : kinds_below(kind)) child->read(*this, key);
}

void SwitchReader::found_at(const EntryKind& child, const EntryKey& record) {
  _read.of(*head_of(child, record)).try_emplace(record);
}

RequestWindow::Sent SwitchReader::send_next() {
  if (_unsent.empty()) {
    return _window.in_flight() == 0 ? RequestWindow::Sent::NO_MORE : RequestWindow::Sent::NOT_NOW;
  }
  Series& series = _unsent.front();
  if (!series.request(series.numbers[series.next])) return RequestWindow::Sent::NOT_NOW;
  if (++series.next == series.numbers.size()) _unsent.pop_front();
  return RequestWindow::Sent::YES;
}

// Whether a reply has results.
bool SwitchReader::is_good(const XrlError& error, const char* what, Gone gone,
                           const Manager* manager) {
  if (error.is_okay()) return true;
  if (error.code() == XrlErrorCode::COMMAND_FAILED && gone == Gone::IS_FINE) return false;
  if (error.code() == XrlErrorCode::RESOLVE_FAILED && manager != nullptr) {
    for (const auto& each : _asked) {
      if (each.second == manager) _absent.push_back(each);
    }
    return false;
  }
  fail(request_failure(what, error));
  return false;
}

void SwitchReader::forget_asked(const Manager* manager) {
  std::erase_if(_asked, [manager](const auto& each) { return each.second == manager; });
}

void SwitchReader::refuse_senseless(const char* what) {
  fail(Failure(ExitStatus::NOT_REACHABLE,
               std::string("could not ") + what + ": the answer makes no sense.",
               "Is what runs there of the same version as policyctl?"));
}

void SwitchReader::fail(Failure failure) {
  if (!_failure) _failure.emplace(std::move(failure));
  _window.stop();
}

// Of those that have something to answer.
std::string SwitchReader::who_is_silent() const {
  std::string names = _window.in_flight() > _asked.size() ? "policyd" : "";
  for (const auto& [kind, manager] : _asked) {
    names += (names.empty() ? "" : " and ") + std::string(manager->name);
  }
  return names;
}
