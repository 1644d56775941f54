// The lines of the shell that are commands and no statements of the language.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tools/policyctl/language/fault.h"
#include "tools/policyctl/language/statement_match.h"
#include "tools/policyctl/language/statements.h"
#include "tools/policyctl/language/words.h"

class Shell;

// One form of a command; several may begin alike.
struct CommandForm {
  std::string pattern;  // as of a statement
  // TOP: anywhere.
  const Scope* context;
  std::string_view help;
  void (*run)(Shell& shell, const struct FormMatch& match);
};

struct FormMatch {
  const CommandForm* form = nullptr;
  std::span<const Word> words;
  std::vector<StatementValues::Value> arguments;  // those given, in their order

  [[nodiscard]] bool ends_with(std::string_view word) const { return words.back().text == word; }
};

class CommandForms {
 public:
  explicit CommandForms(std::vector<CommandForm> forms);

  [[nodiscard]] const std::vector<CommandForm>& all() const { return _forms; }
  // Whether a form begins with this word.
  [[nodiscard]] bool begin_with(std::string_view word, const Scope* context) const;
  // What is wrong with the words, of which the first begins a form, or nothing,
  // and then `match` is the form.
  std::optional<Fault> match(const Scope* context, std::span<const Word> words,
                             FormMatch& match) const;
  // Adds what may follow `words`, as expected_after() does for statements.
  void expect_after(const Scope* context, std::span<const Word> words, Expected& expected) const;
  // The forms that begin with `words`, wherever they may stand.
  [[nodiscard]] std::vector<const CommandForm*> beginning_with(
      const std::vector<std::string>& words) const;
  // The help of the forms that begin with `words`, when it is the same.
  [[nodiscard]] std::string_view help_of(const Scope* context, std::span<const Word> words) const;

 private:
  [[nodiscard]] bool may_stand(std::size_t form, const Scope* context) const;
  [[nodiscard]] std::size_t fitting_words(std::size_t form, std::span<const Word> words) const;

  std::vector<CommandForm> _forms;
  std::vector<std::vector<PatternElement>> _patterns;
};
