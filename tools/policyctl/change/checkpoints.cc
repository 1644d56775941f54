#include "tools/policyctl/change/checkpoints.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <optional>
#include <utility>

#include "tools/policyctl/change/local_time.h"
#include "tools/policyctl/change/state_file.h"
#include "tools/policyctl/language/write_configuration.h"

namespace {

constexpr std::string_view PREFIX = "checkpoint-";
constexpr std::string_view CHECKPOINT_HEAD = "# checkpoint of ";

std::string file_name(std::uint64_t serial) {
  char name[40];
  std::snprintf(name, sizeof name, "checkpoint-%010llu", static_cast<unsigned long long>(serial));
  return name;
}

constexpr std::string_view NOTHING_BOUND_IS_KNOWN = "# what is bound was not known\n";

// A switch without any interface or VLAN is one whose managers are not there.
bool knows_bindings(const Entries& entries) {
  return std::any_of(entry_kinds().begin(), entry_kinds().end(), [&](const EntryKind* kind) {
    return *kind->facts().presence == Presence::OUTSIDE && !entries.of(*kind).empty();
  });
}

// None of a file that is no checkpoint, whatever somebody put there.
std::optional<std::uint64_t> serial_of(std::string_view name) {
  std::uint64_t serial = 0;
  std::from_chars(name.data() + PREFIX.size(), name.data() + name.size(), serial);
  return file_name(serial) == name ? std::optional(serial) : std::nullopt;
}

// Ascending.
std::vector<std::uint64_t> serials_in(const StateDirectory& directory) {
  std::vector<std::uint64_t> serials;
  for (const std::string& name : directory.list(PREFIX)) {
    const std::optional<std::uint64_t> serial = serial_of(name);
    if (serial) serials.push_back(*serial);
  }
  std::sort(serials.begin(), serials.end());
  return serials;
}

}  // namespace

void keep_checkpoint(const StateDirectory& directory, const SwitchConfiguration& configuration,
                     const std::string& why) {
  const std::vector<std::uint64_t> serials = serials_in(directory);
  const std::uint64_t serial = serials.empty() ? 1 : serials.back() + 1;
  directory.write(file_name(serial), [&](Draft& draft) {
    draft.append(std::string(CHECKPOINT_HEAD) + local_time() + ", " + on_one_line(why) + "\n");
    if (!knows_bindings(configuration)) draft.append(NOTHING_BOUND_IS_KNOWN);
    write_configuration(configuration, Bare::LEFT_OUT,
                        [&draft](std::string_view piece) { draft.append(piece); });
  });
  if (serials.size() < MOST_CHECKPOINTS) return;
  for (std::size_t i = 0; i <= serials.size() - MOST_CHECKPOINTS; ++i) {
    directory.remove(file_name(serials[i]));
  }
}

bool lacks_bindings(std::string_view checkpoint) {
  return checkpoint.substr(checkpoint.find('\n') + 1).starts_with(NOTHING_BOUND_IS_KNOWN);
}

std::vector<Checkpoint> list_checkpoints(const StateDirectory& directory) {
  std::vector<Checkpoint> checkpoints;
  std::vector<std::uint64_t> serials = serials_in(directory);
  std::reverse(serials.begin(), serials.end());
  for (const std::uint64_t serial : serials) {
    const std::optional<std::string> line = directory.first_line(file_name(serial));
    if (!line || !line->starts_with(CHECKPOINT_HEAD)) continue;
    const std::string head = line->substr(CHECKPOINT_HEAD.size());
    const std::size_t comma = head.find(", ");
    if (comma == std::string::npos) continue;
    checkpoints.push_back({serial, head.substr(0, comma), head.substr(comma + 2)});
  }
  return checkpoints;
}

std::string read_checkpoint(const StateDirectory& directory, std::size_t number) {
  const std::vector<Checkpoint> checkpoints = list_checkpoints(directory);
  if (number == 0 || number > checkpoints.size()) {
    throw Failure(ExitStatus::REFUSED,
                  "there is no checkpoint " + std::to_string(number) + ", only " +
                      std::to_string(checkpoints.size()) + ".",
                  "See " + own_command("checkpoints") + ".");
  }
  std::optional<std::string> text = directory.read(file_name(checkpoints[number - 1].serial));
  if (text) return std::move(*text);
  throw Failure(ExitStatus::REFUSED,
                "checkpoint " + std::to_string(number) + " was dropped this moment.",
                "See " + own_command("checkpoints") + ".");
}
