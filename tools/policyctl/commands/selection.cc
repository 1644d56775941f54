#include "tools/policyctl/commands/selection.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "framework/xrl/nearest_name.h"
#include "tools/policyctl/failure.h"
#include "tools/policyctl/language/statement_match.h"

namespace {

struct SelectionForm {
  std::string_view words;  // in upper case: a number or a name
  SwitchParts parts;
};

// clang-format off
constexpr std::array FORMS{
    SelectionForm{"cos",                 {true, false, false, false}},
    SelectionForm{"time-ranges",         {false, true, false, false}},
    SelectionForm{"time-range NAME",     {false, true, false, false}},
    SelectionForm{"acls",                {false, false, true, false}},
    SelectionForm{"acl ACL",             {false, false, true, false}},
    SelectionForm{"acl ACL rule RULE",   {false, false, true, false}},
    SelectionForm{"interfaces",          {false, false, false, true}},
    SelectionForm{"interface INTERFACE", {false, false, false, true}},
    SelectionForm{"vlans",               {false, false, false, true}},
    SelectionForm{"vlan VLAN",           {false, false, false, true}},
};
// clang-format on

bool is_number_argument(std::string_view word) {
  return word == "ACL" || word == "RULE" || word == "VLAN";
}

bool fits(const SelectionForm& form, const std::vector<std::string>& words) {
  std::string_view rest = form.words;
  for (const std::string& word : words) {
    if (rest.empty()) return false;
    const std::string_view expected = rest.substr(0, rest.find(' '));
    rest.remove_prefix(std::min(rest.size(), expected.size() + 1));
    const bool is_argument = expected[0] >= 'A' && expected[0] <= 'Z';
    if (!is_argument && word != expected) return false;
    if (is_number_argument(expected) && !decimal_number(word)) return false;
  }
  return rest.empty();
}

std::string joined(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : " ") + word;
  return text;
}

template <typename Value>
const std::string& key_of(const std::map<std::string, Value, std::less<>>& /*map*/,
                          const std::string& word) {
  return word;
}
template <typename Value>
std::uint32_t key_of(const std::map<std::uint32_t, Value>& /*map*/, const std::string& word) {
  return *decimal_number(word);
}

std::string as_text(const std::string& key) {
  return key;
}
std::string as_text(std::uint32_t key) {
  return std::to_string(key);
}

// Keeps the entry of that key, if there is one.
template <typename Map>
void keep_only(Map& map, const std::string& word) {
  auto kept = map.extract(key_of(map, word));
  map.clear();
  if (kept) map.insert(std::move(kept));
}

template <typename Map>
void require_key(const Map& map, const std::string& word, const std::string& what) {
  if (map.contains(key_of(map, word))) return;
  NearestName nearest(word);
  for (const auto& [key, value] : map) nearest.consider(as_text(key));
  throw Failure(ExitStatus::REFUSED, "there is no " + what + " on the switch.",
                nearest.name().empty() ? std::string() : "Is '" + nearest.name() + "' meant?");
}

}  // namespace

std::vector<std::string_view> selection_forms() {
  std::vector<std::string_view> forms;
  forms.reserve(FORMS.size());
  for (const SelectionForm& form : FORMS) forms.push_back(form.words);
  return forms;
}

Selection Selection::parse(const std::vector<std::string>& words) {
  Selection selection;
  selection._words = words;
  if (words.empty()) {
    selection._parts = SwitchParts::all();
    return selection;
  }
  const auto* const form = std::find_if(
      FORMS.begin(), FORMS.end(), [&words](const SelectionForm& f) { return fits(f, words); });
  if (form != FORMS.end()) {
    selection._parts = form->parts;
    return selection;
  }
  NearestName nearest(words[0]);
  std::string forms;
  for (const SelectionForm& each : FORMS) {
    nearest.consider(each.words.substr(0, each.words.find(' ')));
    forms += (forms.empty() ? "" : ", ") + std::string(each.words);
  }
  const bool is_misspelt = !nearest.name().empty() && nearest.name() != words[0];
  throw Failure(
      ExitStatus::USAGE, "'" + joined(words) + "' is nothing that can be shown.",
      is_misspelt ? "Is '" + nearest.name() + "' meant?" : "What can be shown: " + forms + ".");
}

std::string Selection::name() const {
  return joined(_words);
}

void Selection::require(const Configuration& configuration) const {
  if (_words.size() < 2) return;
  const std::string& word = _words[1];
  if (kind() == "time-range") return require_key(configuration.time_ranges, word, name());
  if (kind() == "interface") return require_key(configuration.interfaces, word, name());
  if (kind() == "vlan") return require_key(configuration.vlans, word, name());
  require_key(configuration.acls, word, name());
  if (_words.size() < 4) return;
  require_key(configuration.acls.at(*decimal_number(word)).rules, _words[3], name());
}

void Selection::narrow(Configuration& configuration) const {
  if (kind() == "interfaces" || kind() == "interface") configuration.vlans.clear();
  if (kind() == "vlans" || kind() == "vlan") configuration.interfaces.clear();
  if (_words.size() < 2) return;
  const std::string& word = _words[1];
  if (kind() == "time-range") return keep_only(configuration.time_ranges, word);
  if (kind() == "interface") return keep_only(configuration.interfaces, word);
  if (kind() == "vlan") return keep_only(configuration.vlans, word);
  keep_only(configuration.acls, word);
  if (_words.size() < 4) return;
  for (auto& [number, acl] : configuration.acls) keep_only(acl.rules, _words[3]);
}
