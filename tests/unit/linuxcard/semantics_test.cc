// The program in the kernel and the plain model agree about every frame: the rule that
// decides, whether it passes, and every byte of what goes on.
#include <bpf/bpf.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <string>

#include "linuxcard/ebpf/loaded_list.h"
#include "tests/unit/linuxcard/crafted_frames.h"
#include "tests/unit/linuxcard/first_match_model.h"
#include "tests/unit/linuxcard/kernel_needs.h"

namespace {

constexpr std::uint32_t TIME_RANGE_FIELD = 32;

// CLASSIFIER_FRAMES=1000000 looks at as many instead, over all tests together.
std::size_t frames_to_try(std::size_t usual) {
  const char* const wanted = std::getenv("CLASSIFIER_FRAMES");
  return wanted == nullptr ? usual : std::strtoul(wanted, nullptr, 10) / 10;
}

std::string shown(const model::Frame& frame) {
  std::string text;
  for (const std::uint8_t byte : frame) {
    constexpr const char* DIGITS = "0123456789abcdef";
    text += DIGITS[byte >> 4];
    text += DIGITS[byte & 15];
  }
  return text;
}

class InKernel {
 public:
  InKernel(const RuleList& rules, TableForm form)
      : _part{0, std::make_shared<RuleList>(rules)}, _counted(rules.size()) {
    auto compiled = compile({&_part, 1}, {});
    const auto* const refusal = std::get_if<CompileRefusal>(&compiled);
    if (refusal != nullptr) throw std::runtime_error(refusal->reason);
    const auto& list = std::get<CompiledList>(compiled);
    _loaded = std::make_unique<LoadedList>(list, form, -1);
    _loaded->enable(enabled_words({&_part, 1}, _loaded->header(), _loaded->cells(), {"now"}));
  }

  // The frame as it went on, and whether it did; `rule` is what should have counted it.
  std::pair<bool, model::Frame> run(const model::Frame& frame) {
    model::Frame out(frame.size() + 64);
    bpf_test_run_opts options{};
    options.sz = sizeof options;
    options.data_in = frame.data();
    options.data_size_in = static_cast<std::uint32_t>(frame.size());
    options.data_out = out.data();
    options.data_size_out = static_cast<std::uint32_t>(out.size());
    if (bpf_prog_test_run_opts(_loaded->program(), &options) != 0) {
      throw std::runtime_error("the kernel does not run " + shown(frame));
    }
    out.resize(options.data_size_out);
    return {options.retval != 2, out};
  }
  [[nodiscard]] std::vector<RuleHits> hits() const { return _loaded->hits(); }

 private:
  ListPart _part;
  std::vector<std::uint64_t> _counted;
  std::unique_ptr<LoadedList> _loaded;
};

// New frames, and every third time one of the latest again: of some lists the program
// remembers what it decided.
class Frames {
 public:
  Frames(const RuleList& rules, std::uint64_t seed) : _rules(rules), _random(seed) {}

  const model::Frame& next() {
    if (++_count % 3 == 0) return _latest[_random() % _latest.size()];
    const bool is_full = _latest.size() == MOST;
    model::Frame& frame = is_full ? _latest[_random() % MOST] : _latest.emplace_back();
    frame = frame_for(_rules[_random() % _rules.size()], _random);
    return frame;
  }

 private:
  static constexpr std::size_t MOST = 100;

  const RuleList& _rules;
  Random _random;
  std::vector<model::Frame> _latest;
  std::size_t _count = 0;
};

void expect_agreement(const RuleList& rules, std::size_t frames, TableForm form,
                      std::uint64_t seed) {
  NEEDS_BPF(form);
  InKernel kernel(rules, form);
  const model::FirstMatch plain(rules, {"now"});
  Frames source(rules, seed);
  std::vector<RuleHits> expected(rules.size());
  std::size_t differences = 0;
  std::size_t matched = 0;
  for (std::size_t i = 0; i < frames && differences < 3; ++i) {
    const model::Frame& frame = source.next();
    const model::Verdict verdict = plain.decide(frame);
    const auto [passes, after] = kernel.run(frame);
    if (verdict.rule) {
      ++matched;
      ++expected[*verdict.rule].packets;
      expected[*verdict.rule].bytes += frame.size();
    }
    if (passes != verdict.passes || (passes && after != verdict.frame)) {
      ++differences;
      ADD_FAILURE() << "seed " << seed << " frame " << i << ": " << shown(frame) << "\nmodel: rule "
                    << (verdict.rule ? std::to_string(*verdict.rule) : "none") << ", passes "
                    << verdict.passes << " " << shown(verdict.frame) << "\nkernel: passes "
                    << passes << " " << shown(after);
    }
  }
  const std::vector<RuleHits> hits = kernel.hits();
  std::size_t miscounted = 0;
  for (std::size_t i = 0; i < rules.size() && differences == 0; ++i) {
    if (hits[i].packets == expected[i].packets && hits[i].bytes == expected[i].bytes) continue;
    if (++miscounted > 5) break;
    ADD_FAILURE() << "rule " << i << " counted " << hits[i].packets << " frames, " << hits[i].bytes
                  << " bytes, not " << expected[i].packets << ", " << expected[i].bytes;
  }
  // Otherwise the frames would try nothing.
  EXPECT_GT(matched, frames / 3);
}

class EverySemantics : public testing::TestWithParam<TableForm> {};

TEST_P(EverySemantics, FirstMatchOfAClassbenchListOfAThousandRules) {
  expect_agreement(classbench_rules(EXAMPLES "/classbench-acl1-1k.rules"), frames_to_try(5000),
                   GetParam(), 1);
}

TEST_P(EverySemantics, FirstMatchOfAClassbenchListOfTenThousandRules) {
  expect_agreement(classbench_rules(EXAMPLES "/classbench-acl1-10k.rules"), frames_to_try(2000),
                   GetParam(), 2);
}

TEST_P(EverySemantics, FirstMatchOfListsOfEveryField) {
  Random random(3);
  for (std::uint64_t seed = 100; seed < 110; ++seed) {
    expect_agreement(random_rules(100, random), frames_to_try(20000) / 10, GetParam(), seed);
  }
}

// The fields that most lists make do with, for which there is a program of its own.
RuleList rules_of_few_fields(std::size_t count, Random& random) {
  RuleList rules = random_rules(count, random);
  for (PolicyRule& rule : rules) {
    std::erase_if(rule.fields, [](const auto& field) {
      return (field.first < 7 || field.first > 14) && field.first != TIME_RANGE_FIELD;
    });
    rule.fields.erase(9);
    rule.fields.erase(10);
  }
  return rules;
}

TEST_P(EverySemantics, FirstMatchOfListsOfAddressesOfIpv4PortsAndFlags) {
  Random random(5);
  for (std::uint64_t seed = 200; seed < 210; ++seed) {
    RuleList rules = rules_of_few_fields(100, random);
    // Otherwise a rule without a field would soon decide everything.
    std::erase_if(rules, [](const PolicyRule& rule) { return rule.fields.empty(); });
    expect_agreement(rules, frames_to_try(20000) / 10, GetParam(), seed);
  }
}

TEST_P(EverySemantics, FirstMatchOfALargeListOfEveryField) {
  Random random(4);
  expect_agreement(random_rules(10000, random), frames_to_try(5000), GetParam(), 4);
}

INSTANTIATE_TEST_SUITE_P(Forms, EverySemantics, testing::Values(TableForm::ARENA, TableForm::ARRAY),
                         [](const auto& tried) {
                           return tried.param == TableForm::ARENA ? "InAnArena" : "InAnArrayMap";
                         });

}  // namespace
