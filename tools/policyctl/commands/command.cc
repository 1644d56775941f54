#include "tools/policyctl/commands/command.h"

#include <algorithm>

#include "tools/policyctl/entries/object_uses.h"
#include "tools/policyctl/entries/selection.h"
#include "tools/policyctl/import/import_text.h"
#include "tools/policyctl/language/statement_match.h"

std::string Call::text(std::size_t place) const {
  return place < words.size() ? words[place] : std::string();
}

std::uint32_t Call::number(std::size_t place) const {
  return decimal_number(text(place)).value_or(0);
}

std::uint32_t Call::option_number(const std::string& option, std::uint32_t otherwise) const {
  const auto at = options.find(option);
  return at == options.end() ? otherwise : decimal_number(at->second).value_or(otherwise);
}

double Call::option_seconds(const std::string& option, double otherwise) const {
  const auto at = options.find(option);
  return at == options.end() ? otherwise : std::stod(at->second);
}

const Command* find_command(std::string_view name) {
  const auto all = commands();
  const auto at = std::find_if(all.begin(), all.end(), [name](const Command& each) {
    return each.name == name && can_be_typed(each.typed, Where::COMMAND_LINE);
  });
  return at == all.end() ? nullptr : &*at;
}

std::vector<ArgumentForm> forms_of(const Argument& argument) {
  std::vector<ArgumentForm> forms;
  if (argument.names == Named::SELECTIONS) {
    for (const std::string_view form : selection_forms()) forms.push_back({form, &TOP_LEVEL});
  } else if (argument.names > Named::SELECTIONS) {
    for (const ObjectForm* form : object_forms(argument.names)) {
      forms.push_back({form->words, form->scope});
    }
  }
  return forms;
}

bool takes_many_words(const Argument& argument) {
  return argument.names == Named::TOPICS || argument.names >= Named::SELECTIONS;
}

std::string help_of(const Argument& argument) {
  std::string help;
  if (argument.names == Named::FORMATS) {
    for (const ImportFormat& format : import_formats()) {
      help +=
          (help.empty() ? "" : "; ") + std::string(format.name) + ": " + std::string(format.help);
    }
  }
  for (const ArgumentForm& form : forms_of(argument)) {
    help += (help.empty() ? "" : ", ") + std::string(form.words);
  }
  return help + std::string(argument.help);
}

std::string usage_of(const Command& command, Where where) {
  std::string usage(command.name);
  for (const CommandArgument& each : command.arguments) {
    if (!can_be_typed(each.typed, where)) continue;
    const std::string word =
        std::string(each.type.name) + (takes_many_words(each.type) ? "..." : "");
    usage += (usage.empty() ? "" : " ") + (each.optional ? "[" + word + "]" : word);
  }
  return usage;
}
