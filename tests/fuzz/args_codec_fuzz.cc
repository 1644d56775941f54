// Any bytes are damaged arguments, or arguments that can be read in any order,
// written again, and told in text. Read one by one, as one who knows what is to come
// does, damaged ones give nothing that lies outside of them.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "framework/xrl/byte_buffer.h"
#include "framework/xrl/xrl_args.h"
#include "framework/xrl/xrl_args_codec.h"
#include "tests/fuzz/fuzz_check.h"

namespace {

using Bytes = std::span<const std::uint8_t>;

void walk(const XrlAtomList& list) {
  FUZZ_CHECK(list.within_limits());
  XrlAtomList rebuilt;
  for (const XrlAtom& element : list.atoms()) {
    if (element.type() == XrlAtomType::LIST) walk(element.list());
    FUZZ_CHECK(!list.holds_only(element.type()) || element.name().empty());
    rebuilt.append(element);
  }
  FUZZ_CHECK(rebuilt == list);
  FUZZ_CHECK(rebuilt.element_type() == list.element_type());
  FUZZ_CHECK(XrlAtomList(list) == list);
  if (list.holds_only(XrlAtomType::TEXT)) {
    XrlAtomList copy;
    for (const std::string_view text : list.texts()) copy.append(text);
    FUZZ_CHECK(copy == list);
  }
  if (list.holds_only(XrlAtomType::U32)) {
    XrlAtomList copy;
    for (const std::uint32_t number : list.u32s()) copy.append(number);
    FUZZ_CHECK(copy == list);
  }
}

// Reads the argument called like `atom` and compares; false when refused.
bool read(XrlArgsReader& reader, const XrlAtom& atom) {
  const std::string& name = atom.name();
  switch (atom.type()) {
    case XrlAtomType::U32: {
      std::uint32_t value = 0;
      return reader.u32(name, value) && value == atom.uint32();
    }
    case XrlAtomType::I32: {
      std::int32_t value = 0;
      return reader.i32(name, value) && value == atom.int32();
    }
    case XrlAtomType::U64: {
      std::uint64_t value = 0;
      return reader.u64(name, value) && value == atom.uint64();
    }
    case XrlAtomType::I64: {
      std::int64_t value = 0;
      return reader.i64(name, value) && value == atom.int64();
    }
    case XrlAtomType::BOOLEAN: {
      bool value = false;
      return reader.boolean(name, value) && value == atom.boolean();
    }
    case XrlAtomType::TEXT: {
      std::string_view value;
      return reader.text(name, value) && value == atom.text();
    }
    case XrlAtomType::IPV4: {
      IPv4 value;
      return reader.ipv4(name, value) && value == atom.ipv4();
    }
    case XrlAtomType::IPV6: {
      IPv6 value;
      return reader.ipv6(name, value) && value == atom.ipv6();
    }
    case XrlAtomType::MAC: {
      Mac value;
      return reader.mac(name, value) && value == atom.mac();
    }
    case XrlAtomType::BINARY: {
      Bytes value;
      return reader.binary(name, value) &&
             XrlAtom::Binary(value.begin(), value.end()) == atom.binary();
    }
    case XrlAtomType::LIST: {
      XrlAtomList value;
      return reader.list(name, value, atom.list().element_type()) && value == atom.list();
    }
    case XrlAtomType::NONE:
      break;
  }
  return false;
}

bool is_within(const void* at, std::size_t bytes, Bytes input) {
  const auto* const begin = static_cast<const std::uint8_t*>(at);
  return bytes == 0 || (begin >= input.data() && begin + bytes <= input.data() + input.size());
}

// Asks for what seems to be the next argument until one is refused.
void read_as_far_as_it_goes(Bytes input) {
  XrlArgsReader reader(input);
  for (std::size_t at = 0; at + 2 <= input.size();) {
    const std::size_t name_bytes = std::min<std::size_t>(input[at + 1], input.size() - at - 2);
    const std::string_view name(reinterpret_cast<const char*>(input.data()) + at + 2, name_bytes);
    std::size_t bytes = 0;
    bool read = false;
    switch (static_cast<XrlAtomType>(input[at])) {
      case XrlAtomType::U32: {
        std::uint32_t value = 0;
        read = reader.u32(name, value);
        bytes = 4;
        break;
      }
      case XrlAtomType::U64: {
        std::uint64_t value = 0;
        read = reader.u64(name, value);
        bytes = 8;
        break;
      }
      case XrlAtomType::BOOLEAN: {
        bool value = false;
        read = reader.boolean(name, value);
        bytes = 1;
        break;
      }
      case XrlAtomType::TEXT: {
        std::string_view value;
        read = reader.text(name, value);
        bytes = 4 + value.size();
        FUZZ_CHECK(is_within(value.data(), value.size(), input));
        break;
      }
      case XrlAtomType::IPV6: {
        IPv6 value;
        read = reader.ipv6(name, value);
        bytes = value.bytes.size();
        break;
      }
      case XrlAtomType::MAC: {
        Mac value;
        read = reader.mac(name, value);
        bytes = value.bytes.size();
        break;
      }
      case XrlAtomType::LIST: {
        XrlAtomList value;
        read = reader.list(name, value);
        bytes = 9 + value.encoded().size();
        if (read) walk(value);
        break;
      }
      default:
        return;
    }
    if (!read) return;
    at += 2 + name_bytes + bytes;
    FUZZ_CHECK(at <= input.size());
  }
}

// Reads the first argument of each name; the whole is refused exactly when
// there is another of that name.
void read_by_name(Bytes input, const std::vector<const XrlAtom*>& firsts, bool all_unique) {
  XrlArgsReader reader(input);
  bool all_read = true;
  for (const XrlAtom* atom : firsts) all_read = all_read && read(reader, *atom);
  all_read = all_read && reader.finish();
  FUZZ_CHECK(all_read == all_unique);
  FUZZ_CHECK(all_read || reader.problem().ends_with("' given twice."));
}

void read_by_name_in_any_order(Bytes input, const XrlArgs& args) {
  std::vector<const XrlAtom*> firsts;
  for (const XrlAtom& atom : args) {
    if (args.find(atom.name()) == &atom) firsts.push_back(&atom);
  }
  const bool all_unique = firsts.size() == args.size();
  read_by_name(input, firsts, all_unique);
  std::reverse(firsts.begin(), firsts.end());
  read_by_name(input, firsts, all_unique);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const Bytes input(data, size);
  read_as_far_as_it_goes(input);
  XrlArgsReader reader(input);
  XrlArgs args;
  if (!reader.all(args)) {
    FUZZ_CHECK(reader.problem().starts_with("damaged arguments at byte "));
    return 0;
  }

  ByteBuffer buffer;
  bool past_limit = false;
  XrlArgsWriter writer(buffer, &past_limit);
  for (const XrlAtom& atom : args) {
    if (atom.type() == XrlAtomType::LIST) walk(atom.list());
    writer.atom(atom);
  }
  FUZZ_CHECK(!past_limit);
  XrlArgs again;
  FUZZ_CHECK(XrlArgsReader(buffer.bytes()).all(again));
  FUZZ_CHECK(again == args);
  FUZZ_CHECK(XrlArgs::parse(args.str()) == args);
  read_by_name_in_any_order(input, args);
  return 0;
}
