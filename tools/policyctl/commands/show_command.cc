#include "tools/policyctl/commands/show_command.h"

#include <algorithm>
#include <ostream>

#include "tools/policyctl/change/journal.h"
#include "tools/policyctl/change/read_switch.h"
#include "tools/policyctl/entries/object_uses.h"
#include "tools/policyctl/language/words.h"
#include "tools/policyctl/language/write_configuration.h"
#include "tools/policyctl/render/json_configuration.h"
#include "tools/policyctl/render/pager.h"
#include "tools/policyctl/render/tables_of_switch.h"

namespace {

// What nobody knows is left out where all was asked for, and that is said.
SwitchConfiguration read(const Context& context, const Selection& selection,
                         const SwitchParts& parts) {
  const auto session = context.connect();
  ReadSwitch read = read_parts(*session, parts);
  if (read.unknown.empty()) return std::move(read.configuration);
  const bool is_needed = !selection.kind().empty() &&
                         std::any_of(read.unknown.begin(), read.unknown.end(),
                                     [&](const EntryKind* kind) { return selection.has(*kind); });
  if (is_needed) throw unknown_part_failure(read);
  context.err << "policyctl: " << read.why_unknown << " What is bound there is left out.\n";
  return std::move(read.configuration);
}

std::string tables(const Context& context, const Selection& selection) {
  // Lists are shown with how many hold them.
  const auto& parts = selection.parts();
  const bool counts_uses =
      std::any_of(parts.begin(), parts.end(), [](const EntryKind* kind) { return is_used(*kind); });
  SwitchConfiguration configuration = read(context, selection, counts_uses ? all_parts() : parts);
  selection.require(configuration);
  return tables_of_switch(std::move(configuration), selection,
                          {window_of_output().columns, context.in_colour()});
}

SwitchConfiguration selected(const Context& context, const Selection& selection) {
  SwitchConfiguration configuration = read(context, selection, selection.parts());
  selection.require(configuration);
  selection.narrow(configuration);
  return configuration;
}

// What is kept is of no concern to who only looks.
void tell_of_unwatched_change(const Context& context) {
  try {
    const std::string change = unwatched_change(StateDirectory(context.place));
    if (!change.empty()) context.err << "policyctl: " << harmless(change) << '\n';
  } catch (const Failure&) {
    return;
  }
}

}  // namespace

ExitStatus show_command(const Context& context, const Selection& selection, ShowAs show_as) {
  tell_of_unwatched_change(context);
  if (context.json) {
    print_configuration_json(context.out, selected(context, selection));
    return ExitStatus::DONE;
  }
  const bool as_tables =
      show_as == ShowAs::TABLES || (show_as == ShowAs::WHAT_FITS && context.out_is_terminal);
  const std::string shown =
      as_tables ? tables(context, selection) : write_configuration(selected(context, selection));
  if (context.out_is_terminal) {
    print_paged(context.out, shown);
  } else {
    context.out << shown << std::flush;
  }
  return ExitStatus::DONE;
}
