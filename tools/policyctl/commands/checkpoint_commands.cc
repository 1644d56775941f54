#include "tools/policyctl/commands/checkpoint_commands.h"

#include <ostream>
#include <utility>

#include "framework/xrl/nearest_name.h"
#include "tools/policyctl/change/checkpoints.h"
#include "tools/policyctl/change/faults_at_switch.h"
#include "tools/policyctl/change/read_switch.h"
#include "tools/policyctl/commands/apply_commands.h"
#include "tools/policyctl/language/read_configuration.h"
#include "tools/policyctl/language/statement_match.h"
#include "tools/policyctl/language/words.h"
#include "tools/policyctl/language/write_configuration.h"
#include "tools/policyctl/render/json_configuration.h"
#include "tools/policyctl/render/json_output.h"
#include "tools/policyctl/render/print_plan.h"

namespace {

constexpr std::string_view CHECKPOINT = "checkpoint:";
constexpr std::string_view SWITCH = "switch";

SwitchConfiguration read_whole_switch(const Context& context) {
  const auto session = context.connect();
  return read_switch_for(*session, {});
}

// What is no file may be another side, misspelt.
SourceText read_file_of(const std::string& name) {
  try {
    return read_source(name);
  } catch (const Failure& failure) {
    NearestName nearest(name);
    nearest.consider(SWITCH);
    if (nearest.name().empty()) throw;
    throw Failure(failure.status(), failure.what(), "Is '" + nearest.name() + "' meant?");
  }
}

// One side of a comparison, whole. None when its text has faults, which are
// reported.
std::optional<SwitchConfiguration> side(const Context& context, const std::string& name) {
  if (name == SWITCH) return read_whole_switch(context);
  SourceText source;
  if (name.starts_with(CHECKPOINT)) {
    const std::optional<std::uint32_t> number =
        decimal_number(std::string_view(name).substr(CHECKPOINT.size()));
    if (!number) throw Failure(ExitStatus::USAGE, name + ": a checkpoint has a number.");
    source = {name, read_checkpoint(StateDirectory(context.place), *number)};
  } else {
    source = read_file_of(name);
  }
  ReadConfiguration read = read_configuration(source.text);
  if (!read.faults.empty()) {
    report_faults(context, source, read.faults);
    return std::nullopt;
  }
  return complete(std::move(read.configuration), {}, Unnamed::REMOVED);
}

// Sides of a comparison know the same interfaces and VLANs; what a side does not say
// of them is what policyd starts with.
void name_the_same(SwitchConfiguration& a, SwitchConfiguration& b) {
  for (const EntryKind* kind : entry_kinds()) {
    if (*kind->facts().presence == Presence::OUTSIDE) {
      EntryMap records = a.of(*kind);
      records.insert(b.of(*kind).begin(), b.of(*kind).end());
      a.of(*kind) = records;
      b.of(*kind) = std::move(records);
    }
    if (*kind->facts().presence != Presence::ALWAYS) continue;
    for (const auto& [key, value] : a.of(*kind))
      b.of(*kind).try_emplace(key, default_of(*kind, key));
    for (const auto& [key, value] : b.of(*kind))
      a.of(*kind).try_emplace(key, default_of(*kind, key));
  }
}

}  // namespace

ExitStatus save_command(const Context& context, const std::string& file) {
  const std::string text = write_configuration(read_whole_switch(context));
  const bool to_output = file == "-";
  if (!to_output || !context.json) write_file(context, file, text);
  if (context.json) {
    Json json = {{"file", text_json(file)}, {"bytes", text.size()}};
    if (to_output) json["text"] = text_json(text);
    print_json(context.out, json);
  } else if (!to_output) {
    context.out << "Saved to " << harmless_line(file) << ".\n";
  }
  return ExitStatus::DONE;
}

ExitStatus checkpoint_command(const Context& context, const std::string& why) {
  const StateDirectory directory(context.place);
  // Half of somebody's change is no configuration to go back to.
  const ChangeLock lock = directory.lock(context.patience, "checkpoint");
  const SwitchConfiguration configuration = read_whole_switch(context);
  keep_checkpoint(directory, configuration, why.empty() ? "by hand" : why);
  if (context.json) {
    print_json(context.out, {{"checkpoint", 1}});
  } else {
    context.out << "Kept as checkpoint 1.\n";
  }
  return ExitStatus::DONE;
}

ExitStatus checkpoints_command(const Context& context) {
  const std::vector<Checkpoint> checkpoints = list_checkpoints(StateDirectory(context.place));
  if (context.json) {
    Json list = Json::array();
    for (std::size_t i = 0; i < checkpoints.size(); ++i) {
      list.push_back({{"checkpoint", i + 1},
                      {"time", text_json(checkpoints[i].time)},
                      {"why", text_json(checkpoints[i].why)}});
    }
    print_json(context.out, {{"checkpoints", std::move(list)}});
    return ExitStatus::DONE;
  }
  if (checkpoints.empty()) context.out << "There are no checkpoints.\n";
  for (std::size_t i = 0; i < checkpoints.size(); ++i) {
    context.out << i + 1 << "  " << harmless_line(checkpoints[i].time) << "  "
                << harmless_line(checkpoints[i].why) << '\n';
  }
  return ExitStatus::DONE;
}

ExitStatus rollback_command(const Context& context, std::size_t number, std::uint32_t confirm_s) {
  const std::string what = "rollback " + std::to_string(number);
  SourceText source{std::string(CHECKPOINT) + std::to_string(number),
                    read_checkpoint(StateDirectory(context.place), number)};
  ApplyOptions options;
  options.unnamed = Unnamed::REMOVED;
  options.confirm_s = confirm_s;
  options.without_gone = true;
  options.keeps_bindings = lacks_bindings(source.text);
  return apply_text(context, std::move(source), what, options);
}

ExitStatus diff_command(const Context& context, const std::string& from, const std::string& to) {
  std::optional<SwitchConfiguration> before = side(context, from);
  if (!before) return ExitStatus::BAD_FILE;
  std::optional<SwitchConfiguration> after = side(context, to);
  if (!after) return ExitStatus::BAD_FILE;
  name_the_same(*before, *after);
  const Plan plan(*before, std::move(*after));
  if (context.json) {
    print_plan_json(context.out, plan);
  } else {
    print_plan(context.out, plan, context.in_colour());
  }
  return plan.empty() ? ExitStatus::DONE : ExitStatus::DIFFERS;
}
