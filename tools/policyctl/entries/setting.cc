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

class Setting : public EntryKind {
 public:
  constexpr Setting(const EntryFacts& facts, const char* what) : EntryKind(facts), _what(what) {}
  [[nodiscard]] std::string describe(const Step& /*step*/) const override {
    return std::string("set the ") + _what;
  }

 private:
  const char* _what;
};

class CosFlag : public Setting {
 public:
  using Setting::Setting;
  void read(SwitchReader& reader, const EntryKey& /*above*/) const override {
    reader.ask_for(
        SwitchReader::Gone::IS_A_FAILURE, "read the cos flag", &PolicydClient::send_get_cos_flag,
        [this, &reader](bool flag) { reader.found(*this, {}, EntryValue{std::uint32_t{flag}}); });
  }
  [[nodiscard]] bool send(EntrySender& sender, const Step& step) const override {
    return sender.client.send_set_cos_flag(sender.policyd, step.value.number(0) != 0, sender.done);
  }
};

class ScheduleMode : public Setting {
 public:
  using Setting::Setting;
  void read(SwitchReader& reader, const EntryKey& /*above*/) const override {
    reader.ask_for(SwitchReader::Gone::IS_A_FAILURE, "read the schedule mode",
                   &PolicydClient::send_get_schedule_mode, [this, &reader](std::uint32_t mode) {
                     reader.found(*this, {}, EntryValue{mode});
                   });
  }
  [[nodiscard]] bool send(EntrySender& sender, const Step& step) const override {
    return sender.client.send_set_schedule_mode(sender.policyd, step.value.number(0), sender.done);
  }
};

class ScheduleAlgorithm : public Setting {
 public:
  static constexpr std::size_t WEIGHTS = 4;

  using Setting::Setting;
  void read(SwitchReader& reader, const EntryKey& /*above*/) const override {
    reader.ask_for(SwitchReader::Gone::IS_A_FAILURE, "read the schedule algorithm",
                   &PolicydClient::send_get_schedule_algorithm,
                   [this, &reader](std::uint32_t algorithm, const XrlAtomList& weights) {
                     require_size(WEIGHTS, weights);
                     reader.found(*this, {},
                                  EntryValue{algorithm, weights.u32_at(0), weights.u32_at(1),
                                             weights.u32_at(2), weights.u32_at(3)});
                   });
  }
  [[nodiscard]] bool send(EntrySender& sender, const Step& step) const override {
    sender.list1.clear();
    for (std::size_t i = 0; i < WEIGHTS; ++i) sender.list1.append(step.value.number(1 + i));
    return sender.client.send_set_schedule_algorithm(sender.policyd, step.value.number(0),
                                                     sender.list1, sender.done);
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
    reader.ask_for(
        SwitchReader::Gone::IS_FINE, "read a cos-value", &PolicydClient::send_get_port_cos_value,
        [this, &reader, above](std::uint32_t value) {
          reader.found_at(*this, above);
          reader.found(*this, above, EntryValue{value});
        },
        std::string(above.name.view()));
  }
  [[nodiscard]] bool send(EntrySender& sender, const Step& step) const override {
    return sender.client.send_set_port_cos_value(sender.policyd, std::string(step.key.name.view()),
                                                 step.value.number(0), sender.done);
  }
  [[nodiscard]] std::string describe(const Step& step) const override {
    return "set the cos-value of " + head_name(*this, step.key);
  }
};

constexpr EntryFacts setting_facts(std::span<const StatementForm> forms, const Scope* below,
                                   Phase phase, std::span<const DefaultEntry> defaults,
                                   EntryProblem (*refused)(const EntryKey&), std::string_view reads,
                                   std::string_view sends, const JsonForm& json,
                                   std::string_view example) {
  return {
      .forms = forms,
      .noun = "setting",
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
                                                {"cos", "flag", false, FLAG_JSON}, "cos flag on\n"),
                                  "cos flag");
constinit const ScheduleMode MODE_KIND(setting_facts(MODE_FORMS, &TOP_LEVEL, Phase::SETTINGS, ZERO,
                                                     nullptr, "get_schedule_mode",
                                                     "set_schedule_mode",
                                                     {"cos", "schedule_mode", false, MODE_JSON},
                                                     "cos schedule mode 1\n"),
                                       "schedule mode");
constinit const ScheduleAlgorithm SCHEDULE_KIND(
    setting_facts(SCHEDULE_FORMS, &TOP_LEVEL, Phase::SETTINGS, USUAL_SCHEDULE, nullptr,
                  "get_schedule_algorithm", "set_schedule_algorithm",
                  {"cos", "schedule_algorithm", false, SCHEDULE_JSON},
                  "cos schedule algorithm 2 weights 12 8 4 1\n"),
    "schedule algorithm");
constinit const CosValue VALUE_KIND(setting_facts(
    VALUE_FORMS, &AT_A_RECORD, Phase::BINDINGS, ZERO, refuse_of_a_vlan, "get_port_cos_value",
    "set_port_cos_value", {"", "cos_value", false, VALUE_JSON}, "  cos-value 3\n"));

}  // namespace

const EntryKind& COS_FLAG = FLAG_KIND;
const EntryKind& COS_SCHEDULE_MODE = MODE_KIND;
const EntryKind& COS_SCHEDULE_ALGORITHM = SCHEDULE_KIND;
const EntryKind& COS_VALUE = VALUE_KIND;
