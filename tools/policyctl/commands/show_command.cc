#include "tools/policyctl/commands/show_command.h"

#include <ostream>

#include "tools/policyctl/commands/pager.h"
#include "tools/policyctl/commands/tables_of_switch.h"
#include "tools/policyctl/json/json_configuration.h"
#include "tools/policyctl/language/write_configuration.h"

namespace {

Configuration read(const Context& context, const SwitchParts& parts) {
  const auto session = context.connect();
  return read_switch(*session, parts);
}

std::string tables(const Context& context, const Selection& selection) {
  SwitchParts parts = selection.parts();
  // Lists are shown with how many hold them.
  parts.bindings = parts.bindings || parts.acls;
  Configuration configuration = read(context, parts);
  selection.require(configuration);
  return tables_of_switch(std::move(configuration), selection,
                          {window_of_output().columns, context.in_colour()});
}

std::string text(const Context& context, const Selection& selection) {
  Configuration configuration = read(context, selection.parts());
  selection.require(configuration);
  selection.narrow(configuration);
  return write_configuration(configuration);
}

}  // namespace

ExitStatus show_command(const Context& context, const Selection& selection, ShowAs show_as) {
  if (context.json) {
    Configuration configuration = read(context, selection.parts());
    selection.require(configuration);
    selection.narrow(configuration);
    print_configuration_json(context.out, configuration);
    return ExitStatus::DONE;
  }
  const bool as_tables =
      show_as == ShowAs::TABLES || (show_as == ShowAs::WHAT_FITS && context.out_is_terminal);
  const std::string shown = as_tables ? tables(context, selection) : text(context, selection);
  if (context.out_is_terminal) {
    print_paged(context.out, shown);
  } else {
    context.out << shown << std::flush;
  }
  return ExitStatus::DONE;
}
