#include "tools/policyctl/render/offers.h"

#include <algorithm>
#include <filesystem>
#include <utility>

#include "common/match_fields.h"
#include "tools/policyctl/language/elements.h"
#include "tools/policyctl/language/words.h"
#include "tools/policyctl/language/write_configuration.h"

namespace {

// The kind whose entries a field names; null: none.
const EntryKind* kind_named_by(const MatchField& field) {
  for (const EntryKind* kind : entry_kinds()) {
    const auto& pattern = statements_of(*kind).front().elements;
    const bool is_port = *kind->facts().presence == Presence::OUTSIDE &&
                         pattern[1].argument->syntax == ArgumentSyntax::TEXT;
    if (field.syntax == MatchSyntax::INTERFACES ? is_port : field.name == pattern[0].word) {
      return kind;
    }
  }
  return nullptr;
}

class Offering {
 public:
  Offering(std::string_view partial, const Entries& live, const TakeOffer& take)
      : _partial(partial), _live(live), _take(take) {}

  void offer(std::string_view word, std::string_view help = {}) {
    if (word.starts_with(_partial)) _take({as_word(word), std::string(help), false});
  }
  void offer_all(std::string_view words) {
    while (!words.empty()) {
      const std::string_view each = words.substr(0, words.find('|'));
      offer(each);
      words.remove_prefix(std::min(words.size(), each.size() + 1));
    }
  }
  void offer_argument(const Expected& expected) {
    offer_all(expected.argument->choices);
    const EntryKind* const kind = kind_named_by(*expected.argument);
    if (kind != nullptr) offer_entries(*kind, expected.above.value_or(0));
  }
  void offer_fields() {
    for (const MatchField& field : match_fields()) offer(field.name, field.help);
  }
  void offer_value(const MatchField& field) {
    if (field.syntax == MatchSyntax::WORD) return offer_all(field.words);
    const EntryKind* const kind = kind_named_by(field);
    if (kind != nullptr && !_live.of(*kind).empty()) return offer_entries(*kind, 0);
    if (!field.example.starts_with(_partial)) return;
    _take({as_word(field.example), "for example; " + match_value_syntax(field), true});
  }

 private:
  void offer_entry(const EntryKind& kind, const EntryKey& key, const EntryValue& value) {
    if (!key.name.empty()) return offer(key.name.view());
    offer(std::to_string(key.numbers[numbers_above(kind)]), value.text());
  }
  // Those of one list, where they stand below one.
  void offer_entries(const EntryKind& kind, std::uint32_t above) {
    const auto offer_one = [&](const EntryKey& key, const EntryValue& value) {
      offer_entry(kind, key, value);
    };
    if (*kind.facts().below != &TOP_LEVEL) {
      return for_each_below(key_of(above), _live.of(kind), offer_one);
    }
    for (const auto& [key, value] : _live.of(kind)) offer_one(key, value);
  }

  std::string_view _partial;
  const Entries& _live;
  const TakeOffer& _take;
};

}  // namespace

void for_each_offer(const Expected& expected, std::string_view partial, const Entries& live,
                    const TakeOffer& take) {
  Offering offering(partial, live, take);
  for (const std::string_view literal : expected.literals) offering.offer(literal);
  if (expected.argument != nullptr) offering.offer_argument(expected);
  if (expected.field) offering.offer_fields();
  const MatchField* const field = find_match_field(expected.value_of);
  if (field != nullptr) offering.offer_value(*field);
}

Offers offers(const Expected& expected, std::string_view partial, const Entries& live) {
  Offers all;
  for_each_offer(expected, partial, live, [&all](Offer offer) { all.push_back(std::move(offer)); });
  return all;
}

Offers placeholders(const Expected& expected) {
  Offers named;
  if (expected.argument != nullptr) {
    const Argument& argument = *expected.argument;
    named.push_back({std::string(argument.name),
                     argument_syntax(argument) + "; " + std::string(argument.help), false});
  }
  if (expected.field)
    named.push_back({"FIELD",
                     "a match field by name, or by number 0.." + std::to_string(LAST_MATCH_FIELD),
                     false});
  if (!expected.value_of.empty()) {
    const MatchField* const field = find_match_field(expected.value_of);
    named.push_back({"VALUE",
                     field == nullptr
                         ? "any text"
                         : match_value_syntax(*field) + "; " + std::string(field->help),
                     false});
  }
  return named;
}

Offers file_offers(std::string_view partial) {
  const std::size_t slash = partial.rfind('/');
  const std::string folder(slash == std::string_view::npos ? "" : partial.substr(0, slash + 1));
  const std::string_view begins = partial.substr(folder.size());
  Offers offers;
  std::error_code problem;
  for (std::filesystem::directory_iterator at(folder.empty() ? "." : folder, problem), end;
       !problem && at != end; at.increment(problem)) {
    std::string name = at->path().filename().string();
    if (!name.starts_with(begins) || (begins.empty() && name.starts_with('.'))) continue;
    std::error_code unknown;
    if (at->is_directory(unknown)) name += '/';
    offers.push_back({as_word(folder + name), "", false});
  }
  std::sort(offers.begin(), offers.end(),
            [](const Offer& a, const Offer& b) { return a.word < b.word; });
  return offers;
}
