#include "tools/policyctl/commands/show_command.h"

#include <algorithm>
#include <array>
#include <ostream>
#include <string_view>
#include <utility>

#include "framework/xrl/nearest_name.h"
#include "tools/policyctl/json/json_output.h"
#include "tools/policyctl/language/statement_match.h"
#include "tools/policyctl/language/write_configuration.h"

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

// Keeps one entry of a map. Throws Failure REFUSED when it is not there.
template <typename Map, typename Key>
void keep_only(Map& map, const Key& key, const std::string& what, const std::string& nearest) {
  const auto at = map.find(key);
  if (at == map.end()) {
    throw Failure(ExitStatus::REFUSED, "there is no " + what + " on the switch.",
                  nearest.empty() ? std::string() : "Is '" + nearest + "' meant?");
  }
  auto kept = map.extract(at);
  map.clear();
  map.insert(std::move(kept));
}

template <typename Map>
std::string nearest_key(const Map& map, const std::string& wanted) {
  NearestName nearest(wanted);
  for (const auto& [key, value] : map) {
    if constexpr (std::is_same_v<std::decay_t<decltype(key)>, std::string>) {
      nearest.consider(key);
    } else {
      nearest.consider(std::to_string(key));
    }
  }
  return nearest.name();
}

}  // namespace

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

void Selection::apply(Configuration& configuration) const {
  if (_words.empty()) return;
  const std::string what = joined(_words);
  if (_words[0] == "interfaces" || _words[0] == "interface") configuration.vlans.clear();
  if (_words[0] == "vlans" || _words[0] == "vlan") configuration.interfaces.clear();
  if (_words.size() == 1) return;
  const std::string& name = _words[1];
  if (_words[0] == "time-range") {
    keep_only(configuration.time_ranges, name, what, nearest_key(configuration.time_ranges, name));
  } else if (_words[0] == "interface") {
    keep_only(configuration.interfaces, name, what, nearest_key(configuration.interfaces, name));
  } else if (_words[0] == "vlan") {
    keep_only(configuration.vlans, *decimal_number(name), what,
              nearest_key(configuration.vlans, name));
  } else {
    const std::uint32_t number = *decimal_number(name);
    keep_only(configuration.acls, number, what, nearest_key(configuration.acls, name));
    if (_words.size() < 4) return;
    auto& rules = configuration.acls.at(number).rules;
    keep_only(rules, *decimal_number(_words[3]), what, nearest_key(rules, _words[3]));
  }
}

ExitStatus show_command(const Context& context, const Selection& selection) {
  const auto session = context.connect();
  Configuration configuration = read_switch(*session, selection.parts());
  selection.apply(configuration);
  if (context.json) {
    print_json(context.out, configuration_json(configuration));
  } else {
    context.out << write_configuration(configuration) << std::flush;
  }
  return ExitStatus::DONE;
}
