// Arguments in wire form: written by stubs, read by generated handlers
// straight from the frame.
// Where each field lies is told in wire_layout.h.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "framework/base/ipv4.h"
#include "framework/xrl/byte_buffer.h"
#include "framework/xrl/limits.h"
#include "framework/xrl/wire_layout.h"
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

  // Each appends one argument behind those before it.
  void u32(std::string_view name, std::uint32_t value) { fixed(name, value); }
  void i32(std::string_view name, std::int32_t value) { fixed(name, value); }
  void u64(std::string_view name, std::uint64_t value) { fixed(name, value); }
  void i64(std::string_view name, std::int64_t value) { fixed(name, value); }
  void boolean(std::string_view name, bool value) { fixed(name, value); }
  void ipv4(std::string_view name, IPv4 value) { fixed(name, value); }
  void ipv6(std::string_view name, const IPv6& value) { fixed(name, value); }
  void mac(std::string_view name, const Mac& value) { fixed(name, value); }
  void text(std::string_view name, std::string_view value) {
    counted(XrlAtomType::TEXT, name, value.data(), value.size());
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
    const wire_layout::AtomHead head{type, name};
    const std::size_t size = head.bytes() + value_bytes;
    std::uint8_t* at = _to->reserve(size);
    _to->commit(size);
    wire_layout::store_atom_head(at, head);
    return at + head.bytes();
  }
  template <typename Value>
  void fixed(std::string_view name, const Value& value) {
    using wire_layout::BYTES_OF, wire_layout::TYPE_OF;
    wire_layout::store(head(TYPE_OF<Value>, name, BYTES_OF<Value>), value);
  }
  void counted(XrlAtomType type, std::string_view name, const void* bytes, std::size_t count) {
    if (count > xrl_limits::MAX_TEXT_BYTES) [[unlikely]] {
      refuse();
      count = 0;
    }
    wire_layout::store_counted(head(type, name, wire_layout::LENGTH_BYTES + count), bytes, count);
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
  // The bytes must stay as long as the reader and what it lent.
  explicit XrlArgsReader(std::span<const std::uint8_t> args)
      : _begin(args.data()), _at(args.data()), _end(args.data() + args.size()) {}

  bool u32(std::string_view name, std::uint32_t& out) { return fixed(name, out); }
  bool i32(std::string_view name, std::int32_t& out) { return fixed(name, out); }
  bool u64(std::string_view name, std::uint64_t& out) { return fixed(name, out); }
  bool i64(std::string_view name, std::int64_t& out) { return fixed(name, out); }
  bool boolean(std::string_view name, bool& out) { return fixed(name, out); }
  bool ipv4(std::string_view name, IPv4& out) { return fixed(name, out); }
  bool ipv6(std::string_view name, IPv6& out) { return fixed(name, out); }
  bool mac(std::string_view name, Mac& out) { return fixed(name, out); }
  bool text(std::string_view name, std::string_view& out) {
    const std::uint8_t* value = counted(XrlAtomType::TEXT, name);
    if (value == nullptr) [[unlikely]]
      return false;
    out = wire_layout::view_text(value);
    return true;
  }
  bool binary(std::string_view name, std::span<const std::uint8_t>& out) {
    const std::uint8_t* value = counted(XrlAtomType::BINARY, name);
    if (value == nullptr) [[unlikely]]
      return false;
    out = wire_layout::view_binary(value);
    return true;
  }
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
    const wire_layout::AtomHead head{type, name};
    const bool is_it = static_cast<std::size_t>(_end - _at) >= head.bytes() + value_bytes &&
                       in_order() && wire_layout::is_atom_head(_at, head);
    return is_it ? _at + head.bytes() : nullptr;
  }
  // Reads the value asked for, stepping over it when it is at the cursor and
  // searching for it otherwise; false when it cannot be had.
  template <typename Value>
  bool fixed(std::string_view name, Value& out) {
    using wire_layout::BYTES_OF, wire_layout::TYPE_OF;
    const std::uint8_t* value = next(TYPE_OF<Value>, name, BYTES_OF<Value>);
    if (value != nullptr && is_sound<Value>(value)) [[likely]] {
      _at = value + BYTES_OF<Value>;
    } else {
      value = search(TYPE_OF<Value>, name);
      if (value == nullptr) return false;
    }
    out = wire_layout::load<Value>(value);
    return true;
  }
  template <typename Value>
  [[nodiscard]] static bool is_sound(const std::uint8_t* value) {
    return !std::is_same_v<Value, bool> || wire_layout::is_bool(*value);
  }
  // Where the value asked for is, stepping over it when it is at the cursor and
  // searching for it otherwise; null when it cannot be had.
  const std::uint8_t* counted(XrlAtomType type, std::string_view name) {
    const std::uint8_t* value = next(type, name, wire_layout::LENGTH_BYTES);
    if (value == nullptr) [[unlikely]]
      return search(type, name);
    const std::size_t bytes = wire_layout::counted_bytes(value);
    if (bytes > wire_layout::LENGTH_BYTES + xrl_limits::MAX_TEXT_BYTES ||
        bytes > static_cast<std::size_t>(_end - value)) [[unlikely]]
      return search(type, name);
    _at = value + bytes;
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
