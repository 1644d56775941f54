#include "framework/xrl/xrl_atom_list.h"

#include <utility>

#include "framework/base/xlog.h"
#include "framework/xrl/limits.h"
#include "framework/xrl/textual_form.h"
#include "framework/xrl/wire_form.h"

namespace {

// The type that all atoms from `at` to `end` have; NONE when they differ, have names or
// are none.
XrlAtomType common_type(const std::uint8_t* at, const std::uint8_t* end) {
  XrlAtomType common = XrlAtomType::NONE;
  while (at != end) {
    const wire_form::AtomView atom = wire_form::view_atom(at);
    if (!atom.head.name.empty() || (common != XrlAtomType::NONE && atom.head.type != common)) {
      return XrlAtomType::NONE;
    }
    common = atom.head.type;
    at = atom.end;
  }
  return common;
}

}  // namespace

XrlAtomList::XrlAtomList(const XrlAtomList& other)
    : _element_type(other._element_type), _count(other._count), _own(other.encoded()) {}

XrlAtomList& XrlAtomList::operator=(const XrlAtomList& other) {
  if (this != &other) *this = XrlAtomList(other);
  return *this;
}

// What was moved from is empty.
XrlAtomList::XrlAtomList(XrlAtomList&& other) noexcept
    : _element_type(std::exchange(other._element_type, XrlAtomType::NONE)),
      _borrowed(std::exchange(other._borrowed, false)),
      _count(std::exchange(other._count, 0)),
      _own(std::exchange(other._own, {})),
      _view(std::exchange(other._view, {})) {}

XrlAtomList& XrlAtomList::operator=(XrlAtomList&& other) noexcept {
  if (this != &other) {
    _element_type = std::exchange(other._element_type, XrlAtomType::NONE);
    _borrowed = std::exchange(other._borrowed, false);
    _count = std::exchange(other._count, 0);
    _own = std::exchange(other._own, {});
    _view = std::exchange(other._view, {});
  }
  return *this;
}

void XrlAtomList::append(std::string_view text) {
  if (_count == 0) _element_type = XrlAtomType::TEXT;
  if (_element_type != XrlAtomType::TEXT) return append(XrlAtom::unnamed(std::string(text)));
  own();
  wire_form::append_text(_own, text);
  ++_count;
}

void XrlAtomList::append(const XrlAtom& atom) {
  XLOG_ASSERT(atom.type() != XrlAtomType::NONE, "element " + std::to_string(_count));
  own();
  if (_count == 0 && atom.name().empty()) _element_type = atom.type();
  if (atom.name().empty() && atom.type() == _element_type) {
    wire_form::append_value(_own, atom);
  } else {
    become_mixed();
    wire_form::append_atom(_own, atom);
  }
  ++_count;
}

void XrlAtomList::clear() {
  _element_type = XrlAtomType::NONE;
  _borrowed = false;
  _count = 0;
  _own.clear();
  _view = {};
}

XrlAtom XrlAtomList::get(std::size_t index) const {
  require_element(index);
  if (const std::size_t each = wire_layout::fixed_bytes(_element_type); each != 0) {
    return wire_form::read_value({}, _element_type, run().begin + index * each);
  }
  Atoms::iterator at = atoms().begin();
  for (; index != 0; --index) ++at;
  return *at;
}

XrlAtom XrlAtomList::Atoms::iterator::operator*() const {
  if (_element_type != XrlAtomType::NONE) return wire_form::read_value({}, _element_type, _at);
  const wire_form::AtomView atom = wire_form::view_atom(_at);
  return wire_form::read_value(std::string(atom.head.name), atom.head.type, atom.value);
}

XrlAtomList::Atoms::iterator& XrlAtomList::Atoms::iterator::operator++() {
  if (_element_type != XrlAtomType::NONE) {
    _at += wire_form::value_bytes(_element_type, _at);
  } else {
    _at = wire_form::view_atom(_at).end;
  }
  return *this;
}

bool XrlAtomList::within_limits() const {
  if (empty()) return true;
  if (_count > xrl_limits::MAX_LIST_ELEMENTS || encoded().size() > xrl_limits::MAX_REPLY_BYTES) {
    return false;
  }
  return wire_form::Checker().elements(_element_type, static_cast<std::uint32_t>(_count),
                                       run().begin, run().end, 1) != nullptr;
}

std::string XrlAtomList::str() const {
  return textual_form::print_list(*this);
}
XrlAtomList XrlAtomList::parse(std::string_view text) {
  return textual_form::parse_list(text);
}

bool XrlAtomList::operator==(const XrlAtomList& other) const {
  if (_count != other._count || _element_type != other._element_type) return false;
  if (encoded() == other.encoded()) return true;
  // Only a list within the list has more than one encoding.
  if (_element_type != XrlAtomType::NONE && _element_type != XrlAtomType::LIST) return false;
  const Atoms::iterator end = atoms().end();
  Atoms::iterator theirs = other.atoms().begin();
  for (Atoms::iterator ours = atoms().begin(); ours != end; ++ours, ++theirs) {
    if (!(*ours == *theirs)) return false;
  }
  return true;
}

XrlAtomList XrlAtomList::borrow(XrlAtomType element_type, std::size_t count,
                                std::string_view encoded) {
  XrlAtomList list;
  list._element_type = element_type;
  list._borrowed = true;
  list._count = count;
  list._view = encoded;
  if (element_type == XrlAtomType::NONE) {
    const XrlAtomType common = common_type(list.run().begin, list.run().end);
    if (common != XrlAtomType::NONE) list.become_uniform(common);
  }
  return list;
}

void XrlAtomList::own() {
  if (!_borrowed) return;
  _own = _view;
  _view = {};
  _borrowed = false;
}

void XrlAtomList::become_mixed() {
  if (_element_type == XrlAtomType::NONE) return;
  std::string mixed;
  const std::uint8_t* at = run().begin;
  for (std::size_t i = 0; i < _count; ++i) {
    const std::size_t bytes = wire_form::value_bytes(_element_type, at);
    wire_form::append_atom_head(mixed, {_element_type, {}});
    mixed.append(reinterpret_cast<const char*>(at), bytes);
    at += bytes;
  }
  _own = std::move(mixed);
  _element_type = XrlAtomType::NONE;
}

void XrlAtomList::become_uniform(XrlAtomType type) {
  std::string uniform;
  const std::uint8_t* at = run().begin;
  for (std::size_t i = 0; i < _count; ++i) {
    const wire_form::AtomView atom = wire_form::view_atom(at);
    uniform.append(reinterpret_cast<const char*>(atom.value),
                   static_cast<std::size_t>(atom.end - atom.value));
    at = atom.end;
  }
  _own = std::move(uniform);
  _view = {};
  _borrowed = false;
  _element_type = type;
}

void XrlAtomList::no_such_element(std::size_t index) const {
  XLOG_FATAL("element %zu of a list of %zu", index, _count);
}
