// XrlAtom: one value of one of the eleven types, with an optional name.
//
// Textual form: NAME:TYPE=VALUE, an unnamed atom :TYPE=VALUE. NAME and VALUE
// are percent-encoded outside A-Z a-z 0-9 - _ . ~ /. A list's value is its
// atoms joined by commas; a list within a list is one value and as such
// percent-encoded as a whole.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "framework/base/exceptions.h"
#include "framework/base/ipv4.h"

class XrlAtomList;

// The numbers are the ones on the wire.
enum class XrlAtomType : std::uint8_t {
  NONE = 0,
  U32 = 1,
  I32 = 2,
  U64 = 3,
  I64 = 4,
  BOOLEAN = 5,
  TEXT = 6,
  IPV4 = 7,
  IPV6 = 8,
  MAC = 9,
  BINARY = 10,
  LIST = 11,
};

// "u32 i32 u64 i64 bool txt ipv4 ipv6 mac binary list"; "none" for NONE.
[[nodiscard]] std::string_view xrl_atom_type_name(XrlAtomType type);
// NONE for a text that names no type.
[[nodiscard]] XrlAtomType xrl_atom_type_from_name(std::string_view name);

// An accessor was asked for a type that the atom (or list element) has not:
// "u32 expected, txt found".
class XrlWrongType : public XorpException {
 public:
  XrlWrongType(XrlAtomType expected, XrlAtomType found);
};

// A text is no atom, list or request: what is wrong, and at which byte.
class XrlParseError : public XorpException {
 public:
  XrlParseError(const std::string& problem, std::size_t position);
  [[nodiscard]] std::size_t position() const { return _position; }

 private:
  std::size_t _position;
};

class XrlAtom {
 public:
  using Binary = std::vector<std::uint8_t>;

  // Type NONE; only to be assigned to.
  XrlAtom();
  // `name` is at most xrl_limits::MAX_NAME_BYTES long.
  XrlAtom(std::string name, std::uint32_t value);
  XrlAtom(std::string name, std::int32_t value);
  XrlAtom(std::string name, std::uint64_t value);
  XrlAtom(std::string name, std::int64_t value);
  XrlAtom(std::string name, bool value);
  XrlAtom(std::string name, std::string value);
  XrlAtom(std::string name, const char* value);
  XrlAtom(std::string name, IPv4 value);
  XrlAtom(std::string name, const IPv6& value);
  XrlAtom(std::string name, const Mac& value);
  XrlAtom(std::string name, Binary value);
  XrlAtom(std::string name, XrlAtomList value);
  // Unnamed; `value` of any of the types above.
  template <typename T>
  static XrlAtom unnamed(T value) {
    return XrlAtom(std::string(), std::move(value));
  }

  XrlAtom(const XrlAtom&);
  XrlAtom(XrlAtom&&) noexcept;
  XrlAtom& operator=(const XrlAtom&);
  XrlAtom& operator=(XrlAtom&&) noexcept;
  ~XrlAtom();

  [[nodiscard]] const std::string& name() const { return _name; }
  [[nodiscard]] XrlAtomType type() const;

  // Each throws XrlWrongType unless the atom is of that type.
  [[nodiscard]] std::uint32_t uint32() const;
  [[nodiscard]] std::int32_t int32() const;
  [[nodiscard]] std::uint64_t uint64() const;
  [[nodiscard]] std::int64_t int64() const;
  [[nodiscard]] bool boolean() const;
  [[nodiscard]] const std::string& text() const;
  [[nodiscard]] IPv4 ipv4() const;
  [[nodiscard]] const IPv6& ipv6() const;
  [[nodiscard]] const Mac& mac() const;
  [[nodiscard]] const Binary& binary() const;
  [[nodiscard]] const XrlAtomList& list() const;

  // The textual form.
  [[nodiscard]] std::string str() const;
  // Inverse of str(). Throws XrlParseError.
  [[nodiscard]] static XrlAtom parse(std::string_view text);

  bool operator==(const XrlAtom& other) const;

 private:
  using ListPtr = std::unique_ptr<XrlAtomList>;
  using Value = std::variant<std::monostate, std::uint32_t, std::int32_t, std::uint64_t,
                             std::int64_t, bool, std::string, IPv4, IPv6, Mac, Binary, ListPtr>;
  template <typename T>
  [[nodiscard]] const T& get(XrlAtomType expected) const;

  std::string _name;
  Value _value;
};
