// Settings: what the switch, or each of its interfaces, has one value of.
#include "tools/policyctl/entries/setting.h"

#include "framework/xrl/xrl_atom_list.h"
#include "tools/policyctl/entries/entry_sender.h"
#include "tools/policyctl/entries/scopes.h"
#include "tools/policyctl/entries/switch_reader.h"

namespace {

constexpr std::pair<std::string_view, std::string_view> SETTING_SAID_TWICE{
    "this was said above already.", "Say it once."};

constexpr StatementForm FLAG_FORMS[]{{"cos flag SWITCH", "the switch-wide class-of-service flag"}};
constexpr StatementForm MODE_FORMS[]{
    {"cos schedule mode MODE", "how the egress queues are scheduled"}};
constexpr StatementForm SCHEDULE_FORMS[]{
    {"cos schedule algorithm ALGORITHM weights WEIGHT WEIGHT WEIGHT WEIGHT",
     "the scheduling algorithm and the weights of queues 0 to 3"}};
constexpr StatementForm VALUE_FORMS[]{
    {"cos-value VALUE", "the class-of-service value of the interface above"}};

constexpr DefaultEntry ZERO[]{{0, {0}, 1}};
constexpr DefaultEntry USUAL_SCHEDULE[]{{0, {0, 12, 8, 4, 1}, 5}};

constexpr std::string_view FLAG_JSON[]{"flag"};
constexpr std::string_view MODE_JSON[]{"schedule_mode"};
constexpr std::string_view SCHEDULE_JSON[]{"algorithm", "weights", "weights", "weights", "weights"};
constexpr std::string_view VALUE_JSON[]{"cos_value"};

// Of the whole switch.
class Setting : public EntryKind {
 public:
  using EntryKind::EntryKind;
  [[nodiscard]] std::string describe(const Step& /*step*/) const override {
    return "set " + what();
  }

 protected:
  [[nodiscard]] virtual std::string what() const = 0;
};

class CosFlag : public EntryKind {
 public:
  using EntryKind::EntryKind;
  void read(SwitchReader& reader, const EntryKey& /*above*/) const override {
    reader.ask([this, &reader] {
      return reader.client.send_get_cos_flag(
          reader.policyd(), reader.store("read the cos flag", [this, &reader](bool flag) {
            reader.found(*this, {}, EntryValue{std::uint32_t{flag}});
          }));
    });
  }
  [[nodiscard]] bool send(EntrySender& sender, const Step& step) const override {
    return sender.client.send_set_cos_flag(sender.policyd, step.value.number(0) != 0, sender.done);
  }
  [[nodiscard]] std::string describe(const Step& /*step*/) const override {
    return "set the cos flag";
  }
};

class ScheduleMode : public EntryKind {
 public:
  using EntryKind::EntryKind;
  void read(SwitchReader& reader, const EntryKey& /*above*/) const override {
    reader.ask([this, &reader] {
      return reader.client.send_get_schedule_mode(
          reader.policyd(),
          reader.store("read the schedule mode", [this, &reader](std::uint32_t mode) {
            reader.found(*this, {}, EntryValue{mode});
          }));
    });
  }
  [[nodiscard]] bool send(EntrySender& sender, const Step& step) const override {
    return sender.client.send_set_schedule_mode(sender.policyd, step.value.number(0), sender.done);
  }
  [[nodiscard]] std::string describe(const Step& /*step*/) const override {
    return "set the schedule mode";
  }
};

class ScheduleAlgorithm : public EntryKind {
 public:
  static constexpr std::size_t WEIGHTS = 4;

  using EntryKind::EntryKind;
  void read(SwitchReader& reader, const EntryKey& /*above*/) const override {
    reader.ask([this, &reader] {
      return reader.client.send_get_schedule_algorithm(
          reader.policyd(),
          reader.store("read the schedule algorithm",
                       [this, &reader](std::uint32_t algorithm, const XrlAtomList& weights) {
                         require_size(WEIGHTS, weights);
                         reader.found(*this, {},
                                      EntryValue{algorithm, weights.u32_at(0), weights.u32_at(1),
                                                 weights.u32_at(2), weights.u32_at(3)});
                       }));
    });
  }
  [[nodiscard]] bool send(EntrySender& sender, const Step& step) const override {
    sender.list1.clear();
    for (std::size_t i = 0; i < WEIGHTS; ++i) sender.list1.append(step.value.number(1 + i));
    return sender.client.send_set_schedule_algorithm(sender.policyd, step.value.number(0),
                                                     sender.list1, sender.done);
  }
  [[nodiscard]] std::string describe(const Step& /*step*/) const override {
    return "set the schedule algorithm";
  }
};

EntryProblem refuse_of_a_vlan(const EntryKey& key) {
  if (!key.name.empty()) return {};
  return {"a VLAN has no class-of-service value.", "It stands below an 'interface' line."};
}

// Of each interface.
class CosValue : public EntryKind {
 public:
  using EntryKind::EntryKind;
  void read(SwitchReader& reader, const EntryKey& above) const override {
    if (above.name.empty()) return;
    reader.ask([this, &reader, above] {
      return reader.client.send_get_port_cos_value(
          reader.policyd(), std::string(above.name.view()),
          reader.store_if_there("read a cos-value", [this, &reader, above](std::uint32_t value) {
            reader.found_at(*this, above);
            reader.found(*this, above, EntryValue{value});
          }));
    });
  }
  [[nodiscard]] bool send(EntrySender& sender, const Step& step) const override {
    return sender.client.send_set_port_cos_value(sender.policyd, std::string(step.key.name.view()),
                                                 step.value.number(0), sender.done);
  }
  [[nodiscard]] std::string describe(const Step& step) const override {
    return "set the cos-value of " + name_of(*head_of(*this, step.key), key_above(*this, step.key));
  }
};

constexpr EntryFacts setting_facts(std::span<const StatementForm> forms, const Scope* below,
                                   Phase phase, std::span<const DefaultEntry> defaults,
                                   EntryProblem (*refused)(const EntryKey&), std::string_view reads,
                                   std::string_view sends, const JsonForm& json,
                                   std::string_view example) {
  return {
      .forms = forms,
      .below = below,
      .opens = nullptr,
      .key_arguments = std::size_t{0},
      .presence = Presence::ALWAYS,
      .defaults = defaults,
      .change = HowChanged::SET,
      .phase = phase,
      .uses = Use{nullptr, nullptr, {}, {}, {}},
      .missing = nullptr,
      .refused = refused,
      .said_twice = SETTING_SAID_TWICE,
      .reads = reads,
      .sends = sends,
      .json = json,
      .example = example,
  };
}

constinit const CosFlag FLAG_KIND(setting_facts(FLAG_FORMS, &TOP_LEVEL, Phase::SETTINGS, ZERO,
                                                nullptr, "get_cos_flag", "set_cos_flag",
                                                {"cos", "flag", false, FLAG_JSON},
                                                "cos flag on\n"));
constinit const ScheduleMode MODE_KIND(setting_facts(
    MODE_FORMS, &TOP_LEVEL, Phase::SETTINGS, ZERO, nullptr, "get_schedule_mode",
    "set_schedule_mode", {"cos", "schedule_mode", false, MODE_JSON}, "cos schedule mode 1\n"));
constinit const ScheduleAlgorithm SCHEDULE_KIND(setting_facts(
    SCHEDULE_FORMS, &TOP_LEVEL, Phase::SETTINGS, USUAL_SCHEDULE, nullptr, "get_schedule_algorithm",
    "set_schedule_algorithm", {"cos", "schedule_algorithm", false, SCHEDULE_JSON},
    "cos schedule algorithm 2 weights 12 8 4 1\n"));
constinit const CosValue VALUE_KIND(setting_facts(
    VALUE_FORMS, &AT_A_RECORD, Phase::BINDINGS, ZERO, refuse_of_a_vlan, "get_port_cos_value",
    "set_port_cos_value", {"", "cos_value", false, VALUE_JSON}, "  cos-value 3\n"));

}  // namespace

const EntryKind& COS_FLAG = FLAG_KIND;
const EntryKind& COS_SCHEDULE_MODE = MODE_KIND;
const EntryKind& COS_SCHEDULE_ALGORITHM = SCHEDULE_KIND;
const EntryKind& COS_VALUE = VALUE_KIND;
