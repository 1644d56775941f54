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
  using EntryKind::EntryKind;

 protected:
  // A callback that stores the queue of each priority from 0 on.
  auto store(SwitchReader& reader, const char* what) const {
    return reader.store(what, [this, &reader](const XrlAtomList& queues) {
      require_size(PRIORITIES, queues);
      for (std::uint32_t priority = 0; priority < PRIORITIES; ++priority) {
        reader.found(*this, key_of(priority), EntryValue{queues.u32_at(priority)});
      }
    });
  }
  static XrlAtomList priorities() {
    XrlAtomList list;
    for (std::uint32_t priority = 0; priority < PRIORITIES; ++priority) list.append(priority);
    return list;
  }
  static void fill_lists(EntrySender& sender, const Step& step) {
    sender.list1.clear();
    sender.list2.clear();
    for (const auto& [priority, queue] : queues_of(step)) {
      sender.list1.append(priority);
      sender.list2.append(queue);
    }
  }
};

class PriorityQueues : public QueueMap {
 public:
  using QueueMap::QueueMap;
  void read(SwitchReader& reader, const EntryKey& /*above*/) const override {
    reader.ask([this, &reader] {
      return reader.client.send_get_priority_queue(reader.policyd(), priorities(),
                                                   store(reader, "read the queues of priorities"));
    });
  }
  [[nodiscard]] bool send(EntrySender& sender, const Step& step) const override {
    fill_lists(sender, step);
    return sender.client.send_set_priority_queue(sender.policyd, sender.list1, sender.list2,
                                                 sender.done);
  }
  [[nodiscard]] std::string describe(const Step& /*step*/) const override {
    return "set the queues of priorities";
  }
};

class Mapping : public QueueMap {
 public:
  using QueueMap::QueueMap;
  void read(SwitchReader& reader, const EntryKey& /*above*/) const override {
    reader.ask([this, &reader] {
      return reader.client.send_get_cos_mapping(reader.policyd(), priorities(),
                                                store(reader, "read the mapping"));
    });
  }
  [[nodiscard]] bool send(EntrySender& sender, const Step& step) const override {
    fill_lists(sender, step);
    return sender.client.send_set_cos_mapping(sender.policyd, sender.list1, sender.list2,
                                              sender.done);
  }
  [[nodiscard]] std::string describe(const Step& /*step*/) const override {
    return "program the line cards' mapping";
  }
};

constexpr EntryFacts queue_facts(std::span<const StatementForm> forms,
                                 std::span<const DefaultEntry> defaults, Phase phase,
                                 std::string_view reads, std::string_view sends,
                                 std::string_view member, std::string_view example) {
  return {
      .forms = forms,
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

constinit const PriorityQueues PRIORITY_KIND(queue_facts(PRIORITY_FORMS, SAME_QUEUE,
                                                         Phase::SETTINGS, "get_priority_queue",
                                                         "set_priority_queue", "priority_queues",
                                                         "cos priority 5 queue 5\n"));
constinit const Mapping MAPPING_KIND(queue_facts(MAPPING_FORMS, USUAL_MAPPING, Phase::LINE_CARDS,
                                                 "get_cos_mapping", "set_cos_mapping", "mapping",
                                                 "cos mapping 0 queue 2\n"));

}  // namespace

const EntryKind& COS_PRIORITY = PRIORITY_KIND;
const EntryKind& COS_MAPPING = MAPPING_KIND;

Queues queues_of(const EntryMap& map) {
  Queues queues;
  for (const auto& [key, value] : map) queues.emplace(key.numbers[0], value.number(0));
  return queues;
}

Queues queues_of(const Step& step) {
  Queues queues;
  for (std::size_t i = 0; i + 1 < step.value.count(); i += 2) {
    queues.emplace(step.value.number(i), step.value.number(i + 1));
  }
  return queues;
}
