#include "tools/policyctl/entries/record.h"

#include "framework/xrl/nearest_name.h"
#include "platform/interfaces/sif_xif.h"
#include "platform/interfaces/vlan_xif.h"
#include "tools/policyctl/entries/scopes.h"
#include "tools/policyctl/entries/switch_reader.h"
#include "tools/policyctl/language/configuration.h"
#include "tools/policyctl/language/words.h"

namespace {

constexpr StatementForm INTERFACE_FORMS[]{
    {"interface INTERFACE", "a port or aggregate; what is bound to it follows"}};
constexpr StatementForm VLAN_FORMS[]{{"vlan VLAN", "a VLAN; what is bound to it follows"}};
constexpr std::string_view INTERFACE_JSON[]{"interface"};
constexpr std::string_view VLAN_JSON[]{"vlan"};

// policyd knows what its managers told it: what it does not know is not there.
class Record : public EntryKind {
 public:
  using EntryKind::EntryKind;
  [[nodiscard]] bool send(EntrySender& /*sender*/, const Step& /*step*/) const override {
    return false;
  }
};

class Interfaces : public Record {
 public:
  using Record::Record;
  void read(SwitchReader& reader, const EntryKey& /*above*/) const override {
    static constexpr Manager MANAGER{"sif", "the interface manager 'sif'",
                                     "ask the interface manager 'sif' for the interfaces"};
    reader.ask_manager(*this, MANAGER, [this, &reader] {
      return XrlSifV0p1Client(reader.sender())
          .send_get_tree(
              MANAGER.target,
              reader.store_of(MANAGER,
                              [this, &reader](std::uint64_t, const XrlAtomList& names, const auto&,
                                              const auto&, const auto&, const auto&) {
                                for (const std::string_view name : names.texts()) {
                                  reader.ask_below(*this, key_of(name));
                                }
                              }));
    });
  }
};

class Vlans : public Record {
 public:
  using Record::Record;
  void read(SwitchReader& reader, const EntryKey& /*above*/) const override {
    static constexpr Manager MANAGER{"vlan", "the VLAN manager 'vlan'",
                                     "ask the VLAN manager 'vlan' for the VLANs"};
    reader.ask_manager(*this, MANAGER, [this, &reader] {
      return XrlVlanV0p1Client(reader.sender())
          .send_get_vlans(MANAGER.target,
                          reader.store_of(MANAGER, [this, &reader](const XrlAtomList& vlans) {
                            for (const std::uint32_t id : vlans.u32s()) {
                              reader.ask_below(*this, key_of(id));
                            }
                          }));
    });
  }
};

EntryProblem no_interface(const EntryKey& key, const Entries& present) {
  EntryProblem problem{"the switch has no interface " + as_word(key.name.view()) + ".", ""};
  const EntryMap& interfaces = present.of(INTERFACE);
  NearestName nearest(key.name.view());
  for (const auto& [other, value] : interfaces) nearest.consider(other.name.view());
  if (!nearest.name().empty()) {
    problem.advice = "Is '" + nearest.name() + "' meant?";
  } else if (!interfaces.empty()) {
    problem.advice = "Its interfaces have names like '" +
                     std::string(interfaces.begin()->first.name.view()) + "'.";
  }
  return problem;
}

EntryProblem no_vlan(const EntryKey& key, const Entries& /*present*/) {
  return {"the switch has no VLAN " + std::to_string(key.numbers[0]) + ".",
          "Create it at the VLAN manager first, or leave it out."};
}

EntryProblem refuse_without_name(const EntryKey& key) {
  if (!key.name.empty()) return {};
  return {"an interface has a name.", ""};
}

constexpr EntryFacts record_facts(std::span<const StatementForm> forms, std::string_view noun,
                                  EntryProblem (*missing)(const EntryKey&, const Entries&),
                                  EntryProblem (*refused)(const EntryKey&), const JsonForm& json,
                                  std::string_view example) {
  return {
      .forms = forms,
      .noun = noun,
      .below = &TOP_LEVEL,
      .opens = &AT_A_RECORD,
      .key_arguments = std::size_t{1},
      .presence = Presence::OUTSIDE,
      .defaults = std::span<const DefaultEntry>{},
      .change = HowChanged::NEVER,
      .phase = Phase::BINDINGS,
      .uses = Use{nullptr, nullptr, {}, {}, {}},
      .missing = missing,
      .refused = refused,
      .said_twice = std::pair<std::string_view, std::string_view>{},
      .reads = "",
      .sends = "",
      .json = json,
      .example = example,
  };
}

constinit const Interfaces INTERFACES(record_facts(INTERFACE_FORMS, "interface", no_interface,
                                                   refuse_without_name,
                                                   {"", "interfaces", true, INTERFACE_JSON},
                                                   "interface eth-0/3/1\n"));
constinit const Vlans VLANS(record_facts(VLAN_FORMS, "VLAN", no_vlan, nullptr,
                                         {"", "vlans", true, VLAN_JSON}, "vlan 20\n"));

}  // namespace

const EntryKind& INTERFACE = INTERFACES;
const EntryKind& VLAN = VLANS;
