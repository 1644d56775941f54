#include "tools/policyctl/change/read_switch.h"

#include "tools/policyctl/entries/switch_reader.h"

SwitchParts all_parts() {
  SwitchParts parts;
  for (const EntryKind* kind : entry_kinds()) {
    if (*kind->facts().below == &TOP_LEVEL) parts.push_back(kind);
  }
  return parts;
}

ReadSwitch read_parts(SwitchSession& session, const SwitchParts& parts) {
  SwitchReader reader(session);
  ReadSwitch read;
  read.configuration = SwitchConfiguration(reader.read(parts));
  for (const auto& [kind, manager] : reader.absent()) {
    read.unknown.push_back(kind);
    read.why_unknown += (read.why_unknown.empty() ? "" : " and ") + std::string(manager->name);
  }
  if (!read.unknown.empty()) {
    read.why_unknown += read.unknown.size() == 1 ? " is not there." : " are not there.";
  }
  return read;
}

Failure unknown_part_failure(const ReadSwitch& read) {
  return Failure(ExitStatus::NOT_REACHABLE, read.why_unknown,
                 "Start it; without it nobody knows what there is to be bound to.");
}

SwitchConfiguration read_switch_for(SwitchSession& session, const Entries& named) {
  ReadSwitch read = read_parts(session, all_parts());
  for (const EntryKind* kind : read.unknown) {
    if (!named.of(*kind).empty()) throw unknown_part_failure(read);
  }
  return std::move(read.configuration);
}

SwitchConfiguration read_switch(SwitchSession& session, const SwitchParts& parts) {
  ReadSwitch read = read_parts(session, parts);
  if (!read.unknown.empty()) throw unknown_part_failure(read);
  return std::move(read.configuration);
}

Entries read_names(SwitchSession& session, const EntryKind& kind, const EntryKey& above) {
  return SwitchReader(session).read_names(kind, above);
}
