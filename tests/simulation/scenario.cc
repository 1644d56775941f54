#include "tests/simulation/scenario.h"

#include <algorithm>
#include <array>
#include <sstream>
#include <stdexcept>

#include "tests/simulation/sim_world_random.h"

namespace {

struct KindOfStep {
  std::string_view name;
  unsigned weight;  // how often it is drawn, beside the others
};

// In the order of StepKind.
constexpr std::array<KindOfStep, STEP_KINDS> KINDS{{
    {"add-interface", 60},
    {"remove-interface", 60},
    {"add-member", 60},
    {"remove-member", 60},
    {"set-card", 60},
    {"create-vlan", 60},
    {"delete-vlan", 60},
    {"set-line-card-fault", 20},
    {"set-map", 100},
    {"get-flag", 100},
    {"create-rule", 40},
    {"bind-rule", 40},
    {"unbind-rule", 15},
    {"delete-acl", 10},
    {"cut", 40},
    {"cut-youngest", 40},
    {"cut-in-handshake", 25},
    {"cut-in-exchange", 25},
    {"cut-every-request", 6},
    {"hold", 40},
    {"release", 30},
    {"sever", 15},
    {"set-delay", 15},
    {"finder", 25},
    {"chassis", 15},
    {"policyd", 15},
    {"target", 25},
    {"lose-host", 6},
    {"restart-in-answer", 10},
    {"late-birth", 8},
    {"thief", 8},
    {"freeze", 15},
    {"thaw", 25},
    {"no-descriptors", 10},
    {"no-memory", 10},
    {"wait", 4},
}};

constexpr unsigned total_weight() {
  unsigned total = 0;
  for (const KindOfStep& kind : KINDS) total += kind.weight;
  return total;
}

StepKind drawn_kind(SimRandom& random) {
  std::uint64_t left = random.below(total_weight());
  std::size_t index = 0;
  while (left >= KINDS.at(index).weight) left -= KINDS.at(index++).weight;
  return static_cast<StepKind>(index);
}

[[noreturn]] void refuse(int line, const std::string& why) {
  throw std::invalid_argument("line " + std::to_string(line) + ": " + why);
}

StepKind kind_of(const std::string& name, int line) {
  const auto* const found = std::find_if(KINDS.begin(), KINDS.end(),
                                         [&](const KindOfStep& kind) { return kind.name == name; });
  if (found == KINDS.end()) refuse(line, "there is no step '" + name + "'");
  return static_cast<StepKind>(found - KINDS.begin());
}

}  // namespace

std::string_view name_of(StepKind kind) {
  return KINDS.at(static_cast<std::size_t>(kind)).name;
}

Scenario Scenario::drawn(std::uint64_t seed, int count) {
  Scenario scenario;
  scenario.seed = seed;
  // Not the numbers that the network draws.
  SimRandom random(~seed);
  for (int i = 0; i < count; ++i) {
    const StepKind kind = drawn_kind(random);
    const auto which = static_cast<std::uint32_t>(random.below(1000));
    const auto how = static_cast<std::uint32_t>(random.below(1000));
    const std::uint64_t longest = kind == StepKind::WAIT ? 60'000 : 700;
    scenario.steps.push_back(
        {kind, which, how, std::chrono::milliseconds(random.below(longest + 1))});
  }
  return scenario;
}

Scenario Scenario::parse(const std::string& text) {
  Scenario scenario;
  std::istringstream lines(text);
  std::string line;
  for (int number = 1; std::getline(lines, line); ++number) {
    std::istringstream words(line);
    std::string word;
    if (!(words >> word) || word.front() == '#') continue;
    if (word == "steady") {
      scenario.steady = true;
    } else if (word == "seed") {
      if (!(words >> scenario.seed)) refuse(number, "a seed is a number");
    } else {
      Step step{kind_of(word, number), 0, 0, {}};
      std::int64_t pause_ms = 0;
      if (!(words >> step.which >> step.how >> pause_ms)) {
        refuse(number, "a step has three numbers");
      }
      step.pause = std::chrono::milliseconds(pause_ms);
      scenario.steps.push_back(step);
    }
    if (words >> word) refuse(number, "'" + word + "' is too much");
  }
  return scenario;
}

std::string Scenario::str() const {
  std::string text = "seed " + std::to_string(seed) + "\n";
  if (steady) text += "steady\n";
  for (const Step& step : steps) {
    text += std::string(name_of(step.kind)) + " " + std::to_string(step.which) + " " +
            std::to_string(step.how) + " " + std::to_string(step.pause.count()) + "\n";
  }
  return text;
}
