#include <cstdio>
#include <string>
#include <utility>

#include "bench/big_switch.h"
#include "bench/direct_target.h"
#include "bench/growth.h"
#include "bench/measure.h"
#include "bench/store_sections.h"

namespace {

constexpr std::size_t WHOLE_ROUNDS = 5;

// A command that takes as long as what it is about is large.
struct Command {
  const char* what;
  const char* request;
  std::vector<std::size_t> sizes;
  void (*fill)(PolicyTree& tree, std::size_t size);
  // Makes the next round find what the first one found; null for a command
  // that changes nothing.
  void (*refill)(PolicyTree& tree, std::size_t size);
};

void nothing(PolicyTree& /*tree*/, std::size_t /*size*/) {}

void fill_ports(PolicyTree& tree, std::size_t ports) {
  create_ports(tree, static_cast<std::uint32_t>(ports));
  (void)create_acl(tree, 1, 1);
}

void unbind_all(PolicyTree& tree, std::size_t /*size*/) {
  for (PolicyInfo* record : records_of(tree)) record->clear_filters();
}

void fill_acls(PolicyTree& tree, std::size_t acls) {
  for (std::size_t acl = 1; acl <= acls; ++acl) {
    (void)create_acl(tree, static_cast<std::uint32_t>(acl), 0);
  }
}

void fill_rules(PolicyTree& tree, std::size_t rules) {
  (void)create_acl(tree, 1, rules);
}

void bind_on_all(PolicyTree& tree, std::size_t bindings) {
  const std::vector<PolicyInfo*> records = records_of(tree);
  for (std::size_t binding = 0; binding < bindings; ++binding) {
    bind(*records[binding % RECORDS], {1, static_cast<std::uint32_t>(binding / RECORDS)});
  }
}

void fill_bindings(PolicyTree& tree, std::size_t bindings) {
  create_ports(tree);
  create_vlans(tree);
  (void)create_acl(tree, 1, bindings / RECORDS + 1);
  bind_on_all(tree, bindings);
}

std::vector<double> seconds_of(const Command& command, std::size_t size) {
  DirectTarget target;
  command.fill(target.tree(), size);
  const DirectTarget::Request request = target.request(command.request);
  std::vector<double> seconds;
  for (std::size_t round = 0; round < WHOLE_ROUNDS; ++round) {
    if (round > 0) command.refill(target.tree(), size);
    seconds.push_back(DirectTarget::cpu_seconds_of(request));
  }
  return {median(seconds)};
}

void measure(const Command& command) {
  std::vector<double> each;
  for (const std::size_t size : command.sizes) {
    const double seconds = in_fresh_process([&] { return seconds_of(command, size); }).front();
    each.push_back(seconds / static_cast<double>(size));
    std::printf("%-30s %8s %12.3f ms %9.1f ns\n", command.what, short_size(size).c_str(),
                seconds * 1e3, each.back() * 1e9);
  }
  std::printf("%-30s %8s %12s    %9.2f\n\n", "", "", "ratio of each",
              worst_ratio_per_tenfold(command.sizes, each));
  std::fflush(stdout);
}

}  // namespace

void measure_whole(std::size_t largest) {
  std::printf("Commands on many things: all of it, and for each of them\n");
  const std::vector<std::size_t> sizes = tenfold_sizes(largest);
  std::vector<std::size_t> ports;
  for (const std::size_t count : {16U, 128U, 1024U}) {
    if (count == 16 || count <= largest) ports.push_back(count);
  }
  const std::vector<Command> commands{
      {"set_all_ports_packet_filter", "set_all_ports_packet_filter?acl:u32=1&rule:u32=0", ports,
       fill_ports, unbind_all},
      {"get_acls", "get_acls", sizes, fill_acls, nothing},
      {"get_rules", "get_rules?acl:u32=1", sizes, fill_rules, nothing},
      {"delete_acl with its rules", "delete_acl?acl:u32=1", sizes, fill_rules, fill_rules},
      {"clear_all_packet_filters", "clear_all_packet_filters", sizes, fill_bindings, bind_on_all},
  };
  for (const Command& command : commands) measure(command);
}
