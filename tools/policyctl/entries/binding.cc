#include "tools/policyctl/entries/binding.h"

#include "tools/policyctl/entries/entry_sender.h"
#include "tools/policyctl/entries/scopes.h"
#include "tools/policyctl/entries/switch_reader.h"

namespace {

constexpr StatementForm FILTER_FORMS[]{
    {"filter acl ACL rule RULE", "binds a rule as a packet filter, behind those bound before"}};
constexpr std::string_view FILTER_JSON[]{"acl", "rule"};

class Filters : public EntryKind {
 public:
  using EntryKind::EntryKind;

  void read(SwitchReader& reader, const EntryKey& above) const override {
    const auto take = [this, &reader, above](const XrlAtomList& acls, const XrlAtomList& rules,
                                             const auto&) {
      require_size(acls.size(), rules);
      std::vector<RuleKey> filters;
      for (std::size_t i = 0; i < acls.size(); ++i) {
        filters.push_back({acls.u32_at(i), rules.u32_at(i)});
      }
      reader.found_at(*this, above);
      put_filters(reader.entries(), above, filters);
    };
    reader.ask([&reader, above, take] {
      if (above.name.empty()) {
        return reader.client.send_get_vlan_packet_filters(
            reader.policyd(), above.numbers[0],
            reader.store_if_there("read the filters of a VLAN", take));
      }
      return reader.client.send_get_port_packet_filters(
          reader.policyd(), std::string(above.name.view()),
          reader.store_if_there("read the filters of an interface", take));
    });
  }

  [[nodiscard]] bool send(EntrySender& sender, const Step& step) const override {
    const auto [acl, rule] = bound_rule(step.key);
    const std::string name(step.key.name.view());
    const std::uint32_t vlan = step.key.numbers[0];
    auto& client = sender.client;
    if (step.verb == Verb::REMOVE) {
      return name.empty() ? client.send_delete_vlan_packet_filter(sender.policyd, vlan, acl, rule,
                                                                  sender.done)
                          : client.send_delete_port_packet_filter(sender.policyd, name, acl, rule,
                                                                  sender.done);
    }
    return name.empty()
               ? client.send_set_vlan_packet_filter(sender.policyd, vlan, acl, rule, sender.done)
               : client.send_set_port_packet_filter(sender.policyd, name, acl, rule, sender.done);
  }

  [[nodiscard]] std::string describe(const Step& step) const override {
    return (step.verb == Verb::REMOVE ? "unbind filter " : "bind filter ") +
           rule_name(bound_rule(step.key)) + " on " +
           name_of(*head_of(*this, step.key), key_above(*this, step.key));
  }
};

constinit const Filters FILTER_KIND(EntryFacts{
    .forms = FILTER_FORMS,
    .below = &AT_A_RECORD,
    .opens = nullptr,
    .key_arguments = std::size_t{2},
    .presence = Presence::MADE,
    .defaults = std::span<const DefaultEntry>{},
    .change = HowChanged::ORDERED,
    .phase = Phase::BINDINGS,
    .uses = Use{[]() -> const EntryKind& { return RULE; }, nullptr, {}, {}, {}},
    .missing = nullptr,
    .refused = nullptr,
    .said_twice = std::pair{std::string_view("this rule is bound here already."),
                            std::string_view("Say it once.")},
    .reads = "get_port_packet_filters, get_vlan_packet_filters",
    .sends = "set_port_packet_filter, delete_port_packet_filter, set_vlan_packet_filter, "
             "delete_vlan_packet_filter",
    .json = JsonForm{"", "filters", true, FILTER_JSON},
    .example = "  filter acl 10 rule 1\n  filter acl 10 rule 9\n",
});

}  // namespace

const EntryKind& FILTER = FILTER_KIND;

std::vector<RuleKey> filters_at(const Entries& entries, const EntryKey& record) {
  std::vector<RuleKey> filters;
  const EntryValue* const value = entries.find(FILTER, record);
  if (value == nullptr) return filters;
  for (std::size_t i = 0; i + 1 < value->count(); i += 2) {
    filters.push_back({value->number(i), value->number(i + 1)});
  }
  return filters;
}

void put_filters(Entries& entries, const EntryKey& record, const std::vector<RuleKey>& filters) {
  std::vector<std::uint32_t> numbers;
  for (const RuleKey& key : filters) numbers.insert(numbers.end(), {key.acl, key.rule});
  if (numbers.empty()) {
    entries.erase(FILTER, record);
  } else {
    entries.put(FILTER, record, EntryValue(numbers));
  }
}
