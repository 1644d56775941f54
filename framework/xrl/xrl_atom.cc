#include "framework/xrl/xrl_atom.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

#include "framework/base/xlog.h"
#include "framework/xrl/limits.h"
#include "framework/xrl/textual_form.h"
#include "framework/xrl/xrl_atom_list.h"

namespace {

constexpr std::array<std::string_view, 12> TYPE_NAMES = {
    "none", "u32", "i32", "u64", "i64", "bool", "txt", "ipv4", "ipv6", "mac", "binary", "list"};

std::string wrong_type_text(XrlAtomType expected, XrlAtomType found) {
  return std::string(xrl_atom_type_name(expected)) + " expected, " +
         std::string(xrl_atom_type_name(found)) + " found";
}

std::string checked_name(std::string name) {
  XLOG_ASSERT(name.size() <= xrl_limits::MAX_NAME_BYTES, std::to_string(name.size()) + " bytes");
  return name;
}

}  // namespace

std::string_view xrl_atom_type_name(XrlAtomType type) {
  const auto index = static_cast<std::size_t>(type);
  return TYPE_NAMES[index < TYPE_NAMES.size() ? index : 0];
}

XrlAtomType xrl_atom_type_from_name(std::string_view name) {
  const auto* found = std::find(TYPE_NAMES.begin(), TYPE_NAMES.end(), name);
  if (found == TYPE_NAMES.end()) return XrlAtomType::NONE;
  return static_cast<XrlAtomType>(found - TYPE_NAMES.begin());
}

XrlWrongType::XrlWrongType(XrlAtomType expected, XrlAtomType found)
    : XorpException(wrong_type_text(expected, found)) {}

XrlParseError::XrlParseError(const std::string& problem, std::size_t position)
    : XorpException(problem + " at byte " + std::to_string(position)), _position(position) {}

XrlAtom::XrlAtom() = default;
XrlAtom::XrlAtom(std::string name, std::uint32_t value)
    : _name(checked_name(std::move(name))), _value(value) {}
XrlAtom::XrlAtom(std::string name, std::int32_t value)
    : _name(checked_name(std::move(name))), _value(value) {}
XrlAtom::XrlAtom(std::string name, std::uint64_t value)
    : _name(checked_name(std::move(name))), _value(value) {}
XrlAtom::XrlAtom(std::string name, std::int64_t value)
    : _name(checked_name(std::move(name))), _value(value) {}
XrlAtom::XrlAtom(std::string name, bool value)
    : _name(checked_name(std::move(name))), _value(value) {}
XrlAtom::XrlAtom(std::string name, std::string value)
    : _name(checked_name(std::move(name))), _value(std::move(value)) {}
XrlAtom::XrlAtom(std::string name, const char* value)
    : XrlAtom(std::move(name), std::string(value)) {}
XrlAtom::XrlAtom(std::string name, IPv4 value)
    : _name(checked_name(std::move(name))), _value(value) {}
XrlAtom::XrlAtom(std::string name, const IPv6& value)
    : _name(checked_name(std::move(name))), _value(value) {}
XrlAtom::XrlAtom(std::string name, const Mac& value)
    : _name(checked_name(std::move(name))), _value(value) {}
XrlAtom::XrlAtom(std::string name, Binary value)
    : _name(checked_name(std::move(name))), _value(std::move(value)) {}
XrlAtom::XrlAtom(std::string name, XrlAtomList value)
    : _name(checked_name(std::move(name))),
      _value(std::make_unique<XrlAtomList>(std::move(value))) {}

XrlAtom::XrlAtom(const XrlAtom& other) : _name(other._name) {
  std::visit(
      [this](const auto& value) {
        if constexpr (std::is_same_v<std::decay_t<decltype(value)>, ListPtr>) {
          _value = std::make_unique<XrlAtomList>(*value);
        } else {
          _value = value;
        }
      },
      other._value);
}
XrlAtom& XrlAtom::operator=(const XrlAtom& other) {
  if (this != &other) *this = XrlAtom(other);
  return *this;
}
// What was moved from has no type, as if just made.
XrlAtom::XrlAtom(XrlAtom&& other) noexcept
    : _name(std::exchange(other._name, {})), _value(std::exchange(other._value, {})) {}
XrlAtom& XrlAtom::operator=(XrlAtom&& other) noexcept {
  if (this != &other) {
    _name = std::exchange(other._name, {});
    _value = std::exchange(other._value, {});
  }
  return *this;
}
XrlAtom::~XrlAtom() = default;

XrlAtomType XrlAtom::type() const {
  static_assert(std::variant_size_v<Value> == TYPE_NAMES.size(), "alternatives in wire order");
  return static_cast<XrlAtomType>(_value.index());
}

template <typename T>
const T& XrlAtom::get(XrlAtomType expected) const {
  if (type() != expected) throw XrlWrongType(expected, type());
  return *std::get_if<T>(&_value);
}

std::uint32_t XrlAtom::uint32() const {
  return get<std::uint32_t>(XrlAtomType::U32);
}
std::int32_t XrlAtom::int32() const {
  return get<std::int32_t>(XrlAtomType::I32);
}
std::uint64_t XrlAtom::uint64() const {
  return get<std::uint64_t>(XrlAtomType::U64);
}
std::int64_t XrlAtom::int64() const {
  return get<std::int64_t>(XrlAtomType::I64);
}
bool XrlAtom::boolean() const {
  return get<bool>(XrlAtomType::BOOLEAN);
}
const std::string& XrlAtom::text() const {
  return get<std::string>(XrlAtomType::TEXT);
}
IPv4 XrlAtom::ipv4() const {
  return get<IPv4>(XrlAtomType::IPV4);
}
const IPv6& XrlAtom::ipv6() const {
  return get<IPv6>(XrlAtomType::IPV6);
}
const Mac& XrlAtom::mac() const {
  return get<Mac>(XrlAtomType::MAC);
}
const XrlAtom::Binary& XrlAtom::binary() const {
  return get<Binary>(XrlAtomType::BINARY);
}
const XrlAtomList& XrlAtom::list() const {
  return *get<ListPtr>(XrlAtomType::LIST);
}

std::string XrlAtom::str() const {
  return textual_form::print_atom(*this);
}
XrlAtom XrlAtom::parse(std::string_view text) {
  return textual_form::parse_atom(text);
}

bool XrlAtom::operator==(const XrlAtom& other) const {
  if (_name != other._name || type() != other.type()) return false;
  if (type() == XrlAtomType::LIST) return list() == other.list();
  return _value == other._value;
}
