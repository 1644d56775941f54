#include "tools/policyctl/shell/candidate.h"

#include <algorithm>
#include <utility>

#include "tools/policyctl/change/faults_at_switch.h"
#include "tools/policyctl/language/elements.h"
#include "tools/policyctl/language/joined.h"
#include "tools/policyctl/language/read_configuration.h"

namespace {

[[noreturn]] void refuse_used(const ObjectName& object, const std::vector<ObjectUse>& uses) {
  constexpr std::size_t MOST_SHOWN = 10;
  std::string advice;
  for (std::size_t i = 0; i < std::min(uses.size(), MOST_SHOWN); ++i) {
    advice += place_of(uses[i]) + ": " + statement_of(uses[i]) + "\n";
  }
  if (uses.size() > MOST_SHOWN) {
    advice += "... and " + std::to_string(uses.size() - MOST_SHOWN) + " more\n";
  }
  throw Failure(ExitStatus::REFUSED,
                object.name() + " is in use by " + counted(uses.size(), "binding") + ".",
                advice + "Unbind it first, or use 'delete " + object.name() + " cascade'.");
}

[[noreturn]] void refuse_missing(const std::string& what) {
  throw Failure(ExitStatus::REFUSED, "there is no " + what + " here.",
                "See " + own_command("show") + ".");
}

}  // namespace

void Candidate::start_from(SwitchConfiguration present) {
  _base = std::move(present);
  _configuration = _base;
  _is_edited = false;
  leave();
}

void Candidate::set_committed(SwitchConfiguration present) {
  const EntryKind* const head = _head;
  const EntryKey key = _open_key;
  start_from(std::move(present));
  if (head != nullptr) open(*head, key);
}

void Candidate::become(SwitchConfiguration configuration) {
  _configuration = std::move(configuration);
  _is_edited = true;
  leave();
}

void Candidate::leave() {
  _head = nullptr;
  _scope = &TOP_LEVEL;
  _open_key = {};
}

std::string Candidate::place_name() const {
  return _head == nullptr ? std::string() : name_of(*_head, _open_key);
}

bool Candidate::open(const EntryKind& head, const EntryKey& key) {
  if (!_configuration.has(head, key)) return false;
  _head = &head;
  _scope = *head.facts().opens;
  _open_key = key;
  return true;
}

std::vector<Fault> Candidate::enter(std::string_view line) {
  ReadConfiguration read;
  ConfigurationReader reader(read);
  if (_head != nullptr) reader.open(*_head, _open_key);
  reader.read_line(line, 1);
  reader.finish();
  if (!read.faults.empty()) return std::move(read.faults);
  std::vector<Fault> faults = faults_at_switch(read.places, _configuration, _configuration);
  if (!faults.empty()) return faults;
  merge(read.configuration);
  if (reader.context() == &TOP_LEVEL) {
    leave();
  } else {
    const EntryKey& key = reader.open_key();
    for (const EntryKind* kind : entry_kinds()) {
      if (*kind->facts().opens == reader.context() && read.configuration.has(*kind, key)) {
        open(*kind, key);
      }
    }
  }
  return {};
}

void Candidate::merge(const Entries& said) {
  for (const EntryKind* kind : entry_kinds()) {
    EntryMap& all = _configuration.of(*kind);
    for (const auto& [key, value] : said.of(*kind)) {
      if (*kind->facts().presence == Presence::OUTSIDE) continue;
      _is_edited = true;
      if (*kind->facts().change != HowChanged::ORDERED) {
        all.insert_or_assign(key, value);
        continue;
      }
      Elements here = elements_of(_configuration.find(*kind, key));
      for (const Element& each : elements_of(&value)) {
        if (std::find(here.begin(), here.end(), each) == here.end()) here.push_back(each);
      }
      put_elements(_configuration, *kind, key, here);
    }
  }
}

void Candidate::delete_object(const ObjectName& object, bool cascade) {
  require_object(object, _configuration, IN_THE_CANDIDATE);
  const std::vector<ObjectUse> uses = uses_of(object, _configuration);
  if (!uses.empty() && !cascade) refuse_used(object, uses);
  unbind_object(object, _configuration);
  erase_with_all_below(_configuration, *object.kind, object.key);
  if (_head != nullptr && !_configuration.has(*_head, _open_key)) leave();
  _is_edited = true;
}

void Candidate::delete_bindings(const EntryKind& head, const EntryKey& key) {
  if (!_configuration.has(head, key)) refuse_missing(name_of(head, key));
  for (const EntryKind* kind : kinds_below(head)) {
    const bool has_default = *kind->facts().presence == Presence::ALWAYS;
    EntryMap& map = _configuration.of(*kind);
    for (auto at = map.lower_bound(key); at != map.end() && key_above(*kind, at->first) == key;) {
      if (has_default) {
        at->second = default_of(*kind, at->first);
        ++at;
      } else {
        at = map.erase(at);
      }
    }
  }
  _is_edited = true;
}

void Candidate::delete_binding(const EntryKind& kind, const EntryKey& key) {
  if (*kind.facts().change == HowChanged::ORDERED) {
    Elements here = elements_of(_configuration.find(kind, _open_key));
    if (std::erase(here, element_of(key)) > 0) {
      put_elements(_configuration, kind, _open_key, here);
      _is_edited = true;
      return;
    }
  } else if (_configuration.of(kind).erase(key) > 0) {
    _is_edited = true;
    return;
  }
  const std::string record = name_of(*_head, _open_key) + " ";
  refuse_missing(name_of(kind, key).substr(record.size()));
}
