#include "tools/policyctl/language/entry_kind.h"

#include <algorithm>
#include <iterator>
#include <vector>

#include "framework/base/xlog.h"
#include "tools/policyctl/language/configuration.h"
#include "tools/policyctl/language/statements.h"
#include "tools/policyctl/language/words.h"

std::size_t look_up_place(const EntryKind& kind) {
  const auto kinds = entry_kinds();
  const auto at = std::find(kinds.begin(), kinds.end(), &kind);
  XLOG_ASSERT(at != kinds.end(), "an entry kind that is not in the table");
  return static_cast<std::size_t>(at - kinds.begin());
}

bool stands_below(const EntryKind& kind, const EntryKind& head) {
  return *head.facts().opens != nullptr && *kind.facts().below == *head.facts().opens;
}

namespace {

using Kinds = std::vector<const EntryKind*>;

template <typename Is>
Kinds kinds_that(Is is) {
  Kinds kinds;
  std::copy_if(entry_kinds().begin(), entry_kinds().end(), std::back_inserter(kinds),
               [&is](const EntryKind* kind) { return is(*kind); });
  return kinds;
}

// Heads whose keys are texts.
bool is_named_by_text(const EntryKind& head) {
  static const std::vector<bool> ARE_NAMED = [] {
    std::vector<bool> are_named;
    for (const EntryKind* each : entry_kinds()) {
      const PatternElement& first = statements_of(*each).front().elements[1];
      are_named.push_back(first.argument != nullptr &&
                          first.argument->syntax == ArgumentSyntax::TEXT);
    }
    return are_named;
  }();
  return ARE_NAMED[place_of(head)];
}

}  // namespace

std::span<const EntryKind* const> top_kinds() {
  static const Kinds KINDS = kinds_that(is_top);
  return KINDS;
}

std::span<const EntryKind* const> kinds_below(const EntryKind& head) {
  static const std::vector<Kinds> KINDS = [] {
    std::vector<Kinds> below;
    for (const EntryKind* each : entry_kinds()) {
      below.push_back(kinds_that([each](const EntryKind& k) { return stands_below(k, *each); }));
    }
    return below;
  }();
  return KINDS[place_of(head)];
}

std::span<const EntryKind* const> outside_kinds() {
  static const Kinds KINDS =
      kinds_that([](const EntryKind& kind) { return *kind.facts().presence == Presence::OUTSIDE; });
  return KINDS;
}

std::span<const EntryKind* const> using_kinds() {
  static const Kinds KINDS =
      kinds_that([](const EntryKind& kind) { return used_kind(kind) != nullptr; });
  return KINDS;
}

// Heads of one scope differ in whether a text names them.
const EntryKind* head_of(const EntryKind& kind, const EntryKey& key) {
  for (const EntryKind* head : entry_kinds()) {
    if (stands_below(kind, *head) && is_named_by_text(*head) == !key.name.empty()) return head;
  }
  return nullptr;
}

EntryValue default_of(const EntryKind& kind, const EntryKey& key) {
  for (const DefaultEntry& each : *kind.facts().defaults) {
    if (is_top(kind) && each.key != key.numbers[0]) continue;
    return EntryValue(std::span(each.numbers).first(each.count));
  }
  return {};
}

std::size_t numbers_above(const EntryKind& kind) {
  return is_top(kind) ? 0 : 1;
}

EntryKey key_above(const EntryKind& kind, const EntryKey& key) {
  if (is_top(kind)) return {};
  return {key.name, {key.numbers[0], 0, 0}};
}

EntryKey used_key(const EntryKey& key) {
  return {{}, {key.numbers[1], key.numbers[2], 0}};
}

// The words of a statement up to the last argument of its key.
std::string name_of(const EntryKind& kind, const EntryKey& key) {
  const EntryKind* const head = head_of(kind, key);
  std::string name = head == nullptr ? std::string() : name_of(*head, key_above(kind, key));
  std::size_t number = numbers_above(kind);
  std::size_t left = *kind.facts().key_arguments;
  for (const PatternElement& element : statements_of(kind).front().elements) {
    const bool is_argument = element.kind != PatternElement::Kind::LITERAL;
    if (is_argument && left == 0) break;
    if (!name.empty()) name += ' ';
    if (!is_argument) {
      name += element.word;
    } else if (element.argument->syntax == ArgumentSyntax::TEXT) {
      name += as_word(key.name.view());
    } else {
      name += std::to_string(key.numbers[number++]);
    }
    if (is_argument && --left == 0) break;
  }
  return name;
}

std::string head_name(const EntryKind& kind, const EntryKey& key) {
  return name_of(*head_of(kind, key), key_above(kind, key));
}

std::string EntryKind::describe(const Step& step) const {
  return std::string(verb_word(step.verb)) + name_of(*this, step.key);
}

std::string_view verb_word(Verb verb) {
  switch (verb) {
    case Verb::ADD:
      return "create ";
    case Verb::REMOVE:
      return "delete ";
    case Verb::DESCRIBE:
      return "describe ";
    case Verb::SET:
      break;
  }
  return "set ";
}

const EntryMap& Entries::of(const EntryKind& kind) const {
  static const EntryMap NONE;
  const std::size_t place = place_of(kind);
  return place < _kinds.size() ? _kinds[place] : NONE;
}

EntryMap& Entries::of(const EntryKind& kind) {
  if (_kinds.empty()) _kinds.resize(entry_kinds().size());
  return _kinds[place_of(kind)];
}

const EntryValue* Entries::find(const EntryKind& kind, const EntryKey& key) const {
  const EntryMap& map = of(kind);
  const auto at = map.find(key);
  return at == map.end() ? nullptr : &at->second;
}

void Entries::put(const EntryKind& kind, const EntryKey& key, EntryValue value) {
  of(kind).insert_or_assign(key, std::move(value));
}

bool Entries::operator==(const Entries& other) const {
  return std::all_of(entry_kinds().begin(), entry_kinds().end(),
                     [&](const EntryKind* kind) { return of(*kind) == other.of(*kind); });
}
