// Arguments in wire form: written by stubs, read by generated handlers
// straight from the frame.
//
// A run of arguments is atom after atom: type (u8), length of the name (u8),
// name, value. Values: u32 i32 ipv4 four bytes, u64 i64 eight, bool one (0 or
// 1), mac six, ipv6 sixteen; txt and binary a u32 length and the bytes; list
// the element type (u8), the element count (u32), the length in bytes (u32)
// and the elements, each a bare value when the element type says which, and
// each a whole atom when it is 0. An empty list has element type 0.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "framework/base/ipv4.h"
#include "framework/xrl/byte_buffer.h"
#include "framework/xrl/byte_order.h"
#include "framework/xrl/xrl_atom.h"
#include "framework/xrl/xrl_atom_list.h"
#include "framework/xrl/xrl_error.h"

class XrlArgs;

// Appends arguments to a buffer.
class XrlArgsWriter {
 public:
  explicit XrlArgsWriter(ByteBuffer& to) : _to(&to) {}

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
  void text(std::string_view name, std::string_view value);
  void ipv4(std::string_view name, IPv4 value) {
    store_u32(head(XrlAtomType::IPV4, name, 4), value.host_order());
  }
  void ipv6(std::string_view name, const IPv6& value);
  void mac(std::string_view name, const Mac& value);
  void binary(std::string_view name, std::span<const std::uint8_t> value);
  void list(std::string_view name, const XrlAtomList& value);
  void atom(const XrlAtom& atom);

 private:
  // Writes type and name and answers where `value_bytes` bytes of value go.
  std::uint8_t* head(XrlAtomType type, std::string_view name, std::size_t value_bytes) {
    const std::size_t size = 2 + name.size() + value_bytes;
    std::uint8_t* at = _to->reserve(size);
    _to->commit(size);
    at[0] = static_cast<std::uint8_t>(type);
    at[1] = static_cast<std::uint8_t>(name.size());
    std::memcpy(at + 2, name.data(), name.size());
    return at + 2 + name.size();
  }

  ByteBuffer* _to;
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
  bool i32(std::string_view name, std::int32_t& out);
  bool u64(std::string_view name, std::uint64_t& out);
  bool i64(std::string_view name, std::int64_t& out);
  bool boolean(std::string_view name, bool& out);
  bool text(std::string_view name, std::string_view& out);
  bool ipv4(std::string_view name, IPv4& out);
  bool ipv6(std::string_view name, IPv6& out);
  bool mac(std::string_view name, Mac& out);
  bool binary(std::string_view name, std::span<const std::uint8_t>& out);
  // `element` NONE takes any list; otherwise every element must be unnamed
  // and of that type.
  bool list(std::string_view name, XrlAtomList& out, XrlAtomType element = XrlAtomType::NONE);

  // True when every getter succeeded and no argument is left over.
  [[nodiscard]] bool finish() {
    if (_at == _end && _atoms.empty() && _problem.empty()) [[likely]]
      return true;
    return finish_slowly();
  }

  // The first problem met, once a getter or finish() answered false:
  //   "missing argument 'acl'."
  //   "argument 'acl' is txt, u32 expected."
  //   "list 'queues' holds txt, u32 expected."
  //   "surplus argument 'colour'."
  //   "argument 'acl' given twice."
  //   "damaged arguments at byte 17."
  [[nodiscard]] const std::string& problem() const { return _problem; }
  [[nodiscard]] XrlCmdError bad_args() const { return XrlCmdError::BAD_ARGS(_problem); }

  // All arguments as atoms of their own; false (see problem()) when damaged.
  [[nodiscard]] bool all(XrlArgs& out);

 private:
  struct Found {
    std::string_view name;
    XrlAtomType type;
    const std::uint8_t* value;
    std::size_t value_bytes;
    bool taken;
  };

  // The value of the argument at the cursor, stepping over it, when it is
  // the one asked for; otherwise searches for it.
  const std::uint8_t* fixed(XrlAtomType type, std::string_view name, std::size_t value_bytes) {
    const std::size_t size = 2 + name.size() + value_bytes;
    if (static_cast<std::size_t>(_end - _at) >= size && _atoms.empty() && _problem.empty() &&
        _at[0] == static_cast<std::uint8_t>(type) && _at[1] == name.size() &&
        std::memcmp(_at + 2, name.data(), name.size()) == 0) [[likely]] {
      const std::uint8_t* value = _at + 2 + name.size();
      _at = value + value_bytes;
      return value;
    }
    return search(type, name);
  }
  const std::uint8_t* search(XrlAtomType type, std::string_view name,
                             std::size_t* value_bytes = nullptr);
  bool index_atoms();
  bool finish_slowly();
  bool fail(std::string problem);

  const std::uint8_t* _begin;
  const std::uint8_t* _at;
  const std::uint8_t* _end;
  std::vector<Found> _atoms;  // all of them, once the order was not the expected one
  std::string _problem;
};
