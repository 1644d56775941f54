// The textual form of values, atoms, lists, arguments and requests: printing,
// and parsing as its exact inverse. What it looks like is told in xrl_atom.h
// and xrl.h.
//
// Parsing throws XrlParseError and holds texts, names, lists and arguments
// against the same limits as the wire form. A byte that has to be escaped is
// refused where it stands plain. What can be written in several ways is read in
// each of them and printed in one: escapes that are not needed, the case of
// their digits, leading zeros, "-0", a '?' without arguments, and the spelling
// of addresses.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "framework/xrl/xrl.h"
#include "framework/xrl/xrl_args.h"
#include "framework/xrl/xrl_atom.h"
#include "framework/xrl/xrl_atom_list.h"

namespace textual_form {

// As names and values are written; whatever the bytes, printable and one word.
[[nodiscard]] std::string escaped(std::string_view text);
// So between single quotes, for messages; of more than `longest` bytes the first
// ones, then "...".
[[nodiscard]] std::string quoted(std::string_view text,
                                 std::size_t longest = std::string_view::npos);

[[nodiscard]] std::string print_atom(const XrlAtom& atom);
[[nodiscard]] std::string print_list(const XrlAtomList& list);
[[nodiscard]] std::string print_args(const XrlArgs& args);
[[nodiscard]] std::string print_request(const Xrl& request);

[[nodiscard]] XrlAtom parse_atom(std::string_view text);
[[nodiscard]] XrlAtomList parse_list(std::string_view text);
[[nodiscard]] XrlArgs parse_args(std::string_view text);
[[nodiscard]] Xrl parse_request(std::string_view text);

}  // namespace textual_form
