// The store beside a model of it, under random operations: every answer and
// every warning equal, and what can be read equal again and again.
#include "tests/unit/policy/store_model.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <iostream>
#include <random>
#include <string>
#include <vector>

#include "tests/support/log_capture.h"
#include "tests/unit/policy/store_picture.h"
#include "tests/unit/policy/store_samples.h"

namespace {

// How many of each thing there can be. In a narrow world operations meet the
// same things again and again; in a wide one the indexes grow and shrink past
// the size of their parts.
struct World {
  const char* name;
  std::uint32_t acls;
  std::uint32_t rules;
  std::uint32_t ports;
  std::uint32_t vlans;
  int steps;
  int seeds;
  int steps_between_pictures;
};

class Lockstep {
 public:
  Lockstep(const World& world, std::uint32_t seed) : _world(world), _random(seed) {}

  void step() {
    const std::uint32_t choice = below(100);
    if (choice < 4) {
      acls();
    } else if (choice < 20) {
      rules();
    } else if (choice < 23) {
      descriptions();
    } else if (choice < 28) {
      records();
    } else if (choice < 30) {
      cards();
    } else if (choice < 32) {
      time_ranges();
    } else {
      bindings();
    }
  }

  void compare_all() { ASSERT_EQ(picture_of(_tree), _model.picture()); }

 private:
  std::uint32_t below(std::uint32_t limit) { return static_cast<std::uint32_t>(_random() % limit); }
  bool rarely(std::uint32_t per_thousand) { return below(1000) < per_thousand; }

  // The largest number stands for all that are far away.
  std::uint32_t drawn_acl() { return rarely(5) ? 0xffffffffU : below(_world.acls); }
  StoreModel::Key drawn_key() {
    return {drawn_acl(), rarely(5) ? 0xffffffffU : below(_world.rules)};
  }
  std::string drawn_port() {
    const std::uint32_t number = below(_world.ports);
    if (number % 5 == 4) return "lag" + std::to_string(number);
    return std::to_string(number % 2) + "/" + std::to_string(number % 3) + "/" +
           std::to_string(number);
  }
  static std::uint32_t card_of(const std::string& port) {
    if (port[0] == 'l') return 2;
    return 16U + 256U * static_cast<std::uint32_t>(port[0] - '0') +
           static_cast<std::uint32_t>(port[2] - '0');
  }
  std::string drawn_text() {
    std::string text(below(12), ' ');
    for (char& byte : text) byte = static_cast<char>('a' + below(26));
    return text;
  }

  void acls() {
    const std::uint32_t acl = drawn_acl();
    if (below(2) == 0) {
      const std::uint32_t type = below(3);
      ASSERT_EQ(_tree.create_acl(acl, type), _model.create_acl(acl, type));
      return;
    }
    Texts warnings;
    if (const auto user = _model.first_user(acl)) {
      warnings.push_back("WARNING POLICY is_acl_used: acl " +
                         std::to_string(static_cast<int>(acl)) + " is still used in " + *user +
                         ".");
    }
    LogCapture log;
    ASSERT_EQ(_tree.delete_acl(acl), _model.delete_acl(acl));
    ASSERT_EQ(log.take_lines(), warnings);
  }

  void rules() {
    const StoreModel::Key key = drawn_key();
    if (below(4) == 0) {
      const PolicyAclInfo* acl = _tree.find_acl(key.first);
      ASSERT_EQ(acl != nullptr, _model.acls.count(key.first) == 1);
      ASSERT_EQ(_tree.is_rule_used(key.first, key.second), _model.is_rule_used(key));
      ASSERT_EQ(acl == nullptr ? -1 : _tree.find_acl(key.first)->delete_rule(key.second),
                _model.delete_rule(key));
      return;
    }
    Numbers flags(below(5));
    for (std::uint32_t& flag : flags) flag = rarely(20) ? 37 : below(37);
    Texts values(rarely(20) ? flags.size() + 1 : flags.size());
    for (std::string& value : values) value = drawn_text();
    const std::uint32_t action = rarely(20) ? 2 : below(10) < 8 ? 1 : 0;
    PolicyAclInfo* acl = _tree.find_acl(key.first);
    const TextViews views(values.begin(), values.end());
    ASSERT_EQ(acl == nullptr ? -1 : acl->create_rule(key.second, action, flags, views),
              _model.create_rule(key, action, flags, values));
    const PolicyRuleInfo* rule = _tree.find_rule_info(key.first, key.second);
    const StoreModel::Rule* expected = _model.find_rule(key);
    ASSERT_EQ(rule != nullptr, expected != nullptr);
    if (rule != nullptr) {
      ASSERT_EQ(fields_of(*rule), Fields(expected->fields.begin(), expected->fields.end()));
    }
  }

  void descriptions() {
    const StoreModel::Key key = drawn_key();
    const std::string text = drawn_text();
    if (PolicyAclInfo* acl = _tree.find_acl(key.first)) {
      ASSERT_EQ(acl->set_description(text), 0);
      _model.acls.at(key.first).description = text;
    }
    if (PolicyRuleInfo* rule = _tree.find_rule_info(key.first, key.second)) {
      ASSERT_EQ(rule->set_description(text), 0);
      _model.find_rule(key)->description = text;
    }
  }

  void records() {
    // Few are deleted, so that bindings gather.
    const bool create = below(10) < 7;
    if (below(2) == 0) {
      const std::string name = drawn_port();
      ASSERT_EQ(create ? _tree.create_port(name) : _tree.delete_port(name),
                create ? _model.create_port(name, card_of(name)) : _model.delete_port(name));
    } else {
      const std::uint32_t vlan = below(_world.vlans);
      ASSERT_EQ(create ? _tree.create_vlan(vlan) : _tree.delete_vlan(vlan),
                create ? _model.create_vlan(vlan) : _model.delete_vlan(vlan));
    }
  }

  void cards() {
    const std::uint32_t card = card_of(drawn_port());
    if (below(2) == 0) {
      ASSERT_EQ(_tree.set_card_up(card), 0);
      _model.set_card_up(card);
    } else {
      _tree.set_card_down(card);
      _model.set_card_down(card);
    }
  }

  void time_ranges() {
    const std::string name(1, static_cast<char>('a' + below(4)));
    if (rarely(50)) {
      _tree.clear_time_ranges();
      _model.time_ranges.clear();
    } else if (below(2) == 0) {
      const StoreModel::TimeRange range{{below(9), below(9), below(2), below(9), below(9)}};
      const auto& [n1, n2, flag, n3, n4] = range.values;
      ASSERT_EQ(_tree.create_time_range(name, n1, n2, flag == 1, n3, n4),
                _model.create_time_range(name, range));
    } else {
      ASSERT_EQ(_tree.delete_time_range(name), 0);
      _model.time_ranges.erase(name);
    }
  }

  void bindings() {
    if (below(2) == 0) {
      const std::string name = drawn_port();
      PolicyPortInfo* port = _tree.find_port(name);
      ASSERT_EQ(port != nullptr, _model.ports.count(name) == 1);
      if (port != nullptr) bind(*port, _model.ports.at(name));
    } else {
      const std::uint32_t id = below(_world.vlans);
      PolicyVlanInfo* vlan = _tree.find_vlan(id);
      ASSERT_EQ(vlan != nullptr, _model.vlans.count(id) == 1);
      if (vlan != nullptr) bind(*vlan, _model.vlans.at(id));
    }
  }

  void bind(PolicyInfo& info, StoreModel::Record& record) {
    const StoreModel::Key drawn = drawn_key();
    const PolicyBindingKey key{drawn.first, drawn.second};
    const std::uint32_t choice = below(100);
    if (choice < 50) {
      ASSERT_EQ(info.add_filter(key), _model.add_filter(record, drawn));
    } else if (choice < 70) {
      ASSERT_EQ(info.delete_filter(key), _model.delete_filter(record, drawn));
    } else if (choice < 90) {
      const std::uint32_t kind = below(4);
      const std::uint32_t value = below(kind == 0 ? 70 : 10);
      ASSERT_EQ(info.actions().set_action(key, kind, value),
                _model.set_action(record, drawn, kind, value));
    } else if (choice < 99) {
      ASSERT_EQ(info.actions().delete_action(key), _model.delete_action(record, drawn));
    } else if (below(10) == 0) {
      info.clear_filters();
      record.filters.clear();
    } else if (below(10) == 0) {
      info.actions().clear();
      record.actions.clear();
    }
    compare(info, record);
  }

  static void compare(const PolicyInfo& info, const StoreModel::Record& record) {
    const Keys filters = filters_of(info);
    ASSERT_EQ(filters.size(), record.filters.size());
    for (std::size_t i = 0; i < filters.size(); ++i) {
      ASSERT_EQ(filters[i].acl, record.filters[i].first);
      ASSERT_EQ(filters[i].rule, record.filters[i].second);
    }
    const Keys actions = action_keys_of(info);
    ASSERT_EQ(actions.size(), record.actions.size());
    std::size_t i = 0;
    for (const auto& [key, action] : record.actions) {
      ASSERT_EQ(actions[i], (PolicyBindingKey{key.first, key.second}));
      ++i;
    }
  }

  const World& _world;
  std::mt19937 _random;
  PolicyTree _tree;
  StoreModel _model;
};

class StoreAndModel : public ::testing::TestWithParam<World> {};

TEST_P(StoreAndModel, AreEqualAfterEveryStep) {
  const World& world = GetParam();
  for (int i = 1; i <= world.seeds; ++i) {
    const auto seed = static_cast<std::uint32_t>(i);
    Lockstep both(world, seed);
    for (int step = 1; step <= world.steps; ++step) {
      both.step();
      if (step % world.steps_between_pictures == 0) both.compare_all();
      if (HasFatalFailure()) FAIL() << world.name << " seed " << seed << " step " << step;
    }
    both.compare_all();
    if (HasFatalFailure()) FAIL() << world.name << " seed " << seed << " at the end";
  }
  std::cout << world.name << ": seeds 1.." << world.seeds << ", " << world.steps << " steps each\n";
}

INSTANTIATE_TEST_SUITE_P(Worlds, StoreAndModel,
                         ::testing::Values(World{"Narrow", 4, 6, 5, 4, 50000, 24, 500},
                                           World{"Wide", 3, 300, 6, 200, 50000, 8, 10000}),
                         [](const auto& world) { return world.param.name; });

}  // namespace
