// Values and atoms in wire form (wire_layout.h), in one place for lists and
// arguments: checking what arrived, reading what was checked, writing.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "framework/xrl/wire_layout.h"
#include "framework/xrl/xrl_atom.h"
#include "framework/xrl/xrl_atom_list.h"

namespace wire_form {

// Holds bytes that came from outside against the layout and the limits.
// Allocates nothing; time linear in the bytes.
class Checker {
 public:
  // The end of the value or atom at `at`, or null when it is damaged or does
  // not end at or before `end`. `depth` counts the lists around it.
  const std::uint8_t* value(XrlAtomType type, const std::uint8_t* at, const std::uint8_t* end,
                            std::size_t depth);
  const std::uint8_t* atom(const std::uint8_t* at, const std::uint8_t* end, std::size_t depth);

  // Checks the elements of a list, `count` values of `type` or, where it is NONE,
  // whole atoms, which must end at `end`. Answers `end`, or null when one is damaged.
  const std::uint8_t* elements(XrlAtomType type, std::uint32_t count, const std::uint8_t* at,
                               const std::uint8_t* end, std::size_t depth);

  // After null: the first byte of the field that cannot be right.
  [[nodiscard]] const std::uint8_t* damage() const { return _damage; }

 private:
  const std::uint8_t* list(const std::uint8_t* at, const std::uint8_t* end, std::size_t depth);
  const std::uint8_t* damaged(const std::uint8_t* at) {
    _damage = at;
    return nullptr;
  }

  const std::uint8_t* _damage = nullptr;
};

// What follows reads bytes that passed the Checker.

struct AtomView {
  wire_layout::AtomHead head;
  const std::uint8_t* value = nullptr;
  const std::uint8_t* end = nullptr;
};

[[nodiscard]] std::size_t value_bytes(XrlAtomType type, const std::uint8_t* at);
[[nodiscard]] AtomView view_atom(const std::uint8_t* at);
[[nodiscard]] XrlAtomList borrow_list(const std::uint8_t* at);
// An atom that owns its value.
[[nodiscard]] XrlAtom read_value(std::string name, XrlAtomType type, const std::uint8_t* at);

// Writing. The atom is of some type, and all it holds is shorter than 4 GiB.
void append_value(std::string& to, const XrlAtom& atom);
void append_atom(std::string& to, const XrlAtom& atom);
void append_atom_head(std::string& to, const wire_layout::AtomHead& head);
void append_text(std::string& to, std::string_view text);

}  // namespace wire_form
