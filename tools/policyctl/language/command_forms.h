// Forms of words that are no statements of the language: of the shell's commands, and
// of what command lines name.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tools/policyctl/language/fault.h"
#include "tools/policyctl/language/statement_match.h"
#include "tools/policyctl/language/statements.h"
#include "tools/policyctl/language/words.h"

// One form of a command; several may begin alike.
struct CommandForm {
  std::string pattern;  // as of a statement
  // TOP: anywhere.
  const Scope* context;
  std::string_view help;
  std::vector<PatternElement> elements;
};

class CommandForms {
 public:
  explicit CommandForms(std::vector<CommandForm> forms) : _forms(std::move(forms)) {}

  [[nodiscard]] const std::vector<CommandForm>& all() const { return _forms; }
  // Whether a form begins with this word.
  [[nodiscard]] bool begin_with(std::string_view word, const Scope* context) const;
  // What is wrong with the words, or nothing, and then `form` is the place among all()
  // of what they are.
  std::optional<Fault> match(const Scope* context, std::span<const Word> words,
                             std::size_t& form) const;
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
};

// The place among `forms`, which are in the notation of statements, of the one that
// `words` are. Throws Failure USAGE when they are none: which word is wrong, and
// what may stand there.
[[nodiscard]] std::size_t require_form(const std::vector<std::string_view>& forms,
                                       const std::vector<std::string>& words);
