#include "tools/policyctl/language/read_configuration.h"

#include <algorithm>
#include <utility>

#include "tools/policyctl/language/statement_candidates.h"
#include "tools/policyctl/language/statement_faults.h"

namespace {

constexpr std::string_view BYTE_ORDER_MARK = "\xef\xbb\xbf";

bool is_before(const Fault& a, const Fault& b) {
  return std::pair(a.line, a.column) < std::pair(b.line, b.column);
}

// Of a kind that is used: whether a user may find that one does not suit.
bool may_not_suit(const EntryKind& kind, const EntryValue& value) {
  static const std::vector<const Use*> CHOOSY = [] {
    std::vector<const Use*> choosy;
    for (const EntryKind* user : entry_kinds()) {
      const Use& use = user->facts().uses;
      if (use.suits != nullptr) choosy.push_back(&use);
    }
    return choosy;
  }();
  return std::any_of(CHOOSY.begin(), CHOOSY.end(),
                     [&](const Use* use) { return &use->kind() == &kind && !use->suits(value); });
}

// The arguments of a statement, as its key and its value.
struct SplitArguments {
  EntryKey key;
  std::array<std::uint32_t, StatementValues::MOST_ARGUMENTS + 1> numbers{};
  std::size_t count = 0;
  std::string_view text;
  std::size_t last_of_key = 0;
};

SplitArguments split_arguments(const Statement& statement, const StatementValues& values,
                               const EntryKey& above) {
  SplitArguments split;
  const EntryFacts& facts = statement.kind->facts();
  const bool is_below = *facts.below != &TOP_LEVEL;
  if (is_below) split.key = above;
  if (facts.forms.value.size() > 1) split.numbers[split.count++] = statement.form;
  std::size_t number = is_below ? 1 : 0;
  std::size_t argument = 0;
  for (const PatternElement& element : statement.elements) {
    if (element.kind != PatternElement::Kind::ARGUMENT) continue;
    const StatementValues::Value& given = values.arguments[argument];
    const bool is_text = element.argument->syntax == ArgumentSyntax::TEXT;
    if (argument < *facts.key_arguments) {
      split.last_of_key = argument;
      if (is_text) {
        split.key.name = Bytes(given.text);
      } else {
        split.key.numbers[number++] = given.number;
      }
    } else if (is_text) {
      split.text = given.text;
    } else {
      split.numbers[split.count++] = given.number;
    }
    ++argument;
  }
  return split;
}

}  // namespace

Fault fault_at(const EntryPlace& place, std::string message, std::string advice) {
  return {place.line, place.column, place.length, std::move(message), std::move(advice)};
}

void ConfigurationReader::read_line(std::string_view line, std::size_t number) {
  _line = static_cast<std::uint32_t>(number);
  _is_statement = false;
  if (number == 1 && line.starts_with(BYTE_ORDER_MARK)) {
    _words.split({});
    _read.faults.push_back({1, 1, BYTE_ORDER_MARK.size(), "the text begins with a byte order mark.",
                            "Save it as UTF-8 without one."});
    return;
  }
  const std::optional<WordFault> broken = _words.split(line);
  if (broken) {
    _read.faults.push_back({number, broken->column, broken->length, broken->message, ""});
    return;
  }
  if (_words.all().empty()) {
    _is_statement = true;
    return;
  }
  std::optional<Fault> fault = _match.match(_context, _words.all());
  if (fault) {
    fault->line = number;
    _read.faults.push_back(std::move(*fault));
    return;
  }
  _is_statement = true;
  if (_match.statement().context == &TOP_LEVEL) {
    finish();
    _context = &TOP_LEVEL;
    _is_unread = false;
  }
  enter();
}

void ConfigurationReader::enter() {
  const Statement& statement = _match.statement();
  const EntryKind& kind = *statement.kind;
  const EntryFacts& facts = kind.facts();
  const SplitArguments given = split_arguments(statement, _match.values(), _above);
  const StatementValues::Value& at = _match.values().arguments[given.last_of_key];
  if (*facts.refused != nullptr) {
    EntryProblem problem = (*facts.refused)(given.key);
    if (!problem.message.empty()) return refuse(at, std::move(problem.message), problem.advice);
  }
  if (*facts.opens != nullptr) open(kind, given.key);
  if (*facts.presence == Presence::OUTSIDE) {
    entries().of(kind).try_emplace(given.key);
    return note(kind, given.key, at);
  }
  const bool is_ordered = *facts.change == HowChanged::ORDERED;
  bool is_new = false;
  if (is_ordered) {
    is_new = add_to_order(kind, given.key);
  } else {
    const auto [entry, is_added] = entries().of(kind).try_emplace(given.key);
    is_new = is_added;
    if (is_new) {
      entry->second = EntryValue(std::span(given.numbers).first(given.count), given.text,
                                 _match.values().fields.packed());
      if (may_not_suit(kind, entry->second)) note(kind, given.key, at);
    }
  }
  if (!is_new) {
    const auto& [message, advice] = *facts.said_twice;
    return refuse(at, std::string(message), std::string(advice));
  }
  if (used_kind(kind) != nullptr) note(kind, given.key, at);
}

bool ConfigurationReader::add_to_order(const EntryKind& kind, const EntryKey& key) {
  const EntryKey whole = key_above(kind, key);
  if (_order.kind != &kind || _order.key != whole) {
    finish();
    _order.kind = &kind;
    _order.key = whole;
    const EntryValue* const there = entries().find(kind, whole);
    for (std::size_t i = 0; there != nullptr && i < there->count(); i += 2) {
      _order.numbers.insert(_order.numbers.end(), {there->number(i), there->number(i + 1)});
      _order.seen.emplace(there->number(i), there->number(i + 1));
    }
  }
  if (!_order.seen.emplace(key.numbers[1], key.numbers[2]).second) return false;
  _order.numbers.insert(_order.numbers.end(), {key.numbers[1], key.numbers[2]});
  return true;
}

void ConfigurationReader::finish() {
  if (_order.kind != nullptr) entries().put(*_order.kind, _order.key, EntryValue(_order.numbers));
  _order = {};
}

void ConfigurationReader::open(const EntryKind& head, const EntryKey& key) {
  _context = *head.facts().opens;
  _above = key;
}

void ConfigurationReader::read_on() {
  if (_is_statement || _words.all().empty()) return;
  const Statement* const meant = statement_meant(_context, _words.all()[0].text);
  if (meant == nullptr || meant->context != &TOP_LEVEL) return;
  finish();
  _context = meant->opens == nullptr ? &TOP_LEVEL : meant->opens;
  _is_unread = true;
  _unread = {};
  _above = key_of("not read");
}

void ConfigurationReader::refuse(const StatementValues::Value& at, std::string message,
                                 std::string advice) {
  _read.faults.push_back(
      {_line, at.word->column, at.word->length, std::move(message), std::move(advice)});
}

void ConfigurationReader::note(const EntryKind& kind, const EntryKey& key,
                               const StatementValues::Value& at) {
  _read.places.push_back({&kind, key, _line, static_cast<std::uint32_t>(at.word->column),
                          static_cast<std::uint32_t>(at.word->length)});
}

ReadConfiguration read_configuration(std::string_view text) {
  ReadConfiguration read;
  ConfigurationReader reader(read);
  for (std::size_t number = 1; !text.empty(); ++number) {
    const std::size_t end = text.find('\n');
    reader.read_line(text.substr(0, end), number);
    reader.read_on();
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  }
  reader.finish();
  const std::vector<Fault> unsuitable = use_faults(read.places, read.configuration, false);
  read.faults.insert(read.faults.end(), unsuitable.begin(), unsuitable.end());
  std::stable_sort(read.faults.begin(), read.faults.end(), is_before);
  return read;
}

std::vector<Fault> use_faults(const std::vector<EntryPlace>& places, const Entries& configuration,
                              bool whole_switch) {
  std::vector<Fault> faults;
  for (const EntryPlace& place : places) {
    const EntryKind* const kind = used_kind(*place.kind);
    if (kind == nullptr) continue;
    const Use& use = place.kind->facts().uses;
    const EntryKey key = used_key(place.key);
    const EntryValue* const used = configuration.find(*kind, key);
    if (used == nullptr && whole_switch) {
      faults.push_back(fault_at(
          place, "there is no " + name_of(*kind, key) + ", neither here nor on the switch.",
          "Add the rule, or leave this out."));
    } else if (used != nullptr && use.suits != nullptr && !use.suits(*used)) {
      faults.push_back(fault_at(place, name_of(*kind, key) + " " + std::string(use.why_not),
                                std::string(use.advice)));
    }
  }
  return faults;
}
