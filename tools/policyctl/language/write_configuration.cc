#include "tools/policyctl/language/write_configuration.h"

#include <charconv>

#include "common/match_fields.h"
#include "common/match_values.h"
#include "tools/policyctl/language/elements.h"
#include "tools/policyctl/language/entry_arguments.h"
#include "tools/policyctl/language/rule_fields.h"
#include "tools/policyctl/language/statements.h"
#include "tools/policyctl/language/words.h"

namespace {

constexpr std::string_view INDENTATION = "  ";
constexpr std::size_t PIECE_BYTES = std::size_t{64} << 10U;
constexpr std::size_t LONGEST_EXPECTED_LINE = std::size_t{4} << 10U;

void append_number(std::string& line, std::uint32_t number) {
  char digits[10];
  const auto end = std::to_chars(digits, digits + sizeof digits, number).ptr;
  line.append(digits, end);
}

void append_argument(std::string& line, const PatternElement& element, EntryArguments& arguments) {
  switch (element.argument->syntax) {
    case ArgumentSyntax::NUMBER:
      append_number(line, arguments.number());
      return;
    case ArgumentSyntax::CHOICE:
      line += choice(*element.argument, arguments.number());
      return;
    case ArgumentSyntax::SECONDS:  // of commands alone
    case ArgumentSyntax::TEXT:
      // Descriptions look alike, names look like names.
      line += element.word == "TEXT" ? as_quoted_word(arguments.text()) : as_word(arguments.text());
      return;
  }
}

void append_statement(std::string& line, const Statement& statement, const EntryKey& key,
                      const EntryValue& value) {
  EntryArguments arguments(*statement.kind, key, value);
  const std::size_t begin = line.size();
  for (const PatternElement& element : statement.elements) {
    if (element.optional && value.text().empty()) return;
    if (element.kind == PatternElement::Kind::FIELDS) {
      for_each_field(value.fields(), [&line](std::uint32_t number, std::string_view text) {
        line += ' ';
        append_field(line, number, text);
      });
      continue;
    }
    if (line.size() > begin) line += ' ';
    if (element.kind == PatternElement::Kind::LITERAL) {
      line += element.word;
    } else {
      append_argument(line, element, arguments);
    }
  }
}

const Statement& statement_for(const EntryKind& kind, const EntryValue& value) {
  const std::span<const Statement> forms = statements_of(kind);
  return forms.size() == 1 ? forms[0]
                           : forms[std::min<std::size_t>(value.number(0), forms.size() - 1)];
}

bool is_from_the_start(const EntryKind& kind, const EntryKey& key, const EntryValue& value) {
  return *kind.facts().presence == Presence::ALWAYS && value == default_of(kind, key);
}

class Writing {
 public:
  using Take = std::function<void(std::string_view)>;

  Writing(const Entries& entries, Bare bare, const Take& take)
      : _entries(entries), _bare(bare), _take(take) {
    _text.reserve(PIECE_BYTES + LONGEST_EXPECTED_LINE);
  }

  void write() {
    for (const EntryKind* kind : top_kinds()) {
      for (const auto& [key, value] : _entries.of(*kind)) write_entry(*kind, key, value);
    }
    if (!_text.empty()) _take(_text);
  }

 private:
  void write_entry(const EntryKind& kind, const EntryKey& key, const EntryValue& value) {
    const bool is_outside = *kind.facts().presence == Presence::OUTSIDE;
    if (is_outside && _bare == Bare::LEFT_OUT && is_bare(kind, key, _entries)) return;
    append_statement(_text, statement_for(kind, value), key, value);
    end_line();
    if (*kind.facts().opens == nullptr) return;
    for (const EntryKind* child : kinds_below(kind)) {
      for_each_below(key, _entries.of(*child), [&](const EntryKey& own, const EntryValue& said) {
        write_child(*child, own, said);
      });
    }
  }

  void write_child(const EntryKind& kind, const EntryKey& key, const EntryValue& value) {
    if (_bare == Bare::LEFT_OUT && is_from_the_start(kind, key, value)) return;
    for_each_said(kind, key, value, [&](const EntryKey& own, const EntryValue& said) {
      write_line(statement_for(kind, said), own, said);
    });
  }

  void write_line(const Statement& statement, const EntryKey& key, const EntryValue& value) {
    _text += INDENTATION;
    append_statement(_text, statement, key, value);
    end_line();
  }

  void end_line() {
    _text += '\n';
    if (_text.size() < PIECE_BYTES) return;
    _take(_text);
    _text.clear();
  }

  const Entries& _entries;
  Bare _bare;
  const Take& _take;
  std::string _text;
};

}  // namespace

void append_field(std::string& line, std::uint32_t number, std::string_view value) {
  const MatchField* const field = find_match_field(number);
  if (field != nullptr && is_match_value(*field, value)) {
    const bool may_need_quotes =
        field->syntax == MatchSyntax::NAME || field->syntax == MatchSyntax::INTERFACES;
    line.append(field->name) += ' ';
    if (!may_need_quotes) {
      line += value;
    } else {
      append_word(line, value);
    }
    return;
  }
  append_number(line, number);
  line += ' ';
  line += as_quoted_word(value);
}

std::string statement_text(const EntryKind& kind, const EntryKey& key, const EntryValue& value) {
  std::string line;
  append_statement(line, statement_for(kind, value), key, value);
  return line;
}

bool is_bare(const EntryKind& head, const EntryKey& key, const Entries& entries) {
  bool bare = true;
  for (const EntryKind* child : kinds_below(head)) {
    for_each_below(key, entries.of(*child), [&](const EntryKey& own, const EntryValue& said) {
      bare = bare && is_from_the_start(*child, own, said);
    });
  }
  return bare;
}

void write_configuration(const Entries& entries, Bare bare,
                         const std::function<void(std::string_view)>& take) {
  Writing(entries, bare, take).write();
}

std::string write_configuration(const Entries& entries, Bare bare) {
  std::string text;
  write_configuration(entries, bare, [&text](std::string_view piece) { text += piece; });
  return text;
}
