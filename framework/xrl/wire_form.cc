#include "framework/xrl/wire_form.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "framework/base/xlog.h"
#include "framework/xrl/byte_order.h"
#include "framework/xrl/limits.h"

namespace wire_form {

namespace {

// Distance from `at` to `end`, which is never before it.
std::size_t room(const std::uint8_t* at, const std::uint8_t* end) {
  return static_cast<std::size_t>(end - at);
}

template <std::size_t Size>
std::array<std::uint8_t, Size> read_bytes(const std::uint8_t* at) {
  std::array<std::uint8_t, Size> bytes{};
  std::memcpy(bytes.data(), at, Size);
  return bytes;
}

std::string_view as_chars(const std::uint8_t* at, std::size_t count) {
  return {reinterpret_cast<const char*>(at), count};
}

template <typename T, void (*store)(void*, T)>
void append_number(std::string& to, T value) {
  char raw[sizeof value];
  store(raw, value);
  to.append(raw, sizeof raw);
}

void append_u32(std::string& to, std::uint32_t value) {
  append_number<std::uint32_t, store_u32>(to, value);
}

void append_u64(std::string& to, std::uint64_t value) {
  append_number<std::uint64_t, store_u64>(to, value);
}

void append_length(std::string& to, std::size_t length) {
  XLOG_ASSERT(length <= UINT32_MAX, std::to_string(length));
  append_u32(to, static_cast<std::uint32_t>(length));
}

template <typename Bytes>
void append_bytes(std::string& to, const Bytes& bytes) {
  to.append(bytes.begin(), bytes.end());
}

}  // namespace

const std::uint8_t* Checker::value(XrlAtomType type, const std::uint8_t* at,
                                   const std::uint8_t* end, std::size_t depth) {
  if (const std::size_t bytes = fixed_bytes(type); bytes != 0) {
    if (room(at, end) < bytes) return damaged(at);
    if (type == XrlAtomType::BOOLEAN && *at > 1) return damaged(at);
    return at + bytes;
  }
  if (type == XrlAtomType::LIST) return list(at, end, depth + 1);
  if (room(at, end) < 4) return damaged(at);
  const std::uint32_t bytes = load_u32(at);
  if (bytes > xrl_limits::MAX_TEXT_BYTES || bytes > room(at + 4, end)) return damaged(at);
  return at + 4 + bytes;
}

const std::uint8_t* Checker::atom(const std::uint8_t* at, const std::uint8_t* end,
                                  std::size_t depth) {
  if (room(at, end) < 1) return damaged(at);
  const auto type = static_cast<XrlAtomType>(at[0]);
  if (type == XrlAtomType::NONE || type > XrlAtomType::LIST) return damaged(at);
  if (room(at, end) < 2) return damaged(at + 1);
  const std::size_t name_bytes = at[1];
  if (room(at + 2, end) < name_bytes) return damaged(at + 1);
  return value(type, at + 2 + name_bytes, end, depth);
}

const std::uint8_t* Checker::list(const std::uint8_t* at, const std::uint8_t* end,
                                  std::size_t depth) {
  if (depth > xrl_limits::MAX_LIST_DEPTH || room(at, end) < LIST_HEAD_BYTES) return damaged(at);
  const auto type = static_cast<XrlAtomType>(at[0]);
  const std::uint32_t count = load_u32(at + 1);
  const std::uint32_t bytes = load_u32(at + 5);
  if (type > XrlAtomType::LIST || (count == 0 && type != XrlAtomType::NONE)) return damaged(at);
  if (count > xrl_limits::MAX_LIST_ELEMENTS) return damaged(at + 1);
  at += LIST_HEAD_BYTES;
  if (bytes > room(at, end)) return damaged(at - 4);
  return elements(type, count, at, at + bytes, depth);
}

const std::uint8_t* Checker::elements(XrlAtomType type, std::uint32_t count, const std::uint8_t* at,
                                      const std::uint8_t* end, std::size_t depth) {
  if (const std::size_t each = fixed_bytes(type); each != 0) {
    if (room(at, end) != each * count) return damaged(at - 4);
    if (type == XrlAtomType::BOOLEAN) {
      const auto* wrong = std::find_if(at, end, [](std::uint8_t value) { return value > 1; });
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
  if (type == XrlAtomType::LIST) return LIST_HEAD_BYTES + load_u32(at + 5);
  return 4 + std::size_t{load_u32(at)};
}

AtomView view_atom(const std::uint8_t* at) {
  const auto type = static_cast<XrlAtomType>(at[0]);
  const std::uint8_t* value = at + 2 + at[1];
  return {as_chars(at + 2, at[1]), type, value, value + value_bytes(type, value)};
}

std::string_view view_text(const std::uint8_t* at) {
  return as_chars(at + 4, load_u32(at));
}

XrlAtomList borrow_list(const std::uint8_t* at) {
  return XrlAtomList::borrow(static_cast<XrlAtomType>(at[0]), load_u32(at + 1),
                             as_chars(at + LIST_HEAD_BYTES, load_u32(at + 5)));
}

XrlAtom read_value(std::string name, XrlAtomType type, const std::uint8_t* at) {
  switch (type) {
    case XrlAtomType::U32:
      return {std::move(name), load_u32(at)};
    case XrlAtomType::I32:
      return {std::move(name), static_cast<std::int32_t>(load_u32(at))};
    case XrlAtomType::U64:
      return {std::move(name), load_u64(at)};
    case XrlAtomType::I64:
      return {std::move(name), static_cast<std::int64_t>(load_u64(at))};
    case XrlAtomType::BOOLEAN:
      return {std::move(name), *at != 0};
    case XrlAtomType::TEXT:
      return {std::move(name), std::string(view_text(at))};
    case XrlAtomType::IPV4:
      return {std::move(name), IPv4(load_u32(at))};
    case XrlAtomType::IPV6:
      return {std::move(name), IPv6{read_bytes<16>(at)}};
    case XrlAtomType::MAC:
      return {std::move(name), Mac{read_bytes<6>(at)}};
    case XrlAtomType::BINARY:
      return {std::move(name), XrlAtom::Binary(at + 4, at + 4 + load_u32(at))};
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
  append_length(to, text.size());
  to.append(text);
}

void append_value(std::string& to, const XrlAtom& atom) {
  switch (atom.type()) {
    case XrlAtomType::U32:
      return append_u32(to, atom.uint32());
    case XrlAtomType::I32:
      return append_u32(to, static_cast<std::uint32_t>(atom.int32()));
    case XrlAtomType::U64:
      return append_u64(to, atom.uint64());
    case XrlAtomType::I64:
      return append_u64(to, static_cast<std::uint64_t>(atom.int64()));
    case XrlAtomType::BOOLEAN:
      return to.push_back(atom.boolean() ? '\1' : '\0');
    case XrlAtomType::TEXT:
      return append_text(to, atom.text());
    case XrlAtomType::IPV4:
      return append_u32(to, atom.ipv4().host_order());
    case XrlAtomType::IPV6:
      return append_bytes(to, atom.ipv6().bytes);
    case XrlAtomType::MAC:
      return append_bytes(to, atom.mac().bytes);
    case XrlAtomType::BINARY:
      append_length(to, atom.binary().size());
      return append_bytes(to, atom.binary());
    case XrlAtomType::LIST:
      to.push_back(static_cast<char>(atom.list().element_type()));
      append_length(to, atom.list().size());
      return append_text(to, atom.list().encoded());
    case XrlAtomType::NONE:
      break;
  }
  XLOG_ASSERT(false, "atom " + atom.name() + " has no value");
}

void append_atom(std::string& to, const XrlAtom& atom) {
  to.push_back(static_cast<char>(atom.type()));
  to.push_back(static_cast<char>(atom.name().size()));
  to.append(atom.name());
  append_value(to, atom);
}

}  // namespace wire_form
