// Any text is refused with faults that lie within it and can be printed, or is a
// configuration that reads the same when it is written out. What may follow any
// of its lines can be asked.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>
#include <string_view>

#include "tests/fuzz/fuzz_check.h"
#include "tools/policyctl/entries/scopes.h"
#include "tools/policyctl/language/read_configuration.h"
#include "tools/policyctl/language/write_configuration.h"

namespace {

void check_faults(std::string_view text, const std::vector<Fault>& faults) {
  const auto lines = 1 + static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
  for (const Fault& fault : faults) {
    FUZZ_CHECK(fault.line >= 1 && fault.line <= lines);
    FUZZ_CHECK(fault.column >= 1 && fault.column <= text.size() + 1 && fault.length >= 1);
    FUZZ_CHECK(!fault.message.empty());
    FUZZ_CHECK((fault.message + fault.advice).find_first_of("\n\x1b") == std::string::npos);
  }
  std::ostringstream out;
  print_faults(out, {"input", std::string(text)}, faults);
  FUZZ_CHECK(out.str().empty() == faults.empty());
}

void check_expectations(std::string_view text) {
  Words words;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size() - 1);
    if (!words.split(text.substr(0, end))) {
      for (const Scope* const context : {&TOP_LEVEL, &IN_A_LIST, &AT_A_RECORD}) {
        (void)expected_after(context, words.all());
      }
    }
    text.remove_prefix(end + 1);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const ReadConfiguration read = read_configuration(text);
  check_faults(text, read.faults);
  check_expectations(text);
  if (!read.faults.empty()) return 0;
  const std::string written = write_configuration(read.configuration);
  const ReadConfiguration again = read_configuration(written);
  FUZZ_CHECK(again.faults.empty());
  FUZZ_CHECK(write_configuration(again.configuration) == written);
  return 0;
}
