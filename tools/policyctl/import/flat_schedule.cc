#include "tools/policyctl/import/flat_parts.h"

#include <array>
#include <map>
#include <set>

#include "tools/policyctl/entries/setting.h"
#include "tools/policyctl/language/joined.h"
#include "tools/policyctl/language/statement_match.h"

namespace {

constexpr std::uint32_t WEIGHTED_QUEUES = 4;
constexpr std::uint32_t MOST_QUEUES = 64;  // that a key may name
constexpr std::string_view WEIGHTED = "DWRR";

using Schedulers = std::map<std::uint32_t, std::string>;  // of a port, by queue

class FlatSchedule {
 public:
  FlatSchedule(const FlatTables& tables, Entries& entries, ImportLog& log)
      : _tables(tables), _entries(entries), _log(log) {}

  void import() {
    for (const FlatEntry& entry : _tables.entries("SCHEDULER")) read_scheduler(entry);
    for (const FlatEntry& entry : _tables.entries("QUEUE")) read_queue(entry);
    for (const auto& [member, count] : _other_members) {
      _log.note("QUEUE", printable(member) + " of " + counted(count, "entry", "entries"),
                "policyd has nothing like it.");
    }
    if (_weights.empty() && _ports.empty()) return;
    const std::string problem = settle();
    if (!problem.empty()) {
      const char* const table = _tables.entries("QUEUE").empty() ? "SCHEDULER" : "QUEUE";
      return _log.note(table, counted(_tables.entries(table).size(), "entry", "entries"),
                       problem + "; the schedule is left out.");
    }
    _log.note("SCHEDULER", "type DWRR",
              "the algorithms of policyd have numbers and no names; check that 0 is meant.");
  }

 private:
  void read_scheduler(const FlatEntry& entry) {
    std::optional<std::uint32_t>& weight = _weights[entry.key];
    bool is_weighted = false;
    for (const auto& [member, value] : entry.value->members) {
      const std::string path = json_path(entry.path, member);
      if (member == "weight") {
        weight = _log.number(path, value);
      } else if (member == "type" && value.text == WEIGHTED) {
        is_weighted = true;
      } else {
        _log.note(path, describe(value), "policyd has nothing like it.");
      }
    }
    if (!is_weighted) weight.reset();
  }

  void read_queue(const FlatEntry& entry) {
    const std::size_t at = entry.key.rfind('|');
    if (at == std::string::npos) return _log.fault(entry.path, "an entry is named PORT|QUEUE.");
    const std::string_view queues = std::string_view(entry.key).substr(at + 1);
    const std::size_t dash = queues.find('-');
    const std::optional<std::uint32_t> first = decimal_number(queues.substr(0, dash));
    const std::optional<std::uint32_t> last =
        dash == std::string_view::npos ? first : decimal_number(queues.substr(dash + 1));
    if (!first || !last || *first > *last || *last >= MOST_QUEUES) {
      return _log.fault(entry.path, "the key names no queue or range of queues.");
    }
    Schedulers& schedulers = _ports[entry.key.substr(0, at)];
    for (const auto& [member, value] : entry.value->members) {
      if (member != "scheduler") {
        ++_other_members[member];
        continue;
      }
      if (!_log.scalar(json_path(entry.path, member), value)) continue;
      for (std::uint32_t queue = *first; queue <= *last; ++queue) {
        schedulers[queue] = scheduler_named(value.text);
      }
    }
  }

  // References stand as "NAME" or "[SCHEDULER|NAME]".
  static std::string scheduler_named(std::string_view reference) {
    constexpr std::string_view HEAD = "[SCHEDULER|";
    if (reference.starts_with(HEAD) && reference.ends_with(']')) {
      reference.remove_prefix(HEAD.size());
      reference.remove_suffix(1);
    }
    return std::string(reference);
  }

  // Enters the schedule; or why it cannot be said.
  std::string settle() {
    if (_ports.empty()) return "no QUEUE names a scheduler";
    const Schedulers& schedulers = _ports.begin()->second;
    for (const auto& [port, others] : _ports) {
      if (others != schedulers) return "policyd has one schedule for all ports, and they differ";
    }
    for (const FlatEntry& port : _tables.entries("PORT")) {
      if (_ports.count(port.key) == 0) {
        return "policyd has one schedule for all ports, and some have none here";
      }
    }
    if (schedulers.size() != WEIGHTED_QUEUES || schedulers.rbegin()->first >= WEIGHTED_QUEUES) {
      return "policyd has weights of queues 0 to 3, all of them and no others";
    }
    std::array<std::uint32_t, 1 + WEIGHTED_QUEUES> schedule{};
    for (const auto& [queue, name] : schedulers) {
      const auto weight = _weights.find(name);
      if (weight == _weights.end() || !weight->second) {
        return "queue " + std::to_string(queue) + " has no scheduler with a DWRR weight";
      }
      schedule.at(1 + queue) = *weight->second;
    }
    _entries.put(COS_SCHEDULE_ALGORITHM, {}, EntryValue(schedule));
    return {};
  }

  const FlatTables& _tables;
  Entries& _entries;
  ImportLog& _log;
  std::map<std::string, std::optional<std::uint32_t>> _weights;  // by scheduler; none: not weighted
  std::map<std::string, Schedulers> _ports;
  std::map<std::string, std::size_t> _other_members;  // of QUEUE entries, how often
};

}  // namespace

void import_flat_schedule(const FlatTables& tables, Entries& entries, ImportLog& log) {
  FlatSchedule(tables, entries, log).import();
}
