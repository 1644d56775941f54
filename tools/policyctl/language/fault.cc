#include "tools/policyctl/language/fault.h"
#include "framework/base/shown_character.h"

#include <algorithm>
#include <ostream>

#include "tools/policyctl/language/words.h"

namespace {

// A line of megabytes is shown around the place only.
constexpr std::size_t SHOWN_BEFORE = 100;
constexpr std::size_t SHOWN_BEHIND = 100;

// Finds lines of a text; those in ascending order in one pass over it.
class Lines {
 public:
  explicit Lines(std::string_view text) : _text(text), _rest(text) {}

  std::string_view line(std::size_t number) {
    if (number < _number) {
      _rest = _text;
      _number = 1;
    }
    for (; _number < number; ++_number) {
      const std::size_t end = _rest.find('\n');
      if (end == std::string_view::npos) return {};
      _rest.remove_prefix(end + 1);
    }
    return _rest.substr(0, _rest.find('\n'));
  }

 private:
  std::string_view _text;
  std::string_view _rest;
  std::size_t _number = 1;  // of the first line of `_rest`
};

// A column of a terminal for each character, so that the mark stands below what
// it marks: a tab becomes a blank, what cannot be shown a question mark.
struct Shown {
  std::string text;
  std::size_t columns = 0;
};

Shown show(std::string_view bytes) {
  Shown shown;
  while (!bytes.empty()) {
    const std::size_t length = shown_character(bytes);
    if (length > 0) {
      shown.text += bytes.substr(0, length);
    } else {
      shown.text += bytes[0] == '\t' || bytes[0] == '\r' ? ' ' : '?';
    }
    ++shown.columns;
    bytes.remove_prefix(std::max<std::size_t>(length, 1));
  }
  return shown;
}

void print_place(std::ostream& out, std::string_view line, const Fault& fault) {
  const std::size_t at = std::min(fault.column - 1, line.size());
  const std::size_t from = at > SHOWN_BEFORE ? at - SHOWN_BEFORE : 0;
  const std::size_t length = std::min(fault.length, line.size() - at);
  const Shown before = show(line.substr(from, at - from));
  const Shown marked = show(line.substr(at, length).substr(0, SHOWN_BEHIND));
  const Shown behind =
      show(line.substr(std::min(line.size(), at + length)).substr(0, SHOWN_BEHIND));
  out << "  " << before.text << marked.text << behind.text << "\n  "
      << std::string(before.columns, ' ') << '^'
      << std::string(marked.columns > 0 ? marked.columns - 1 : 0, '~') << '\n';
}

}  // namespace

void print_faults(std::ostream& out, const SourceText& source, const std::vector<Fault>& faults,
                  Where where) {
  Lines lines(source.text);
  for (const Fault& fault : faults) {
    out << harmless(source.name) << ':';
    if (fault.line > 0) out << fault.line << ':' << fault.column << ':';
    out << ' ' << harmless(fault.message) << '\n';
    if (fault.line > 0) print_place(out, lines.line(fault.line), fault);
    if (!fault.advice.empty()) out << "  " << harmless(worded(fault.advice, where)) << '\n';
  }
}
