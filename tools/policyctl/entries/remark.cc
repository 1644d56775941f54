#include "tools/policyctl/entries/remark.h"

#include "tools/policyctl/entries/binding.h"
#include "tools/policyctl/entries/entry_sender.h"
#include "tools/policyctl/entries/scopes.h"
#include "tools/policyctl/entries/switch_reader.h"

namespace {

// In the order of the kinds of the requests.
constexpr StatementForm REMARK_FORMS[]{
    {"remark acl ACL rule RULE dscp DSCP", "gives packets that a permit rule matches another DSCP"},
    {"remark acl ACL rule RULE priority PRIORITY",
     "gives packets that a permit rule matches another priority"},
    {"remark acl ACL rule RULE two-bit TWO-BIT",
     "gives packets that a permit rule matches a two-bit value"},
};
constexpr std::string_view REMARK_JSON[]{"acl", "rule", "kind", "value"};

class Remarks : public EntryKind {
 public:
  using EntryKind::EntryKind;

  void read(SwitchReader& reader, const EntryKey& above) const override {
    reader.ask_at(above, "read the remarks of an interface or VLAN",
                  &PolicydClient::send_get_port_remark, &PolicydClient::send_get_vlan_remark,
                  [this, &reader, above](const XrlAtomList& acls, const XrlAtomList& rules,
                                         const XrlAtomList& kinds, const XrlAtomList& values) {
                    require_size(acls.size(), rules, kinds, values);
                    reader.found_at(*this, above);
                    for (std::size_t i = 0; i < acls.size(); ++i) {
                      reader.found(*this, key_at(above, {acls.u32_at(i), rules.u32_at(i)}),
                                   EntryValue{kinds.u32_at(i), values.u32_at(i)});
                    }
                  });
  }

  [[nodiscard]] bool send(EntrySender& sender, const Step& step) const override {
    const auto [acl, rule] = bound_rule(step.key);
    if (step.verb == Verb::REMOVE) {
      return sender.send_at(step.key, &PolicydClient::send_unremark_port_priority,
                            &PolicydClient::send_unremark_vlan_priority, acl, rule);
    }
    return sender.send_at(step.key, &PolicydClient::send_remark_port_priority,
                          &PolicydClient::send_remark_vlan_priority, acl, rule,
                          step.value.number(0), step.value.number(1));
  }

  [[nodiscard]] std::string describe(const Step& step) const override {
    return (step.verb == Verb::REMOVE ? "remove the remark of " : "remark ") +
           rule_name(bound_rule(step.key)) + " on " + head_name(*this, step.key);
  }
};

constinit const Remarks REMARK_KIND(EntryFacts{
    .forms = REMARK_FORMS,
    .noun = "remark",
    .below = &AT_A_RECORD,
    .opens = nullptr,
    .key_arguments = std::size_t{2},
    .presence = Presence::MADE,
    .defaults = std::span<const DefaultEntry>{},
    .change = HowChanged::REPLACED,
    .phase = Phase::BINDINGS,
    .uses = Use{[]() -> const EntryKind& { return RULE; },
                [](const EntryValue& rule) { return rule.number(0) == PERMIT; },
                "denies; only packets of a permit rule can be remarked.",
                "Make it a permit rule, or leave this out.",
                "a remark uses this rule, so it has to permit."},
    .missing = nullptr,
    .refused = nullptr,
    .said_twice = std::pair{std::string_view("this rule has a remark here already."),
                            std::string_view("A rule has one remark for each interface or VLAN.")},
    .reads = "get_port_remark, get_vlan_remark",
    .sends = "remark_port_priority, unremark_port_priority, remark_vlan_priority, "
             "unremark_vlan_priority",
    .json = JsonForm{"", "remarks", true, REMARK_JSON},
    .example = "  remark acl 10 rule 1 dscp 46\n  remark acl 10 rule 2 priority 5\n"
               "  remark acl 10 rule 3 two-bit 2\n",
});

}  // namespace

const EntryKind& REMARK = REMARK_KIND;
