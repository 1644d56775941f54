// Any text is refused with a position within it, or read and printed as a
// text that reads the same; any bytes are a name and a value that come back.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "framework/xrl/limits.h"
#include "framework/xrl/xrl.h"
#include "tests/fuzz/fuzz_check.h"

namespace {

template <typename T>
void parse_and_print(std::string_view text) {
  try {
    const T value = T::parse(text);
    const std::string printed = value.str();
    const T again = T::parse(printed);
    FUZZ_CHECK(again == value);
    FUZZ_CHECK(again.str() == printed);
  } catch (const XrlParseError& error) {
    FUZZ_CHECK(error.position() <= text.size());
    FUZZ_CHECK(!error.str().empty());
  }
}

void print_and_parse(std::string_view bytes) {
  const std::string name(bytes.substr(0, xrl_limits::MAX_NAME_BYTES));
  XrlAtomList list;
  list.append(bytes);
  list.append(XrlAtom(name, XrlAtom::Binary(bytes.begin(), bytes.end())));
  list.append(XrlAtom(name, list));
  const XrlAtom atom(name, list);
  FUZZ_CHECK(XrlAtom::parse(atom.str()) == atom);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  parse_and_print<Xrl>(input);
  parse_and_print<XrlArgs>(input);
  parse_and_print<XrlAtom>(input);
  parse_and_print<XrlAtomList>(input);
  print_and_parse(input);
  return 0;
}
