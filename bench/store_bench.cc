// store_bench: what the stores of policyd cost as they grow, in one process and
// without a network. A command's time is that of reading its arguments, its
// handler and writing its results: of short ones the time that passes, of long
// ones processor time; medians are printed unless it is said otherwise.
//
//   memory   of a rule of six short fields above its texts, of a binding, as
//            the allocator and the kernel tell it
//   growth   commands that ask about one rule, ACL, port or VLAN, at 10 to
//            SIZE rules and up to 4 million bindings on 4,094 VLANs and 1,024
//            ports: nothing that they do not ask about may be felt
//   whole    commands that ask about many: what each of these costs
//   longest  every command once, on a large switch: how long it keeps the loop
//
//     store_bench [SIZE] [PART]      (default 1000000 and all parts)
//
// The status is 1 when a rule or a binding takes more memory than it may.

#include <cstdio>
#include <string>

#include "bench/measure.h"
#include "bench/store_sections.h"

int main(int argc, char** argv) {
  const std::size_t largest = size_argument(argc, argv, 1, 1000000, 1000);
  const std::string part = argc > 2 ? argv[2] : "";
  const auto wanted = [&](const char* name) { return part.empty() || part == name; };
  print_conditions(("store_bench: the stores at up to " + std::to_string(largest)).c_str());
  run_on_cpu(0);
  const bool small = !wanted("memory") || measure_memory(largest);
  if (wanted("growth")) measure_growth(largest);
  if (wanted("whole")) measure_whole(largest);
  if (wanted("longest")) measure_longest(largest);
  return small ? 0 : 1;
}
