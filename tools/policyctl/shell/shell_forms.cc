#include "tools/policyctl/shell/shell_forms.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace {

using Kind = PatternElement::Kind;

struct ShellForm {
  const Command* command;
  std::size_t options_at;  // the place of the first word that is of an option
};

class FormsMaker {
 public:
  void add(const Command& command) {
    CommandForm form{"", &TOP_LEVEL, command.help, {}};
    if (!command.name.empty()) append(form, {Kind::LITERAL, command.name, nullptr, false});
    for (const CommandArgument& each : command.arguments) {
      if (!can_be_typed(each.typed, Where::SHELL)) continue;
      const std::vector<ArgumentForm> ways = forms_of(each.type);
      if (!ways.empty()) return add_ways(command, form, each, ways);
      const std::size_t most = takes_many_words(each.type) ? MOST_WORDS : 1;
      for (std::size_t i = 0; i < most; ++i) {
        append(form, {Kind::ARGUMENT, each.type.name, &each.type, each.optional});
      }
    }
    finish(command, std::move(form));
  }

  std::vector<CommandForm> forms;
  std::vector<ShellForm> calls;

 private:
  static constexpr std::size_t MOST_WORDS = 2;

  static void append(CommandForm& form, const PatternElement& element) {
    const std::string word(element.word);
    if (!form.elements.empty()) form.pattern += ' ';
    form.pattern += element.optional ? "[" + word + "]" : word;
    form.elements.push_back(element);
  }

  void add_ways(const Command& command, const CommandForm& begin, const CommandArgument& argument,
                const std::vector<ArgumentForm>& ways) {
    if (argument.optional) finish(command, begin);
    for (const ArgumentForm& way : ways) {
      CommandForm form = begin;
      form.context = way.scope;
      for (const PatternElement& element : parse_pattern(way.words)) append(form, element);
      finish(command, std::move(form));
    }
  }

  void finish(const Command& command, CommandForm form) {
    calls.push_back({&command, form.elements.size()});
    for (const CommandOption& option : command.options) {
      if (!can_be_typed(option.typed, Where::SHELL)) continue;
      form.elements.push_back({Kind::LITERAL, option.name, nullptr, true});
      form.pattern += " [" + std::string(option.name);
      if (option.takes_value()) {
        form.elements.push_back({Kind::ARGUMENT, option.value.name, &option.value, false});
        form.pattern += " " + std::string(option.value.name);
      }
      form.pattern += "]";
    }
    forms.push_back(std::move(form));
  }
};

const FormsMaker& made() {
  static const FormsMaker MADE = [] {
    FormsMaker maker;
    for (const Command& command : commands()) {
      if (can_be_typed(command.typed, Where::SHELL)) maker.add(command);
    }
    return maker;
  }();
  return MADE;
}

}  // namespace

const CommandForms& shell_forms() {
  static const CommandForms FORMS(made().forms);
  return FORMS;
}

Call shell_call(Context& context, std::size_t form, std::span<const Word> words) {
  const auto [command, options_at] = made().calls[form];
  Call call{context, *command};
  const std::size_t begin = command->name.empty() ? 0 : 1;
  const std::size_t end = std::min(options_at, words.size());
  for (std::size_t i = begin; i < end; ++i) call.words.emplace_back(words[i].text);
  for (std::size_t i = end; i < words.size(); ++i) {
    std::string& value = call.options[std::string(words[i].text)];
    const auto& elements = shell_forms().all()[form].elements;
    const bool takes_value =
        i + 1 < elements.size() && elements[i + 1].kind == PatternElement::Kind::ARGUMENT;
    if (takes_value) value = words[++i].text;
  }
  return call;
}
