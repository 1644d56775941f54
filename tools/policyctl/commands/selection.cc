#include "tools/policyctl/commands/selection.h"

#include <array>
#include <string_view>
#include <utility>

#include "tools/policyctl/commands/required_form.h"
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

// Keeps the entry of that key, if there is one.
template <typename Map>
void keep_only(Map& map, const std::string& word) {
  auto kept = map.extract(key_of(map, word));
  map.clear();
  if (kept) map.insert(std::move(kept));
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
  selection._parts = FORMS.at(require_form(selection_forms(), words)).parts;
  return selection;
}

std::string Selection::name() const {
  return joined(_words);
}

void Selection::require(const Configuration& configuration, const ObjectPlace& place) const {
  if (_words.size() < 2) return;
  const std::string& word = _words[1];
  const ObjectSought sought{name(), std::string(kind()) + "s"};
  const auto require_in = [&](const auto& map) {
    require_entry(map, key_of(map, word), sought, place);
  };
  if (kind() == "time-range") return require_in(configuration.time_ranges);
  if (kind() == "interface") return require_in(configuration.interfaces);
  if (kind() == "vlan") return require_in(configuration.vlans);
  require_entry(configuration.acls, *decimal_number(word), {"acl " + word, "acls"}, place);
  if (_words.size() < 4) return;
  require_entry(configuration.acls.at(*decimal_number(word)).rules, *decimal_number(_words[3]),
                {name(), "acl " + word}, place);
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
