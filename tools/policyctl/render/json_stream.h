// JsonStream: a document that is too large to be held, written as it is made.
#pragma once

#include <iosfwd>
#include <string>
#include <string_view>

#include "tools/policyctl/render/json_output.h"

// Writes what print_json() would of the whole. `name` is that of the member,
// within an object; of an element, and of the document itself, it is empty.
class JsonStream {
 public:
  explicit JsonStream(std::ostream& out) : _out(out) {}

  void begin_object(std::string_view name = "") { begin(name, '{', '}'); }
  void begin_list(std::string_view name = "") { begin(name, '[', ']'); }
  // Of what was begun last; of the document, with a line break.
  void end();
  void add(const Json& value, std::string_view name = "");

 private:
  void begin(std::string_view name, char opening, char closing);
  void begin_value(std::string_view name);

  std::ostream& _out;
  std::string _closings;  // of what is open, the innermost last
  bool _is_first = true;  // of the innermost
};
