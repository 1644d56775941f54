#include "tools/policyctl/entries/queue_map.h"

#include "tools/policyctl/entries/entry_sender.h"
#include "tools/policyctl/entries/switch_reader.h"

namespace {

constexpr std::uint32_t PRIORITIES = 8;

constexpr std::pair<std::string_view, std::string_view> QUEUE_SAID_TWICE{
    "the queue of this priority was said above already.", "Say it once."};

constexpr StatementForm PRIORITY_FORMS[]{
    {"cos priority PRIORITY queue QUEUE", "the queue of frames of a priority, kept by the daemon"}};
constexpr StatementForm MAPPING_FORMS[]{
    {"cos mapping PRIORITY queue QUEUE",
     "the queue of frames of a priority, as the line cards are programmed"}};

constexpr DefaultEntry SAME_QUEUE[]{{0, {0}, 1}, {1, {1}, 1}, {2, {2}, 1}, {3, {3}, 1},
                                    {4, {4}, 1}, {5, {5}, 1}, {6, {6}, 1}, {7, {7}, 1}};
constexpr DefaultEntry USUAL_MAPPING[]{{0, {2}, 1}, {1, {0}, 1}, {2, {1}, 1}, {3, {3}, 1},
                                       {4, {4}, 1}, {5, {5}, 1}, {6, {6}, 1}, {7, {7}, 1}};

constexpr std::string_view PAIR_JSON[]{"priority", "queue"};

class QueueMap : public EntryKind {
 public:
  using Get = decltype(&PolicydClient::send_get_priority_queue);
  using Set = decltype(&PolicydClient::send_set_priority_queue);
  struct Requests {
    const char* asked;
    Get get;
    const char* made;
    Set set;
  };

  constexpr QueueMap(const EntryFacts& facts, const Requests& requests)
      : EntryKind(facts), _requests(requests) {}

  // Priorities from 0 on.
  void read(SwitchReader& reader, const EntryKey& /*above*/) const override {
    XrlAtomList priorities;
    for (std::uint32_t priority = 0; priority < PRIORITIES; ++priority) priorities.append(priority);
    reader.ask_for(
        SwitchReader::Gone::IS_A_FAILURE, _requests.asked, _requests.get,
        [this, &reader](const XrlAtomList& queues) {
          require_size(PRIORITIES, queues);
          for (std::uint32_t priority = 0; priority < PRIORITIES; ++priority) {
            reader.found(*this, key_of(priority), EntryValue{queues.u32_at(priority)});
          }
        },
        priorities);
  }
  [[nodiscard]] bool send(EntrySender& sender, const Step& step) const override {
    sender.list1.clear();
    sender.list2.clear();
    for (std::size_t i = 0; i + 1 < step.value.count(); i += 2) {
      sender.list1.append(step.value.number(i));
      sender.list2.append(step.value.number(i + 1));
    }
    return (sender.client.*_requests.set)(sender.policyd, sender.list1, sender.list2, sender.done);
  }
  [[nodiscard]] std::string describe(const Step& /*step*/) const override { return _requests.made; }

 private:
  Requests _requests;
};

constexpr EntryFacts queue_facts(std::span<const StatementForm> forms,
                                 std::span<const DefaultEntry> defaults, Phase phase,
                                 std::string_view reads, std::string_view sends,
                                 std::string_view member, std::string_view example) {
  return {
      .forms = forms,
      .noun = "queue",
      .below = &TOP_LEVEL,
      .opens = nullptr,
      .key_arguments = std::size_t{1},
      .presence = Presence::ALWAYS,
      .defaults = defaults,
      .change = HowChanged::SET_ALL,
      .phase = phase,
      .uses = Use{nullptr, nullptr, {}, {}, {}},
      .missing = nullptr,
      .refused = nullptr,
      .said_twice = QUEUE_SAID_TWICE,
      .reads = reads,
      .sends = sends,
      .json = JsonForm{"cos", member, true, PAIR_JSON},
      .example = example,
  };
}

constinit const QueueMap PRIORITY_KIND(
    queue_facts(PRIORITY_FORMS, SAME_QUEUE, Phase::SETTINGS, "get_priority_queue",
                "set_priority_queue", "priority_queues", "cos priority 5 queue 5\n"),
    {"read the queues of priorities", &PolicydClient::send_get_priority_queue,
     "set the queues of priorities", &PolicydClient::send_set_priority_queue});
constinit const QueueMap MAPPING_KIND(queue_facts(MAPPING_FORMS, USUAL_MAPPING, Phase::LINE_CARDS,
                                                  "get_cos_mapping", "set_cos_mapping", "mapping",
                                                  "cos mapping 0 queue 2\n"),
                                      {"read the mapping", &PolicydClient::send_get_cos_mapping,
                                       "program the line cards' mapping",
                                       &PolicydClient::send_set_cos_mapping});

}  // namespace

const EntryKind& COS_PRIORITY = PRIORITY_KIND;
const EntryKind& COS_MAPPING = MAPPING_KIND;
