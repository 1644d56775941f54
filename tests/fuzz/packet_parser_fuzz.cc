// Whatever frame comes in: the program in the kernel decides about it, and changes it, as
// the plain model does that shares no code with it. The first byte chooses the list of
// rules and the form of its tables, the others are the frame.
//
// Needs root and BPF; elsewhere no input does anything.
#include <bpf/bpf.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "linuxcard/ebpf/loaded_list.h"
#include "tests/fuzz/fuzz_check.h"
#include "tests/unit/linuxcard/crafted_frames.h"
#include "tests/unit/linuxcard/first_match_model.h"

namespace {

constexpr std::size_t LISTS = 8;
constexpr std::size_t RULES = 64;
// What the kernel takes for a frame here.
constexpr std::size_t SHORTEST = 14;
constexpr std::size_t LONGEST = 3000;
constexpr std::uint32_t DROP = 2;

// The call refuses packets of IP that are shorter than their header; behind a tag it does
// not look at them.
bool is_refused(const model::Frame& frame) {
  const int type = frame[12] << 8 | frame[13];
  return (type == 0x0800 && frame.size() < SHORTEST + 20) ||
         (type == 0x86dd && frame.size() < SHORTEST + 40);
}

struct List {
  std::unique_ptr<LoadedList> loaded;
  std::unique_ptr<model::FirstMatch> plain;
};

List make_list(std::uint64_t seed, TableForm form) {
  Random random(seed);
  const auto rules = std::make_shared<const RuleList>(random_rules(RULES, random));
  const ListPart part{0, rules};
  const auto compiled = compile({&part, 1}, {});
  const auto& list = std::get<CompiledList>(compiled);
  auto loaded = std::make_unique<LoadedList>(list, form, -1);
  loaded->enable(enabled_words({&part, 1}, loaded->header(), loaded->cells(), {"now"}));
  return {std::move(loaded),
          std::make_unique<model::FirstMatch>(*rules, std::set<std::string>{"now"})};
}

// Empty where they cannot be.
std::vector<List> make_lists() {
  std::vector<List> lists;
  try {
    const TableForm best = best_table_form();
    for (std::size_t i = 0; i < LISTS; ++i) {
      lists.push_back(make_list(i, i % 2 == 0 ? best : TableForm::ARRAY));
    }
  } catch (const LoadError& problem) {
    std::fprintf(stderr, "skipped: %s\n", problem.what());
    lists.clear();
  }
  return lists;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::vector<List> lists = make_lists();
  if (lists.empty() || size < 1 + SHORTEST || size > 1 + LONGEST) return 0;
  const List& list = lists[data[0] % LISTS];
  const model::Frame frame(data + 1, data + size);
  if (is_refused(frame)) return 0;

  model::Frame after(frame.size() + 64);
  bpf_test_run_opts options{};
  options.sz = sizeof options;
  options.data_in = frame.data();
  options.data_size_in = static_cast<std::uint32_t>(frame.size());
  options.data_out = after.data();
  options.data_size_out = static_cast<std::uint32_t>(after.size());
  FUZZ_CHECK(bpf_prog_test_run_opts(list.loaded->program(), &options) == 0);
  after.resize(options.data_size_out);

  const model::Verdict verdict = list.plain->decide(frame);
  FUZZ_CHECK((options.retval != DROP) == verdict.passes);
  FUZZ_CHECK(!verdict.passes || after == verdict.frame);
  return 0;
}
