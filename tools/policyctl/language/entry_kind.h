// EntryKind: all that is known of one kind of configuration entry. Reading and
// writing text, completion, help, JSON, reading a switch, comparing and changing go
// over entry_kinds() and name none of them.
//
// A new kind is a file in entries/ and a row in entries/table.cc. A member that is
// left out does not compile.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "tools/policyctl/language/entry.h"

class EntryKind;
class EntrySender;
class SwitchReader;
class Entries;
struct Step;

// A member that an initializer must name.
template <typename T>
struct Required {
  template <typename U>
  // NOLINTNEXTLINE(google-explicit-constructor,bugprone-forwarding-reference-overload)
  constexpr Required(U&& given) : value(std::forward<U>(given)) {}
  constexpr operator const T&() const { return value; }  // NOLINT(google-explicit-constructor)
  constexpr const T& operator*() const { return value; }
  T value;
};

// Where a statement stands: by itself, or below one that opens a scope.
struct Scope {
  std::string_view heads;   // "interface", of the statements that open it, for people
  std::string_view advice;  // "It stands below an 'acl' line."
};
inline constexpr Scope TOP_LEVEL{"", ""};

// One way to say an entry. Of a pattern, words in lower case stand as they are,
// words in upper case are arguments, "FIELD..." is any number of match fields, each
// a name or number and a value, and what is in square brackets may be left out.
struct StatementForm {
  std::string_view pattern;
  std::string_view help;
};

enum class Presence : std::uint8_t {
  ALWAYS,   // one for the switch or for each that it may stand below; it starts with a default
  MADE,     // comes and goes as the operator wants
  OUTSIDE,  // made by somebody else: it is there or not
};

// How a switch is brought to have an entry.
enum class HowChanged : std::uint8_t {
  SET,       // one request, whatever was there
  SET_ALL,   // one request for all of the kind that change
  REPLACED,  // deleted and created; a text is set in place
  ORDERED,   // elements, each bound behind those before it and taken away
  NEVER,     // it is there, or not
};

// When in a change an entry comes; what goes, goes in the opposite order, before
// anything comes.
enum class Phase : std::uint8_t { NAMES, LISTS, BINDINGS, SETTINGS, LINE_CARDS };

struct DefaultEntry {
  std::uint32_t key = 0;
  std::array<std::uint32_t, 5> numbers{};
  std::size_t count = 1;  // of the numbers
};

// What is wrong, a sentence, empty when nothing is; and what to do about it.
struct EntryProblem {
  std::string message;
  std::string advice;
};

// That an entry, or each element of an ORDERED one, names another entry by the last
// two numbers of its key.
struct Use {
  const EntryKind& (*kind)();             // of the other; null: it names none
  bool (*suits)(const EntryValue& used);  // null: any does
  std::string_view why_not;               // behind the name of the other: "denies; ..."
  std::string_view advice;
  std::string_view has_to;  // to who makes the other one that does not suit
};

// Members of a JSON object: a name for each argument of the pattern, in its order;
// names that follow on one another and are the same make a list.
struct JsonForm {
  std::string_view within;  // the object that holds it; empty: the one it stands below
  std::string_view member;  // its own name there
  bool is_list;             // of all entries of the kind
  std::span<const std::string_view> arguments;
};

struct EntryFacts {
  Required<std::span<const StatementForm>>
      forms;                        // the first number of a value tells which, of several
  Required<std::string_view> noun;  // what people call one: "access control list"
  Required<const Scope*> below;
  Required<const Scope*> opens;         // null: nothing
  Required<std::size_t> key_arguments;  // the first ones of its pattern, which belong to its key
  Required<Presence> presence;
  Required<std::span<const DefaultEntry>> defaults;  // of ALWAYS
  Required<HowChanged> change;
  Required<Phase> phase;
  Required<Use> uses;
  Required<EntryProblem (*)(const EntryKey&, const Entries& present)>
      missing;                                          // of OUTSIDE, else null
  Required<EntryProblem (*)(const EntryKey&)> refused;  // of a key that cannot be; null: any can
  Required<std::pair<std::string_view, std::string_view>> said_twice;  // message, advice
  Required<std::string_view> reads;  // the requests that read it, "get_a, get_b"
  Required<std::string_view> sends;  // the requests that bring it about
  Required<JsonForm> json;
  Required<std::string_view> example;  // a configuration of its own statements, a line each
};

class EntryKind {
 public:
  constexpr explicit EntryKind(const EntryFacts& facts) : _facts(facts) {}
  constexpr virtual ~EntryKind() = default;
  EntryKind(const EntryKind&) = delete;
  EntryKind& operator=(const EntryKind&) = delete;

  [[nodiscard]] constexpr const EntryFacts& facts() const { return _facts; }

  // Asks the switch for the entries below `above`, which is empty at the top level.
  virtual void read(SwitchReader& reader, const EntryKey& above) const = 0;
  // Sends the request of a step; false when it cannot be sent now.
  [[nodiscard]] virtual bool send(EntrySender& sender, const Step& step) const = 0;
  // The request in a few words: "create acl 10 rule 1", unless it is called otherwise.
  [[nodiscard]] virtual std::string describe(const Step& step) const;

 private:
  friend std::size_t place_of(const EntryKind& kind);

  EntryFacts _facts;
  mutable std::int8_t _place = -1;  // in the table, once somebody asked for it
};

// The table of all kinds, in the order in which help lists them.
[[nodiscard]] std::span<const EntryKind* const> entry_kinds();
// Of these, in the same order, those that stand at the top level, that stand within what a
// head opens, that somebody else makes, and that name other entries.
[[nodiscard]] std::span<const EntryKind* const> top_kinds();
[[nodiscard]] std::span<const EntryKind* const> kinds_below(const EntryKind& head);
[[nodiscard]] std::span<const EntryKind* const> outside_kinds();
[[nodiscard]] std::span<const EntryKind* const> using_kinds();
// The value with which a switch starts, of ALWAYS.
[[nodiscard]] EntryValue default_of(const EntryKind& kind, const EntryKey& key);
[[nodiscard]] std::size_t look_up_place(const EntryKind& kind);
[[nodiscard]] inline std::size_t place_of(const EntryKind& kind) {
  if (kind._place < 0) kind._place = static_cast<std::int8_t>(look_up_place(kind));
  return static_cast<std::size_t>(kind._place);
}
// Whether it stands at the top level, and whether it does within what a head opens.
[[nodiscard]] inline bool is_top(const EntryKind& kind) {
  return *kind.facts().below == &TOP_LEVEL;
}
[[nodiscard]] bool stands_below(const EntryKind& kind, const EntryKind& head);
// The kind that a key's entry stands below; null at the top level.
[[nodiscard]] const EntryKind* head_of(const EntryKind& kind, const EntryKey& key);
// The key of what it stands below.
[[nodiscard]] EntryKey key_above(const EntryKind& kind, const EntryKey& key);
// How many numbers of its keys name what it stands below.
[[nodiscard]] std::size_t numbers_above(const EntryKind& kind);
// The kind whose entries it names; null: none.
[[nodiscard]] inline const EntryKind* used_kind(const EntryKind& kind) {
  const auto used = kind.facts().uses.value.kind;
  return used == nullptr ? nullptr : &used();
}
// The key of what an entry, or an element of one, uses.
[[nodiscard]] EntryKey used_key(const EntryKey& key);
// "acl 10 rule 1", "interface eth-0/3/1 cos-value"; of an element of an ORDERED one
// with it: "vlan 20 filter acl 10 rule 1".
[[nodiscard]] std::string name_of(const EntryKind& kind, const EntryKey& key);
// That of what it stands below, which there must be.
[[nodiscard]] std::string head_name(const EntryKind& kind, const EntryKey& key);

// A request of a change, with the entry that it makes, sets or takes away.
enum class Verb : std::uint8_t { ADD, REMOVE, SET, DESCRIBE };

// "create ", "delete ", "describe ".
[[nodiscard]] std::string_view verb_word(Verb verb);

struct Step {
  const EntryKind* kind = nullptr;
  Verb verb = Verb::SET;
  EntryKey key;
  EntryValue value;  // that it is to have; of SET_ALL: pairs of keys and values
};
