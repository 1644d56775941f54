#include "tools/policyctl/import/flat_parts.h"

#include "tools/policyctl/entries/queue_map.h"
#include "tools/policyctl/language/joined.h"
#include "tools/policyctl/language/statement_match.h"

namespace {

constexpr std::uint32_t LAST_PRIORITY = 7;
constexpr std::uint32_t LAST_QUEUE = 7;
constexpr const char* ONE_MAP = "policyd has one map for the whole switch; this one is left out.";

// The map from traffic classes to queues that goes with the map `name`.
const FlatEntry* queue_map_for(const FlatTables& tables, const std::string& name) {
  const std::vector<FlatEntry>& maps = tables.entries("TC_TO_QUEUE_MAP");
  for (const FlatEntry& map : maps) {
    if (map.key == name) return &map;
  }
  return maps.size() == 1 ? &maps.front() : nullptr;
}

// Of a priority whose traffic class is `traffic_class`.
void map_priority(std::uint32_t priority, const FlatEntry& queues, const JsonValue& traffic_class,
                  const std::string& path, Entries& entries, ImportLog& log) {
  const JsonValue* const queue_value = queues.value->find(traffic_class.text);
  if (queue_value == nullptr) {
    return log.note(path, "traffic class " + describe(traffic_class),
                    queues.path + " gives it no queue; the priority is left out.");
  }
  const std::string queue_path = json_path(queues.path, traffic_class.text);
  const std::optional<std::uint32_t> queue = log.number(queue_path, *queue_value);
  if (!queue) return;
  if (*queue > LAST_QUEUE) {
    return log.note(queue_path, describe(*queue_value),
                    "policyd has queues 0 to 7; the priority is left out.");
  }
  entries.put(COS_MAPPING, key_of(priority), EntryValue{*queue});
}

void map_priorities(const FlatEntry& map, const FlatEntry& queues, Entries& entries,
                    ImportLog& log) {
  for (const auto& [name, traffic_class] : map.value->members) {
    const std::string path = json_path(map.path, name);
    const std::optional<std::uint32_t> priority = decimal_number(name);
    if (!priority || *priority > LAST_PRIORITY) {
      log.fault(path, "the name is no 802.1p priority 0..7.");
    } else if (log.scalar(path, traffic_class)) {
      map_priority(*priority, queues, traffic_class, path, entries, log);
    }
  }
}

void import_priority_maps(const FlatTables& tables, Entries& entries, ImportLog& log) {
  const std::vector<FlatEntry>& maps = tables.entries("DOT1P_TO_TC_MAP");
  const FlatEntry* used = nullptr;
  for (const FlatEntry& map : maps) {
    if (&map != &maps.front()) {
      log.note(map.path, counted(map.value->members.size(), "priority", "priorities"), ONE_MAP);
      continue;
    }
    used = queue_map_for(tables, map.key);
    if (used == nullptr) {
      log.note(map.path, "no TC_TO_QUEUE_MAP",
               "traffic classes lead to queues by a map of the same name; there is none.");
    } else {
      map_priorities(map, *used, entries, log);
    }
  }
  for (const FlatEntry& map : tables.entries("TC_TO_QUEUE_MAP")) {
    if (&map == used) continue;
    log.note(map.path, counted(map.value->members.size(), "traffic class", "traffic classes"),
             "no map of priorities leads to it.");
  }
}

}  // namespace

void import_flat_cos(const FlatTables& tables, Entries& entries, ImportLog& log) {
  import_priority_maps(tables, entries, log);
  for (const FlatEntry& map : tables.entries("DSCP_TO_TC_MAP")) {
    log.note(map.path, counted(map.value->members.size(), "value"),
             "queues of DSCP values are set by a command; a configuration does not hold them.");
  }
  import_flat_schedule(tables, entries, log);
}
