// Arguments in wire form: written by stubs, read by generated handlers
// straight from the frame.
//
// A run of arguments is atom after atom: type (u8), length of the name (u8),
// name, value. Values: u32 i32 ipv4 four bytes, u64 i64 eight, bool one (0 or
// 1), mac six, ipv6 sixteen; txt and binary a u32 length and the bytes; list
// the element type (u8), the element count (u32), the length in bytes (u32)
// and the elements, each a bare value when the element type says which, and
// each a whole atom when it is 0. An empty list has element type 0. How much of
// each there may be is in limits.h.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "framework/base/ipv4.h"
#include "framework/xrl/byte_buffer.h"
#include "framework/xrl/byte_order.h"
#include "framework/xrl/limits.h"
#include "framework/xrl/xrl_atom.h"
#include "framework/xrl/xrl_atom_list.h"
#include "framework/xrl/xrl_error.h"

class XrlArgs;

// Appends arguments to a buffer. Names are at most xrl_limits::MAX_NAME_BYTES
// long.
class XrlArgsWriter {
 public:
  // A text, binary or list past its limit is written as an empty one and sets
  // `past_limit` (unless null), which must live as long as the writer: what
  // was written is then not to be sent.
  explicit XrlArgsWriter(ByteBuffer& to, bool* past_limit = nullptr)
      : _to(&to), _past_limit(past_limit) {}

  void u32(std::string_view name, std::uint32_t value) {
    store_u32(head(XrlAtomType::U32, name, 4), value);
  }
  void i32(std::string_view name, std::int32_t value) {
    store_u32(head(XrlAtomType::I32, name, 4), static_cast<std::uint32_t>(value));
  }
  void u64(std::string_view name, std::uint64_t value) {
    store_u64(head(XrlAtomType::U64, name, 8), value);
  }
  void i64(std::string_view name, std::int64_t value) {
    store_u64(head(XrlAtomType::I64, name, 8), static_cast<std::uint64_t>(value));
  }
  void boolean(std::string_view name, bool value) {
    *head(XrlAtomType::BOOLEAN, name, 1) = value ? 1 : 0;
  }
  void text(std::string_view name, std::string_view value) {
    counted(XrlAtomType::TEXT, name, value.data(), value.size());
  }
  void ipv4(std::string_view name, IPv4 value) {
    store_u32(head(XrlAtomType::IPV4, name, 4), value.host_order());
  }
  void ipv6(std::string_view name, const IPv6& value) {
    std::memcpy(head(XrlAtomType::IPV6, name, 16), value.bytes.data(), 16);
  }
  void mac(std::string_view name, const Mac& value) {
    std::memcpy(head(XrlAtomType::MAC, name, 6), value.bytes.data(), 6);
  }
  void binary(std::string_view name, std::span<const std::uint8_t> value) {
    counted(XrlAtomType::BINARY, name, value.data(), value.size());
  }
  void list(std::string_view name, const XrlAtomList& value);
  // `atom` is of some type.
  void atom(const XrlAtom& atom);

 private:
  // Writes type and name and answers where `value_bytes` bytes of value go.
  std::uint8_t* head(XrlAtomType type, std::string_view name, std::size_t value_bytes) {
    const std::size_t size = 2 + name.size() + value_bytes;
    std::uint8_t* at = _to->reserve(size);
    _to->commit(size);
    at[0] = static_cast<std::uint8_t>(type);
    at[1] = static_cast<std::uint8_t>(name.size());
    if (!name.empty()) std::memcpy(at + 2, name.data(), name.size());
    return at + 2 + name.size();
  }
  void counted(XrlAtomType type, std::string_view name, const void* bytes, std::size_t count) {
    if (count > xrl_limits::MAX_TEXT_BYTES) [[unlikely]] {
      refuse();
      count = 0;
    }
    std::uint8_t* at = head(type, name, 4 + count);
    store_u32(at, static_cast<std::uint32_t>(count));
    if (count != 0) std::memcpy(at + 4, bytes, count);
  }
  void refuse() {
    if (_past_limit != nullptr) *_past_limit = true;
  }

  ByteBuffer* _to;
  bool* _past_limit;
};

// Reads arguments by name. Reading them in the order they were written costs
// one comparison each; any other order is found too.
//
// Each getter answers true and sets `out`, or answers false and leaves it
// alone; after the last one, finish() answers whether all that was asked for
// was there, well-typed, and nothing else. Views and lists borrow from the
// frame.
class XrlArgsReader {
 public:
  explicit XrlArgsReader(std::span<const std::uint8_t> args)
      : _begin(args.data()), _at(args.data()), _end(args.data() + args.size()) {}

  bool u32(std::string_view name, std::uint32_t& out) {
    const std::uint8_t* value = fixed(XrlAtomType::U32, name, 4);
    if (value == nullptr) [[unlikely]]
      return false;
    out = load_u32(value);
    return true;
  }
  bool i32(std::string_view name, std::int32_t& out) {
    const std::uint8_t* value = fixed(XrlAtomType::I32, name, 4);
    if (value == nullptr) [[unlikely]]
      return false;
    out = static_cast<std::int32_t>(load_u32(value));
    return true;
  }
  bool u64(std::string_view name, std::uint64_t& out) {
    const std::uint8_t* value = fixed(XrlAtomType::U64, name, 8);
    if (value == nullptr) [[unlikely]]
      return false;
    out = load_u64(value);
    return true;
  }
  bool i64(std::string_view name, std::int64_t& out) {
    const std::uint8_t* value = fixed(XrlAtomType::I64, name, 8);
    if (value == nullptr) [[unlikely]]
      return false;
    out = static_cast<std::int64_t>(load_u64(value));
    return true;
  }
  bool boolean(std::string_view name, bool& out);
  bool text(std::string_view name, std::string_view& out) {
    const std::uint8_t* value = counted(XrlAtomType::TEXT, name);
    if (value == nullptr) [[unlikely]]
      return false;
    out = {reinterpret_cast<const char*>(value + 4), load_u32(value)};
    return true;
  }
  bool ipv4(std::string_view name, IPv4& out) {
    const std::uint8_t* value = fixed(XrlAtomType::IPV4, name, 4);
    if (value == nullptr) [[unlikely]]
      return false;
    out = IPv4(load_u32(value));
    return true;
  }
  bool ipv6(std::string_view name, IPv6& out);
  bool mac(std::string_view name, Mac& out);
  bool binary(std::string_view name, std::span<const std::uint8_t>& out);
  // `element` NONE takes any list; otherwise every element must be unnamed
  // and of that type.
  bool list(std::string_view name, XrlAtomList& out, XrlAtomType element = XrlAtomType::NONE);

  // True when every getter succeeded and no argument is left over.
  [[nodiscard]] bool finish() {
    if (_at == _end && in_order()) [[likely]]
      return true;
    return finish_slowly();
  }

  // The first problem met, once a getter or finish() answered false:
  //   "missing argument 'acl'."
  //   "missing argument 'acl' (found 'acll')." when one that was not asked for
  //   yet looks like a misspelling
  //   "argument 'acl' is txt, u32 expected."
  //   "list 'queues' holds txt, u32 expected."
  //   "surplus argument 'colour'."
  //   "argument 'acl' given twice."
  //   "damaged arguments at byte 17." counting from the first argument
  // A name is told in its textual form.
  [[nodiscard]] const std::string& problem() const { return _problem; }
  [[nodiscard]] XrlCmdError bad_args() const { return XrlCmdError::BAD_ARGS(_problem); }

  // All arguments, in order, as atoms of their own; false (see problem()) and
  // `out` left alone when damaged. The same name may stand there twice.
  [[nodiscard]] bool all(XrlArgs& out);

 private:
  struct Found {
    std::string_view name;
    XrlAtomType type;
    const std::uint8_t* value;
    bool taken;
  };

  // Nothing but what was asked for has been met so far.
  [[nodiscard]] bool in_order() const { return _atoms.empty() && _problem.empty(); }

  // Where the value of the argument at the cursor begins when that is the one
  // asked for and `value_bytes` follow; null otherwise.
  const std::uint8_t* next(XrlAtomType type, std::string_view name, std::size_t value_bytes) const {
    const std::size_t head = 2 + name.size();
    const bool is_it = static_cast<std::size_t>(_end - _at) >= head + value_bytes && in_order() &&
                       _at[0] == static_cast<std::uint8_t>(type) && _at[1] == name.size() &&
                       (name.empty() || std::memcmp(_at + 2, name.data(), name.size()) == 0);
    return is_it ? _at + head : nullptr;
  }
  // The value asked for, stepping over it when it is at the cursor and
  // searching for it otherwise; null when it cannot be had.
  const std::uint8_t* fixed(XrlAtomType type, std::string_view name, std::size_t value_bytes) {
    const std::uint8_t* value = next(type, name, value_bytes);
    if (value == nullptr) [[unlikely]]
      return search(type, name);
    _at = value + value_bytes;
    return value;
  }
  const std::uint8_t* counted(XrlAtomType type, std::string_view name) {
    const std::uint8_t* value = next(type, name, 4);
    if (value == nullptr) [[unlikely]]
      return search(type, name);
    const std::uint32_t count = load_u32(value);
    if (count > xrl_limits::MAX_TEXT_BYTES || count > static_cast<std::size_t>(_end - value - 4))
        [[unlikely]]
      return search(type, name);
    _at = value + 4 + count;
    return value;
  }
  const std::uint8_t* list_value(std::string_view name);

  const std::uint8_t* search(XrlAtomType type, std::string_view name);
  bool index_atoms();
  bool no_name_twice();
  bool finish_slowly();
  bool fail(std::string problem);
  bool fail_missing(std::string_view name);
  bool fail_damaged(const std::uint8_t* at);

  const std::uint8_t* _begin;
  const std::uint8_t* _at;
  const std::uint8_t* _end;
  std::vector<Found> _atoms;  // all of them, once the order was not the expected one
  std::string _problem;
};
