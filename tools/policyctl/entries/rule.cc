#include "tools/policyctl/entries/rule.h"

#include "tools/policyctl/entries/entry_sender.h"
#include "tools/policyctl/entries/scopes.h"
#include "tools/policyctl/entries/switch_reader.h"

namespace {

constexpr StatementForm RULE_FORMS[]{
    {"rule RULE ACTION FIELD... [description TEXT]",
     "a rule of the list above; it matches what each of its fields matches"}};
constexpr std::string_view RULE_JSON[]{"rule", "action", "fields", "description"};

class Rules : public EntryKind {
 public:
  using EntryKind::EntryKind;

  void read(SwitchReader& reader, const EntryKey& above) const override {
    const std::uint32_t acl = above.numbers[0];
    reader.ask_for(
        SwitchReader::Gone::IS_FINE, "read the rules", &PolicydClient::send_get_rules,
        [this, &reader, acl](const XrlAtomList& rules, std::uint32_t) {
          if (reader.wants_only_names()) {
            for (const std::uint32_t rule : rules.u32s())
              reader.found(*this, key_of(RuleKey{acl, rule}), {});
            return;
          }
          std::vector<std::uint32_t> numbers;
          numbers.reserve(rules.size());
          for (const std::uint32_t rule : rules.u32s()) numbers.push_back(rule);
          reader.ask_each(std::move(numbers), [this, &reader, acl](std::uint32_t rule) {
            return ask_rule(reader, {acl, rule});
          });
        },
        acl);
  }

  [[nodiscard]] bool send(EntrySender& sender, const Step& step) const override {
    const auto [acl, rule] = rule_key(step.key);
    switch (step.verb) {
      case Verb::REMOVE:
        return sender.client.send_delete_rule(sender.policyd, acl, rule, sender.done);
      case Verb::DESCRIBE:
        if (step.value.text().empty()) {
          return sender.client.send_unset_rule_description(sender.policyd, acl, rule, sender.done);
        }
        return sender.client.send_set_rule_description(sender.policyd, acl, rule,
                                                       std::string(step.value.text()), sender.done);
      default:
        break;
    }
    sender.list1.clear();
    sender.list2.clear();
    for_each_field(step.value.fields(), [&sender](std::uint32_t field, std::string_view value) {
      sender.list1.append(field);
      sender.list2.append(value);
    });
    return sender.client.send_create_rule(sender.policyd, acl, rule, step.value.number(0),
                                          sender.list1, sender.list2, sender.done);
  }

 private:
  bool ask_rule(SwitchReader& reader, const RuleKey& key) const {
    return reader.client.send_get_rule(
        reader.policyd(), key.acl, key.rule,
        reader.store_if_there(
            "read a rule",
            [this, &reader, key](std::uint32_t action, std::string_view description,
                                 const XrlAtomList& flags, const XrlAtomList& values) {
              require_size(values.size(), flags);
              static RuleFields fields;
              fields.clear();
              std::size_t i = 0;
              for (const std::string_view value : values.texts()) {
                fields.append(flags.u32_at(i++), value);
              }
              reader.found(*this, key_of(key), EntryValue({action}, description, fields.packed()));
            }));
  }
};

constinit const Rules RULE_KIND(EntryFacts{
    .forms = RULE_FORMS,
    .noun = "rule",
    .below = &IN_A_LIST,
    .opens = nullptr,
    .key_arguments = std::size_t{1},
    .presence = Presence::MADE,
    .defaults = std::span<const DefaultEntry>{},
    .change = HowChanged::REPLACED,
    .phase = Phase::LISTS,
    .uses = Use{nullptr, nullptr, {}, {}, {}},
    .missing = nullptr,
    .refused = nullptr,
    .said_twice = std::pair{std::string_view("this rule stands above already."),
                            std::string_view("Say it once.")},
    .reads = "get_rules, get_rule",
    .sends = "create_rule, set_rule_description, unset_rule_description, delete_rule",
    .json = JsonForm{"", "rules", true, RULE_JSON},
    .example = "  rule 1 permit src-ip 10.0.0.0/8 dst-port 80 description \"web\"\n"
               "  rule 2 permit src-ip 192.0.2.0/24 time-range night\n"
               "  rule 3 permit protocol 17 36 \"any text of field 36\"\n"
               "  rule 9 deny\n",
});

}  // namespace

const EntryKind& RULE = RULE_KIND;

EntryValue value_of(const Rule& rule) {
  return EntryValue({rule.action}, rule.description, rule.fields.packed());
}

Rule rule_of(const EntryValue& value) {
  return {value.number(0), RuleFields(value.fields()), std::string(value.text())};
}

std::string rule_name(const RuleKey& key) {
  return "acl " + std::to_string(key.acl) + " rule " + std::to_string(key.rule);
}
