#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <numeric>
#include <random>

#include "bench/big_switch.h"
#include "bench/growth.h"
#include "bench/measure.h"
#include "bench/store_sections.h"

namespace {

constexpr double MOST_BYTES_OF_RULE = 200;
constexpr double MOST_BYTES_OF_BINDING = 64;
constexpr std::size_t SEVERAL = 4;  // times as many bindings as rules

struct Taken {
  double heap;      // bytes that the allocator has given out, its own heads included
  double resident;  // bytes
};

Taken taken() {
  const struct mallinfo2 heap = mallinfo2();
  return {static_cast<double>(heap.uordblks + heap.hblkhd),
          static_cast<double>(memory_of(getpid()).resident)};
}

// Heap and resident bytes that `fill` takes for each of `count` things, and
// what it answers.
template <typename Fill>
std::vector<double> bytes_of_each(std::size_t count, Fill fill) {
  const Taken before = taken();
  const double answer = fill();
  const Taken after = taken();
  const auto each = static_cast<double>(count);
  return {(after.heap - before.heap) / each, (after.resident - before.resident) / each,
          answer / each};
}

bool measure_rules(std::size_t largest) {
  std::printf("Memory of a rule of six short fields, bytes\n%10s %8s %8s %12s %12s\n", "rules",
              "heap", "texts", "above texts", "resident");
  double most = 0;
  for (const std::size_t rules : tenfold_sizes(largest)) {
    const std::vector<double> bytes = in_fresh_process([rules] {
      PolicyTree tree;
      return bytes_of_each(rules, [&] { return static_cast<double>(create_acl(tree, 1, rules)); });
    });
    const double above = bytes[0] - bytes[2];
    std::printf("%10s %8.1f %8.1f %12.1f %12.1f\n", short_size(rules).c_str(), bytes[0], bytes[2],
                above, bytes[1]);
    most = std::max(most, above);
  }
  std::printf("above texts %.1f (%s)\n\n", most, at_most(most, MOST_BYTES_OF_RULE).c_str());
  return most <= MOST_BYTES_OF_RULE;
}

// In which order filters come, and which rules they name.
enum class Order { ASCENDING, RANDOM, ACL_EACH };

// Binding number b is on record b % RECORDS, the next rule there.
std::vector<double> fill_with_bindings(std::size_t bindings, Order order) {
  PolicyTree tree;
  create_ports(tree);
  create_vlans(tree);
  const std::vector<PolicyInfo*> records = records_of(tree);
  const auto turns = static_cast<std::uint32_t>((bindings + RECORDS - 1) / RECORDS);
  const std::uint32_t acls = order == Order::ACL_EACH ? turns : 1;
  for (std::uint32_t acl = 0; acl < acls; ++acl) (void)create_acl(tree, acl, turns / acls);
  std::vector<std::uint32_t> turn_of(turns);
  std::iota(turn_of.begin(), turn_of.end(), 0U);
  if (order == Order::RANDOM) std::shuffle(turn_of.begin(), turn_of.end(), std::minstd_rand(1));
  return bytes_of_each(bindings, [&] {
    for (std::size_t binding = 0; binding < bindings; ++binding) {
      const std::uint32_t turn = turn_of[binding / RECORDS];
      bind(*records[binding % RECORDS],
           order == Order::ACL_EACH ? PolicyBindingKey{turn, 0} : PolicyBindingKey{0, turn});
    }
    return 0.0;
  });
}

bool measure_bindings(std::size_t largest) {
  std::printf(
      "Memory of a binding on %u ports and %u VLANs, heap bytes (resident bytes)\n"
      "%10s %16s %16s %16s\n",
      PORTS, LAST_VLAN, "bindings", "ascending", "random order", "each an ACL");
  double most = 0;
  std::vector<std::size_t> sizes = tenfold_sizes(largest);
  if (largest >= 1000000) sizes.push_back(largest * SEVERAL);
  for (const std::size_t bindings : sizes) {
    std::printf("%10s", short_size(bindings).c_str());
    for (const Order order : {Order::ASCENDING, Order::RANDOM, Order::ACL_EACH}) {
      const std::vector<double> bytes =
          in_fresh_process([=] { return fill_with_bindings(bindings, order); });
      std::printf(" %8.1f (%5.1f)", bytes[0], bytes[1]);
      most = std::max(most, bytes[0]);
    }
    std::printf("\n");
  }
  std::printf("a binding %.1f (%s)\n\n", most, at_most(most, MOST_BYTES_OF_BINDING).c_str());
  return most <= MOST_BYTES_OF_BINDING;
}

}  // namespace

bool measure_memory(std::size_t largest) {
  const bool rules = measure_rules(largest);
  return measure_bindings(largest) && rules;
}
