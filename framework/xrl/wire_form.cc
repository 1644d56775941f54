#include "framework/xrl/wire_form.h"

#include <algorithm>
#include <utility>

#include "framework/base/xlog.h"
#include "framework/xrl/limits.h"

namespace wire_form {

using wire_layout::AtomHead, wire_layout::fixed_bytes, wire_layout::LENGTH_BYTES,
    wire_layout::ListHead, wire_layout::load;

namespace {

// Distance from `at` to `end`, which is never before it.
std::size_t room(const std::uint8_t* at, const std::uint8_t* end) {
  return static_cast<std::size_t>(end - at);
}

void append_bytes(std::string& to, const void* bytes, std::size_t count) {
  to.append(static_cast<const char*>(bytes), count);
}

template <typename Value>
void append_fixed(std::string& to, const Value& value) {
  std::uint8_t raw[wire_layout::BYTES_OF<Value>];
  wire_layout::store(raw, value);
  append_bytes(to, raw, sizeof raw);
}

std::uint32_t checked_length(std::size_t length) {
  XLOG_ASSERT(length <= UINT32_MAX, std::to_string(length));
  return static_cast<std::uint32_t>(length);
}

void append_list(std::string& to, const XrlAtomList& list) {
  const std::string_view elements = list.encoded();
  std::uint8_t head[ListHead::BYTES];
  wire_layout::store_list_head(
      head, {list.element_type(), checked_length(list.size()), checked_length(elements.size())});
  append_bytes(to, head, sizeof head);
  to.append(elements);
}

}  // namespace

const std::uint8_t* Checker::value(XrlAtomType type, const std::uint8_t* at,
                                   const std::uint8_t* end, std::size_t depth) {
  if (const std::size_t bytes = fixed_bytes(type); bytes != 0) {
    if (room(at, end) < bytes) return damaged(at);
    if (type == XrlAtomType::BOOLEAN && !wire_layout::is_bool(*at)) return damaged(at);
    return at + bytes;
  }
  if (type == XrlAtomType::LIST) return list(at, end, depth + 1);
  if (room(at, end) < LENGTH_BYTES) return damaged(at);
  const std::size_t bytes = wire_layout::counted_bytes(at);
  if (bytes > LENGTH_BYTES + xrl_limits::MAX_TEXT_BYTES || bytes > room(at, end)) {
    return damaged(at);
  }
  return at + bytes;
}

const std::uint8_t* Checker::atom(const std::uint8_t* at, const std::uint8_t* end,
                                  std::size_t depth) {
  if (room(at, end) < 1) return damaged(at);
  const auto type = static_cast<XrlAtomType>(at[0]);
  if (type == XrlAtomType::NONE || type > XrlAtomType::LIST) return damaged(at);
  const std::uint8_t* const name_length = at + AtomHead::NAME_LENGTH_AT;
  if (room(at, end) < AtomHead::NAME_AT) return damaged(name_length);
  const std::size_t head_bytes = AtomHead::NAME_AT + *name_length;
  if (room(at, end) < head_bytes) return damaged(name_length);
  return value(type, at + head_bytes, end, depth);
}

const std::uint8_t* Checker::list(const std::uint8_t* at, const std::uint8_t* end,
                                  std::size_t depth) {
  if (depth > xrl_limits::MAX_LIST_DEPTH || room(at, end) < ListHead::BYTES) return damaged(at);
  const ListHead head = wire_layout::load_list_head(at);
  if (head.element > XrlAtomType::LIST || (head.count == 0 && head.element != XrlAtomType::NONE)) {
    return damaged(at);
  }
  if (head.count > xrl_limits::MAX_LIST_ELEMENTS) return damaged(at + ListHead::COUNT_AT);
  const std::uint8_t* const first = at + ListHead::BYTES;
  if (head.length > room(first, end)) return damaged(at + ListHead::LENGTH_AT);
  return elements(head.element, head.count, first, first + head.length, depth);
}

const std::uint8_t* Checker::elements(XrlAtomType type, std::uint32_t count, const std::uint8_t* at,
                                      const std::uint8_t* end, std::size_t depth) {
  if (const std::size_t each = fixed_bytes(type); each != 0) {
    if (room(at, end) != each * count) return damaged(at - LENGTH_BYTES);
    if (type == XrlAtomType::BOOLEAN) {
      const auto* wrong = std::find_if_not(at, end, wire_layout::is_bool);
      if (wrong != end) return damaged(wrong);
    }
    return end;
  }
  for (std::uint32_t i = 0; i < count; ++i) {
    at = type == XrlAtomType::NONE ? atom(at, end, depth) : value(type, at, end, depth);
    if (at == nullptr) return nullptr;
  }
  return at == end ? end : damaged(at);
}

std::size_t value_bytes(XrlAtomType type, const std::uint8_t* at) {
  if (const std::size_t bytes = fixed_bytes(type); bytes != 0) return bytes;
  if (type == XrlAtomType::LIST) return ListHead::BYTES + wire_layout::load_list_head(at).length;
  return wire_layout::counted_bytes(at);
}

AtomView view_atom(const std::uint8_t* at) {
  const AtomHead head = wire_layout::load_atom_head(at);
  const std::uint8_t* value = at + head.bytes();
  return {head, value, value + value_bytes(head.type, value)};
}

XrlAtomList borrow_list(const std::uint8_t* at) {
  const ListHead head = wire_layout::load_list_head(at);
  const std::string_view elements(reinterpret_cast<const char*>(at + ListHead::BYTES), head.length);
  return XrlAtomList::borrow(head.element, head.count, elements);
}

XrlAtom read_value(std::string name, XrlAtomType type, const std::uint8_t* at) {
  switch (type) {
    case XrlAtomType::U32:
      return {std::move(name), load<std::uint32_t>(at)};
    case XrlAtomType::I32:
      return {std::move(name), load<std::int32_t>(at)};
    case XrlAtomType::U64:
      return {std::move(name), load<std::uint64_t>(at)};
    case XrlAtomType::I64:
      return {std::move(name), load<std::int64_t>(at)};
    case XrlAtomType::BOOLEAN:
      return {std::move(name), load<bool>(at)};
    case XrlAtomType::TEXT:
      return {std::move(name), std::string(wire_layout::view_text(at))};
    case XrlAtomType::IPV4:
      return {std::move(name), load<IPv4>(at)};
    case XrlAtomType::IPV6:
      return {std::move(name), load<IPv6>(at)};
    case XrlAtomType::MAC:
      return {std::move(name), load<Mac>(at)};
    case XrlAtomType::BINARY: {
      const std::span<const std::uint8_t> bytes = wire_layout::view_binary(at);
      return {std::move(name), XrlAtom::Binary(bytes.begin(), bytes.end())};
    }
    case XrlAtomType::LIST: {
      const XrlAtomList borrowed = borrow_list(at);
      return {std::move(name), XrlAtomList(borrowed)};
    }
    case XrlAtomType::NONE:
      break;
  }
  return {};
}

void append_text(std::string& to, std::string_view text) {
  append_fixed(to, checked_length(text.size()));
  to.append(text);
}

void append_value(std::string& to, const XrlAtom& atom) {
  switch (atom.type()) {
    case XrlAtomType::U32:
      return append_fixed(to, atom.uint32());
    case XrlAtomType::I32:
      return append_fixed(to, atom.int32());
    case XrlAtomType::U64:
      return append_fixed(to, atom.uint64());
    case XrlAtomType::I64:
      return append_fixed(to, atom.int64());
    case XrlAtomType::BOOLEAN:
      return append_fixed(to, atom.boolean());
    case XrlAtomType::TEXT:
      return append_text(to, atom.text());
    case XrlAtomType::IPV4:
      return append_fixed(to, atom.ipv4());
    case XrlAtomType::IPV6:
      return append_fixed(to, atom.ipv6());
    case XrlAtomType::MAC:
      return append_fixed(to, atom.mac());
    case XrlAtomType::BINARY:
      append_fixed(to, checked_length(atom.binary().size()));
      return append_bytes(to, atom.binary().data(), atom.binary().size());
    case XrlAtomType::LIST:
      return append_list(to, atom.list());
    case XrlAtomType::NONE:
      break;
  }
  XLOG_ASSERT(false, "atom " + atom.name() + " has no value");
}

void append_atom(std::string& to, const XrlAtom& atom) {
  append_atom_head(to, {atom.type(), atom.name()});
  append_value(to, atom);
}

void append_atom_head(std::string& to, const AtomHead& head) {
  std::uint8_t raw[AtomHead::NAME_AT + UINT8_MAX];
  wire_layout::store_atom_head(raw, head);
  append_bytes(to, raw, head.bytes());
}

}  // namespace wire_form
