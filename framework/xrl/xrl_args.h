// XrlArgs: named atoms that own their values, as tools and tests handle them.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "framework/xrl/xrl_atom.h"
#include "framework/xrl/xrl_atom_list.h"

class XrlArgs {
 public:
  void add(XrlAtom atom) { _atoms.push_back(std::move(atom)); }
  [[nodiscard]] std::size_t size() const { return _atoms.size(); }
  [[nodiscard]] bool empty() const { return _atoms.empty(); }
  [[nodiscard]] const XrlAtom& operator[](std::size_t index) const { return _atoms[index]; }
  // The first atom of that name, or null.
  [[nodiscard]] const XrlAtom* find(std::string_view name) const;
  [[nodiscard]] auto begin() const { return _atoms.begin(); }
  [[nodiscard]] auto end() const { return _atoms.end(); }

  // Atoms joined by '&', and its inverse (XrlParseError).
  [[nodiscard]] std::string str() const;
  [[nodiscard]] static XrlArgs parse(std::string_view text);

  bool operator==(const XrlArgs&) const = default;

 private:
  std::vector<XrlAtom> _atoms;
};
