// Any text, as each of the formats, is refused or becomes a configuration that
// reads the same when it is written out; what is said of it is a line each.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "tests/fuzz/fuzz_check.h"
#include "tools/policyctl/import/import_text.h"
#include "tools/policyctl/language/read_configuration.h"
#include "tools/policyctl/language/write_configuration.h"

namespace {

constexpr std::uint32_t LAST_BUT_ONE = 4294967294;

bool is_one_line(std::string_view text) {
  return !text.empty() && text.find_first_of("\n\r\x1b") == std::string_view::npos;
}

void check_import(const Import& import) {
  for (const Fault& fault : import.faults) FUZZ_CHECK(is_one_line(fault.message));
  for (const ImportNote& note : import.notes) FUZZ_CHECK(is_one_line(note_line(note)));
  if (!import.faults.empty()) return;
  const std::string written = write_configuration(import.configuration);
  const ReadConfiguration read = read_configuration(written);
  FUZZ_CHECK(read.faults.empty());
  FUZZ_CHECK(write_configuration(read.configuration) == written);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  for (const ImportFormat& format : import_formats()) {
    check_import(import_text(format, text, {LAST_BUT_ONE}));
  }
  return 0;
}
