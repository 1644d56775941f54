#include "tools/policyctl/commands/show_command.h"

#include <ostream>

#include "tools/policyctl/commands/pager.h"
#include "tools/policyctl/commands/tables_of_switch.h"
#include "tools/policyctl/json/json_output.h"
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
    print_json(context.out, configuration_json(configuration));
  } else if (!context.out_is_terminal) {
    context.out << text(context, selection) << std::flush;
  } else {
    print_paged(context.out,
                show_as == ShowAs::TEXT ? text(context, selection) : tables(context, selection));
  }
  return ExitStatus::DONE;
}
