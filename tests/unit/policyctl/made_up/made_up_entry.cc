#include "tests/unit/policyctl/made_up/made_up_entry.h"

namespace {

constexpr StatementForm FORMS[]{{"mirror RULE queue QUEUE [description TEXT]", "made up"}};
constexpr std::string_view JSON[]{"mirror", "queue", "description"};

class MadeUp : public EntryKind {
 public:
  using EntryKind::EntryKind;
  void read(SwitchReader& /*reader*/, const EntryKey& /*above*/) const override {}
  [[nodiscard]] bool send(EntrySender& /*sender*/, const Step& /*step*/) const override {
    return true;
  }
};

constinit const MadeUp KIND(EntryFacts{
    .forms = FORMS,
    .noun = "mirror",
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
    .said_twice = std::pair{std::string_view("this mirror stands above already."),
                            std::string_view("Say it once.")},
    .reads = "get_mirrors",
    .sends = "create_mirror",
    .json = JsonForm{"", "mirrors", true, JSON},
    .example = "mirror 1 queue 2\n",
});

}  // namespace

const EntryKind& MADE_UP = KIND;
