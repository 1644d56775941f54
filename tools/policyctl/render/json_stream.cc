#include "tools/policyctl/render/json_stream.h"

#include <ostream>

void JsonStream::begin_value(std::string_view name) {
  if (_closings.empty()) return;
  if (!_is_first) _out << ',';
  _is_first = false;
  _out << '\n' << std::string(_closings.size() * JSON_INDENTATION, ' ');
  if (!name.empty()) _out << '"' << name << "\": ";
}

void JsonStream::begin(std::string_view name, char opening, char closing) {
  begin_value(name);
  _out << opening;
  _closings += closing;
  _is_first = true;
}

void JsonStream::end() {
  const char closing = _closings.back();
  _closings.pop_back();
  if (!_is_first) _out << '\n' << std::string(_closings.size() * JSON_INDENTATION, ' ');
  _out << closing;
  _is_first = false;
  if (_closings.empty()) _out << '\n' << std::flush;
}

void JsonStream::add(const Json& value, std::string_view name) {
  begin_value(name);
  const std::string text = value.dump(JSON_INDENTATION);
  const std::string indentation(_closings.size() * JSON_INDENTATION, ' ');
  // A line break is none of a text's: those are escaped.
  for (std::string_view rest = text;;) {
    const std::size_t end = rest.find('\n');
    _out << rest.substr(0, end);
    if (end == std::string_view::npos) return;
    _out << '\n' << indentation;
    rest.remove_prefix(end + 1);
  }
}
