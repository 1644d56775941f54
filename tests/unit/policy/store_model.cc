#include "tests/unit/policy/store_model.h"

#include <algorithm>
#include <sstream>

namespace {

bool names_acl(const StoreModel::Record& record, std::uint32_t acl) {
  for (const auto& key : record.filters) {
    if (key.first == acl) return true;
  }
  for (const auto& [key, action] : record.actions) {
    if (key.first == acl) return true;
  }
  return false;
}

bool names_rule(const StoreModel::Record& record, StoreModel::Key wanted) {
  for (const auto& key : record.filters) {
    if (key == wanted) return true;
  }
  for (const auto& [key, action] : record.actions) {
    if (key == wanted) return true;
  }
  return false;
}

void draw(std::ostream& out, const StoreModel::Record& record) {
  out << " filters";
  for (const auto& [acl, rule] : record.filters) out << " (" << acl << ", " << rule << ")";
  out << " actions";
  for (const auto& [key, action] : record.actions) {
    out << " (" << key.first << ", " << key.second << "):" << action.first << "/" << action.second;
  }
  out << "\n";
}

}  // namespace

int StoreModel::create_acl(std::uint32_t acl, std::uint32_t type) {
  if (type > 1 || acls.count(acl) != 0) return -1;
  acls[acl] = Acl{type, "", {}};
  return 0;
}

int StoreModel::delete_acl(std::uint32_t acl) {
  if (acls.count(acl) == 0 || first_user(acl)) return -1;
  acls.erase(acl);
  return 0;
}

int StoreModel::create_rule(Key key, std::uint32_t action, const std::vector<std::uint32_t>& flags,
                            const std::vector<std::string>& values) {
  if (acls.count(key.first) == 0) return -1;
  auto& rules = acls[key.first].rules;
  if (rules.count(key.second) != 0 || action > 1 || flags.size() != values.size()) return -1;
  Rule rule{action, "", {}};
  for (std::size_t i = 0; i < flags.size(); ++i) {
    if (flags[i] > 36) return -1;
    if (rule.fields.count(flags[i]) == 0) rule.fields[flags[i]] = values[i];
  }
  rules[key.second] = rule;
  return 0;
}

int StoreModel::delete_rule(Key key) {
  if (find_rule(key) == nullptr || is_rule_used(key)) return -1;
  acls[key.first].rules.erase(key.second);
  return 0;
}

int StoreModel::create_port(const std::string& name, std::uint32_t card) {
  if (ports.count(name) != 0) return -1;
  Port port;
  port.card = card;
  port.ready = _cards.count(card) != 0;
  ports[name] = port;
  return 0;
}

int StoreModel::delete_port(const std::string& name) {
  return ports.erase(name) == 1 ? 0 : -1;
}

int StoreModel::create_vlan(std::uint32_t vlan) {
  if (vlans.count(vlan) != 0) return -1;
  vlans[vlan] = Record{};
  return 0;
}

int StoreModel::delete_vlan(std::uint32_t vlan) {
  return vlans.erase(vlan) == 1 ? 0 : -1;
}

int StoreModel::create_time_range(const std::string& name, const TimeRange& range) {
  if (time_ranges.count(name) != 0) return -1;
  time_ranges[name] = range;
  return 0;
}

void StoreModel::set_card_up(std::uint32_t card) {
  if (_cards.count(card) != 0) return;
  _cards.insert(card);
  for (auto& [name, port] : ports) {
    if (port.card == card) port.ready = true;
  }
}

void StoreModel::set_card_down(std::uint32_t card) {
  if (_cards.count(card) == 0) return;
  _cards.erase(card);
  for (auto& [name, port] : ports) {
    if (port.card == card) port.ready = false;
  }
}

int StoreModel::add_filter(Record& record, Key key) {
  if (find_rule(key) == nullptr) return -1;
  for (const Key& filter : record.filters) {
    if (filter == key) return -1;
  }
  record.filters.push_back(key);
  return 0;
}

int StoreModel::delete_filter(Record& record, Key key) {
  for (auto at = record.filters.begin(); at != record.filters.end(); ++at) {
    if (*at != key) continue;
    record.filters.erase(at);
    return 0;
  }
  return -1;
}

int StoreModel::set_action(Record& record, Key key, std::uint32_t kind, std::uint32_t value) {
  if (record.actions.count(key) != 0) return -1;
  const Rule* rule = find_rule(key);
  if (rule == nullptr || rule->action != 1) return -1;
  const bool fits =
      (kind == 0 && value <= 63) || (kind == 1 && value <= 7) || (kind == 2 && value <= 3);
  if (!fits) return -1;
  record.actions[key] = {kind, value};
  return 0;
}

int StoreModel::delete_action(Record& record, Key key) {
  return record.actions.erase(key) == 1 ? 0 : -1;
}

StoreModel::Rule* StoreModel::find_rule(Key key) {
  const auto acl = acls.find(key.first);
  if (acl == acls.end()) return nullptr;
  const auto rule = acl->second.rules.find(key.second);
  return rule == acl->second.rules.end() ? nullptr : &rule->second;
}

std::optional<std::string> StoreModel::first_user(std::uint32_t acl) const {
  for (const auto& [name, port] : ports) {
    if (names_acl(port, acl)) return "port " + name;
  }
  for (const auto& [id, vlan] : vlans) {
    if (names_acl(vlan, acl)) return "vlan " + std::to_string(id);
  }
  return std::nullopt;
}

bool StoreModel::is_rule_used(Key key) const {
  for (const auto& [name, port] : ports) {
    if (names_rule(port, key)) return true;
  }
  for (const auto& [id, vlan] : vlans) {
    if (names_rule(vlan, key)) return true;
  }
  return false;
}

std::string StoreModel::picture() const {
  std::ostringstream out;
  for (const auto& [id, acl] : acls) {
    const auto user = first_user(id);
    out << "acl " << id << " type " << acl.type << " '" << acl.description << "' used by "
        << (user ? user->substr(5) : "nobody") << "\n";
    for (const auto& [number, rule] : acl.rules) {
      out << " rule " << number << " action " << rule.action << " '" << rule.description << "' "
          << (is_rule_used({id, number}) ? "bound" : "free");
      for (const auto& [field, value] : rule.fields) out << " " << field << "=" << value;
      out << "\n";
    }
  }
  for (const auto& [name, port] : ports) {
    out << "port " << name << " card " << port.card << (port.ready ? " ready" : "")
        << (port.card == 2 ? " special" : "") << " '' cos 0";
    draw(out, port);
  }
  for (const auto& [id, vlan] : vlans) {
    out << "vlan " << id;
    draw(out, vlan);
  }
  for (const auto& [name, range] : time_ranges) {
    out << "time range " << name;
    for (const std::uint32_t value : range.values) out << " " << value;
    out << "\n";
  }
  return out.str();
}
