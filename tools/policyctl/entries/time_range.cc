#include "tools/policyctl/entries/time_range.h"

#include "tools/policyctl/entries/entry_sender.h"
#include "tools/policyctl/entries/switch_reader.h"
#include "tools/policyctl/language/words.h"

namespace {

constexpr StatementForm TIME_RANGE_FORMS[]{
    {"time-range NAME NUMBER NUMBER SWITCH NUMBER NUMBER", "a named time range of five values"}};
constexpr std::string_view TIME_RANGE_JSON[]{"name", "number1", "number2",
                                             "flag", "number3", "number4"};

class TimeRanges : public EntryKind {
 public:
  using EntryKind::EntryKind;

  void read(SwitchReader& reader, const EntryKey& /*above*/) const override {
    reader.ask_for(SwitchReader::Gone::IS_A_FAILURE, "read the time ranges",
                   &PolicydClient::send_get_time_ranges,
                   [this, &reader](const XrlAtomList& names, const XrlAtomList& number1s,
                                   const XrlAtomList& number2s, const XrlAtomList& flags,
                                   const XrlAtomList& number3s, const XrlAtomList& number4s) {
                     require_size(names.size(), number1s, number2s, flags, number3s, number4s);
                     std::size_t i = 0;
                     for (const std::string_view name : names.texts()) {
                       reader.found(*this, key_of(name),
                                    EntryValue{number1s.u32_at(i), number2s.u32_at(i),
                                               std::uint32_t{flags.u32_at(i) != 0},
                                               number3s.u32_at(i), number4s.u32_at(i)});
                       ++i;
                     }
                   });
  }

  [[nodiscard]] bool send(EntrySender& sender, const Step& step) const override {
    const std::string name(step.key.name.view());
    if (step.verb == Verb::REMOVE) {
      return sender.client.send_delete_time_range(sender.policyd, name, sender.done);
    }
    const EntryValue& range = step.value;
    return sender.client.send_create_time_range(sender.policyd, name, range.number(0),
                                                range.number(1), range.number(2) != 0,
                                                range.number(3), range.number(4), sender.done);
  }
};

constinit const TimeRanges TIME_RANGE_KIND(EntryFacts{
    .forms = TIME_RANGE_FORMS,
    .noun = "time range",
    .below = &TOP_LEVEL,
    .opens = nullptr,
    .key_arguments = std::size_t{1},
    .presence = Presence::MADE,
    .defaults = std::span<const DefaultEntry>{},
    .change = HowChanged::REPLACED,
    .phase = Phase::NAMES,
    .uses = Use{nullptr, nullptr, {}, {}, {}},
    .missing = nullptr,
    .refused = nullptr,
    .said_twice = std::pair{std::string_view("a time range of this name stands above already."),
                            std::string_view("Say it once.")},
    .reads = "get_time_ranges",
    .sends = "create_time_range, delete_time_range",
    .json = JsonForm{"", "time_ranges", true, TIME_RANGE_JSON},
    .example = "time-range night 22 6 on 0 0\n",
});

}  // namespace

const EntryKind& TIME_RANGE = TIME_RANGE_KIND;
