#include "tools/policyctl/entries/required_form.h"

#include <utility>

#include "tools/policyctl/failure.h"
#include "tools/policyctl/language/command_forms.h"
#include "tools/policyctl/language/joined.h"

std::size_t require_form(const std::vector<std::string_view>& forms,
                         const std::vector<std::string>& words) {
  if (words.empty()) {
    throw Failure(ExitStatus::USAGE, "nothing is named.", "The forms are: " + joined(forms) + ".");
  }
  std::vector<CommandForm> table;
  table.reserve(forms.size());
  for (const std::string_view form : forms) {
    table.push_back({std::string(form), &TOP_LEVEL, {}, parse_pattern(form)});
  }
  std::vector<Word> given;
  given.reserve(words.size());
  for (const std::string& word : words) given.push_back({word, given.size() + 1, 1, false});
  std::size_t form = 0;
  const std::optional<Fault> fault = CommandForms(std::move(table)).match(&TOP_LEVEL, given, form);
  if (!fault) return form;
  const bool is_behind_all = fault->column > given.size();
  throw Failure(
      ExitStatus::USAGE,
      is_behind_all ? "something is missing behind '" + words.back() + "'." : fault->message,
      fault->advice);
}
