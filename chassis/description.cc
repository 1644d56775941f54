#include "chassis/description.h"

#include <algorithm>
#include <initializer_list>
#include <limits>
#include <nlohmann/json.hpp>
#include <set>
#include <string_view>

#include "platform/managers/switch_model.h"

namespace {

using Json = nlohmann::json;

std::string element(std::string_view path, std::size_t index) {
  return std::string(path) + "[" + std::to_string(index) + "]";
}

[[noreturn]] void fail(std::string_view path, std::string_view problem) {
  throw DescriptionError(std::string(path) + ": " + std::string(problem));
}

std::string in_quotes(std::string_view text) {
  return " \"" + std::string(text) + "\"";
}

void require_done(const std::string& path, Refusal refusal) {
  if (!refusal.empty()) fail(path, refusal);
}

// The parser keeps the last of equal keys and says nothing, so they are
// looked for while it parses.
class RepeatedKeys {
 public:
  bool operator()(int /*depth*/, Json::parse_event_t event, Json& parsed) {
    switch (event) {
      case Json::parse_event_t::object_start:
        _open.emplace_back();
        break;
      case Json::parse_event_t::object_end:
        _open.pop_back();
        break;
      case Json::parse_event_t::key:
        if (!_open.back().insert(parsed.get<std::string>()).second) {
          throw DescriptionError("the key" + in_quotes(parsed.get<std::string>()) +
                                 " is there twice in one object.");
        }
        break;
      default:
        break;
    }
    return true;
  }

 private:
  std::vector<std::set<std::string>> _open;
};

Json parse_json(const std::string& text) {
  try {
    return Json::parse(
        text, [keys = RepeatedKeys()](int depth, Json::parse_event_t event, Json& parsed) mutable {
          return keys(depth, event, parsed);
        });
  } catch (const Json::parse_error& error) {
    // "[json.exception.parse_error.101] parse error at line 1, column 2: ..."
    const std::string_view what = error.what();
    const std::size_t place = what.find(" at ");
    throw DescriptionError("no JSON" +
                           std::string(place == std::string_view::npos ? "" : what.substr(place)));
  }
}

void require_keys(std::string_view path, const Json& object,
                  std::initializer_list<std::string_view> known) {
  if (!object.is_object()) fail(path, "an object is expected.");
  for (const auto& item : object.items()) {
    if (std::find(known.begin(), known.end(), item.key()) == known.end()) {
      fail(path, "unknown key" + in_quotes(item.key()) + ".");
    }
  }
}

std::string to_text(const std::string& path, const Json& value) {
  if (!value.is_string()) fail(path, "a text is expected.");
  return value.get<std::string>();
}

std::uint32_t to_u32(const std::string& path, const Json& value) {
  if (!value.is_number_unsigned() ||
      value.get<std::uint64_t>() > std::numeric_limits<std::uint32_t>::max()) {
    fail(path, "a number from 0 to 4294967295 is expected.");
  }
  return value.get<std::uint32_t>();
}

// The elements of `object[key]`, each read by `read`; none where the key is missing.
template <typename Read>
auto to_list(const std::string& path, const Json& object, std::string_view key, Read read) {
  std::vector<decltype(read(path, object))> list;
  const auto found = object.find(key);
  if (found == object.end()) return list;
  if (!found->is_array()) fail(path, "a list is expected.");
  list.reserve(found->size());
  for (const Json& value : *found) list.push_back(read(element(path, list.size()), value));
  return list;
}

InterfaceDescription to_interface(const std::string& path, const Json& value) {
  require_keys(path, value, {"name", "members"});
  const auto name = value.find("name");
  if (name == value.end()) fail(path, "the key \"name\" is missing.");
  return {to_text(path + ".name", *name), to_list(path + ".members", value, "members", to_text)};
}

}  // namespace

SwitchDescription parse_description(const std::string& json) {
  const Json whole = parse_json(json);
  require_keys("the description", whole, {"interfaces", "vlans", "cards"});
  return {to_list("interfaces", whole, "interfaces", to_interface),
          to_list("vlans", whole, "vlans", to_u32), to_list("cards", whole, "cards", to_u32)};
}

void build_switch(const SwitchDescription& description, SwitchModel& model) {
  const auto& interfaces = description.interfaces;
  for (std::size_t i = 0; i < interfaces.size(); ++i) {
    const std::string& name = interfaces[i].name;
    require_done(element("interfaces", i) + in_quotes(name), model.add_interface(name));
  }
  for (std::size_t i = 0; i < interfaces.size(); ++i) {
    const std::string path = element("interfaces", i) + ".members";
    for (std::size_t k = 0; k < interfaces[i].members.size(); ++k) {
      const std::string& member = interfaces[i].members[k];
      require_done(element(path, k) + in_quotes(member),
                   model.add_member(interfaces[i].name, member));
    }
  }
  for (std::size_t i = 0; i < description.vlans.size(); ++i) {
    const std::uint32_t vlan_id = description.vlans[i];
    require_done(element("vlans", i) + " " + std::to_string(vlan_id), model.create_vlan(vlan_id));
  }
  for (std::size_t i = 0; i < description.cards.size(); ++i) {
    const std::uint32_t card_id = description.cards[i];
    const std::string path = element("cards", i) + " " + std::to_string(card_id);
    if (model.cards().contains(card_id)) fail(path, "the card is there twice.");
    require_done(path, model.set_card_state(card_id, CARD_STATE_PRESENT));
  }
}
