#include "framework/xrl/xrl_args.h"

#include <algorithm>

#include "framework/xrl/textual_form.h"

const XrlAtom* XrlArgs::find(std::string_view name) const {
  const auto found = std::find_if(_atoms.begin(), _atoms.end(),
                                  [name](const XrlAtom& atom) { return atom.name() == name; });
  return found == _atoms.end() ? nullptr : &*found;
}

std::string XrlArgs::str() const {
  return textual_form::print_args(*this);
}
XrlArgs XrlArgs::parse(std::string_view text) {
  return textual_form::parse_args(text);
}
