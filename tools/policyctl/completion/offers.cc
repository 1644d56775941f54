#include "tools/policyctl/completion/offers.h"

#include <algorithm>
#include <utility>

#include "common/match_fields.h"
#include "tools/policyctl/help/topics.h"
#include "tools/policyctl/language/words.h"

namespace {

class Offering {
 public:
  Offering(std::string_view partial, const Configuration& live) : _partial(partial), _live(live) {}

  void offer(std::string_view word, std::string_view help = {}) {
    if (word.starts_with(_partial)) _offers.push_back({as_word(word), std::string(help), false});
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
    switch (expected.argument->live) {
      case LiveNames::ACLS:
        for (const auto& [number, acl] : _live.acls) {
          offer(std::to_string(number), acl.description);
        }
        return;
      case LiveNames::RULES:
        return offer_rules(expected.acl);
      case LiveNames::TIME_RANGES:
        return offer_names(_live.time_ranges);
      case LiveNames::INTERFACES:
        return offer_names(_live.interfaces);
      case LiveNames::VLANS:
        for (const auto& [id, bindings] : _live.vlans) offer(std::to_string(id));
        return;
      case LiveNames::TOPICS:
        for (const std::string& topic : language_topics()) offer(topic);
        return;
      case LiveNames::NONE:
      case LiveNames::FILES:
        return;
    }
  }
  void offer_fields() {
    for (const MatchField& field : match_fields()) offer(field.name, field.help);
  }
  void offer_value(const MatchField& field) {
    if (field.syntax == MatchSyntax::WORD) return offer_all(field.words);
    if (field.syntax == MatchSyntax::INTERFACES) return offer_names(_live.interfaces);
    if (field.name == "time-range" && !_live.time_ranges.empty()) {
      return offer_names(_live.time_ranges);
    }
    if (!field.example.starts_with(_partial)) return;
    _offers.push_back({as_word(field.example), "for example; " + match_value_syntax(field), true});
  }
  std::vector<Offer> take() { return std::move(_offers); }

 private:
  template <typename Map>
  void offer_names(const Map& map) {
    for (const auto& [name, value] : map) offer(name);
  }
  void offer_rules(std::uint32_t acl) {
    const auto at = _live.acls.find(acl);
    if (at == _live.acls.end()) return;
    for (const auto& [number, rule] : at->second.rules) {
      offer(std::to_string(number), rule.description);
    }
  }

  std::string_view _partial;
  const Configuration& _live;
  std::vector<Offer> _offers;
};

}  // namespace

std::vector<Offer> offers(const Expected& expected, std::string_view partial,
                          const Configuration& live) {
  Offering offering(partial, live);
  for (const std::string_view literal : expected.literals) offering.offer(literal);
  if (expected.argument != nullptr) offering.offer_argument(expected);
  if (expected.field) offering.offer_fields();
  const MatchField* const field = find_match_field(expected.value_of);
  if (field != nullptr) offering.offer_value(*field);
  return offering.take();
}

std::vector<Offer> placeholders(const Expected& expected) {
  std::vector<Offer> named;
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
