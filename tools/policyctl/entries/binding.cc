#include "tools/policyctl/entries/binding.h"

#include "tools/policyctl/entries/entry_sender.h"
#include "tools/policyctl/entries/scopes.h"
#include "tools/policyctl/entries/switch_reader.h"
#include "tools/policyctl/language/elements.h"

namespace {

constexpr StatementForm FILTER_FORMS[]{
    {"filter acl ACL rule RULE", "binds a rule as a packet filter, behind those bound before"}};
constexpr std::string_view FILTER_JSON[]{"acl", "rule"};

class Filters : public EntryKind {
 public:
  using EntryKind::EntryKind;

  void read(SwitchReader& reader, const EntryKey& above) const override {
    reader.ask_at(
        above, "read the filters of an interface or VLAN",
        &PolicydClient::send_get_port_packet_filters, &PolicydClient::send_get_vlan_packet_filters,
        [this, &reader, above](const XrlAtomList& acls, const XrlAtomList& rules, const auto&) {
          require_size(acls.size(), rules);
          Elements filters;
          for (std::size_t i = 0; i < acls.size(); ++i) {
            filters.emplace_back(acls.u32_at(i), rules.u32_at(i));
          }
          reader.found_at(*this, above);
          put_elements(reader.entries(), *this, above, filters);
        });
  }

  [[nodiscard]] bool send(EntrySender& sender, const Step& step) const override {
    const auto [acl, rule] = bound_rule(step.key);
    return step.verb == Verb::REMOVE
               ? sender.send_at(step.key, &PolicydClient::send_delete_port_packet_filter,
                                &PolicydClient::send_delete_vlan_packet_filter, acl, rule)
               : sender.send_at(step.key, &PolicydClient::send_set_port_packet_filter,
                                &PolicydClient::send_set_vlan_packet_filter, acl, rule);
  }

  [[nodiscard]] std::string describe(const Step& step) const override {
    return (step.verb == Verb::REMOVE ? "unbind filter " : "bind filter ") +
           rule_name(bound_rule(step.key)) + " on " + head_name(*this, step.key);
  }
};

constinit const Filters FILTER_KIND(EntryFacts{
    .forms = FILTER_FORMS,
    .noun = "filter",
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
