#include "framework/xrl/xrl_args_codec.h"

#include <algorithm>
#include <utility>

#include "framework/xrl/nearest_name.h"
#include "framework/xrl/textual_form.h"
#include "framework/xrl/wire_form.h"
#include "framework/xrl/xrl_args.h"

using textual_form::quoted;

namespace {

std::string type_mismatch(XrlAtomType found, XrlAtomType expected) {
  return std::string(xrl_atom_type_name(found)) + ", " + std::string(xrl_atom_type_name(expected)) +
         " expected.";
}

// "named txt" or "txt": the first element that is not an unnamed `expected`.
std::string odd_element(const XrlAtomList& list, XrlAtomType expected) {
  for (const XrlAtom& element : list.atoms()) {
    if (!element.name().empty()) return "named " + type_mismatch(element.type(), expected);
    if (element.type() != expected) return type_mismatch(element.type(), expected);
  }
  return {};
}

}  // namespace

void XrlArgsWriter::list(std::string_view name, const XrlAtomList& value) {
  if (!value.within_limits()) {
    refuse();
    return list(name, XrlAtomList());
  }
  const std::string_view elements = value.encoded();
  using wire_layout::ListHead;
  std::uint8_t* at = head(XrlAtomType::LIST, name, ListHead::BYTES + elements.size());
  wire_layout::store_list_head(at, {value.element_type(), static_cast<std::uint32_t>(value.size()),
                                    static_cast<std::uint32_t>(elements.size())});
  if (!elements.empty()) std::memcpy(at + ListHead::BYTES, elements.data(), elements.size());
}

void XrlArgsWriter::atom(const XrlAtom& atom) {
  switch (atom.type()) {
    case XrlAtomType::TEXT:
      return text(atom.name(), atom.text());
    case XrlAtomType::BINARY:
      return binary(atom.name(), atom.binary());
    case XrlAtomType::LIST:
      return list(atom.name(), atom.list());
    default:
      std::string encoded;
      wire_form::append_atom(encoded, atom);
      _to->append(encoded.data(), encoded.size());
  }
}

bool XrlArgsReader::list(std::string_view name, XrlAtomList& out, XrlAtomType element) {
  const std::uint8_t* value = list_value(name);
  if (value == nullptr) return false;
  XrlAtomList found = wire_form::borrow_list(value);
  if (element != XrlAtomType::NONE && !found.holds_only(element)) {
    return fail("list " + quoted(name) + " holds " + odd_element(found, element));
  }
  out = std::move(found);
  return true;
}

const std::uint8_t* XrlArgsReader::list_value(std::string_view name) {
  const std::uint8_t* value = next(XrlAtomType::LIST, name, wire_layout::ListHead::BYTES);
  if (value == nullptr) return search(XrlAtomType::LIST, name);
  wire_form::Checker checker;
  const std::uint8_t* end = checker.value(XrlAtomType::LIST, value, _end, 0);
  if (end == nullptr) {
    fail_damaged(checker.damage());
    return nullptr;
  }
  _at = end;
  return value;
}

bool XrlArgsReader::all(XrlArgs& out) {
  if (!_problem.empty() || !index_atoms()) return false;
  XrlArgs args;
  for (Found& atom : _atoms) {
    args.add(wire_form::read_value(std::string(atom.name), atom.type, atom.value));
    atom.taken = true;
  }
  out = std::move(args);
  return true;
}

const std::uint8_t* XrlArgsReader::search(XrlAtomType type, std::string_view name) {
  if (!_problem.empty()) return nullptr;
  if (_atoms.empty() && !(index_atoms() && no_name_twice())) return nullptr;
  const auto found = std::find_if(_atoms.begin(), _atoms.end(), [name](const Found& atom) {
    return atom.name == name && !atom.taken;
  });
  if (found == _atoms.end()) {
    fail_missing(name);
    return nullptr;
  }
  if (found->type != type) {
    fail("argument " + quoted(name) + " is " + type_mismatch(found->type, type));
    return nullptr;
  }
  found->taken = true;
  return found->value;
}

// Fills _atoms, those before the cursor as taken.
bool XrlArgsReader::index_atoms() {
  if (!_atoms.empty()) return true;
  std::vector<Found> atoms;
  wire_form::Checker checker;
  for (const std::uint8_t* at = _begin; at != _end;) {
    const std::uint8_t* end = checker.atom(at, _end, 0);
    if (end == nullptr) return fail_damaged(checker.damage());
    if (atoms.size() == xrl_limits::MAX_ARGUMENTS) return fail_damaged(at);
    const wire_form::AtomView atom = wire_form::view_atom(at);
    atoms.push_back({atom.head.name, atom.head.type, atom.value, at < _at});
    at = end;
  }
  _atoms = std::move(atoms);
  return true;
}

bool XrlArgsReader::no_name_twice() {
  std::vector<std::string_view> names;
  names.reserve(_atoms.size());
  for (const Found& atom : _atoms) names.push_back(atom.name);
  std::sort(names.begin(), names.end());
  const auto twice = std::adjacent_find(names.begin(), names.end());
  if (twice == names.end()) return true;
  return fail("argument " + quoted(*twice) + " given twice.");
}

bool XrlArgsReader::finish_slowly() {
  if (!_problem.empty()) return false;
  if (_atoms.empty() && !(index_atoms() && no_name_twice())) return false;
  const auto surplus =
      std::find_if(_atoms.begin(), _atoms.end(), [](const Found& atom) { return !atom.taken; });
  if (surplus == _atoms.end()) return true;
  return fail("surplus argument " + quoted(surplus->name) + ".");
}

bool XrlArgsReader::fail(std::string problem) {
  _problem = std::move(problem);
  return false;
}

bool XrlArgsReader::fail_missing(std::string_view name) {
  NearestName nearest(name);
  for (const Found& atom : _atoms) {
    if (!atom.taken) nearest.consider(atom.name);
  }
  const std::string found =
      nearest.name().empty() ? std::string() : " (found " + quoted(nearest.name()) + ")";
  return fail("missing argument " + quoted(name) + found + ".");
}

bool XrlArgsReader::fail_damaged(const std::uint8_t* at) {
  return fail("damaged arguments at byte " + std::to_string(at - _begin) + ".");
}
