// delete_bench: what deleting a rule costs policyd, the wire included, as its
// ACL grows.
//
// delete_rule of unbound rules of six short fields at random, a batch in
// flight, this process on one CPU and policyd on the other; then they are
// created again, out of the measure. policyd's processor time for each is
// printed, the middle one of the rounds. Batches are as large at every size, so
// that going to sleep and waking up weigh the same.
//
//     delete_bench [SIZE] [ROUNDS]      (default 1000000 and 101)

#include <algorithm>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "bench/control_plane.h"
#include "bench/growth.h"
#include "bench/measure.h"
#include "bench/pipeline.h"
#include "bench/rule_sample.h"
#include "policy/interfaces/policy_config_xif.h"

namespace {

constexpr std::size_t BATCH = 500;
constexpr std::size_t SAMPLES = 4096;
constexpr std::uint32_t ACL = 1;
constexpr double MOST_RATIO = 2;

class Rules {
 public:
  explicit Rules(ControlPlane& plane)
      : _client(&plane.router()),
        _answered(callback([this](const XrlError& error) { _pipeline.answered(error); })),
        _pipeline(plane.loop(), Send{this}) {
    for (const std::uint32_t field : RULE_FIELDS) _flags.append(field);
  }

  void create_acl() { run(Step::CREATE_ACL, {ACL}); }
  void create(const std::vector<std::uint32_t>& rules) { run(Step::CREATE, rules); }
  void erase(const std::vector<std::uint32_t>& rules) { run(Step::DELETE, rules); }

 private:
  enum class Step { CREATE_ACL, CREATE, DELETE };
  struct Send {
    Rules* rules;
    bool operator()(std::size_t at) const { return rules->send((*rules->_numbers)[at]); }
  };

  void run(Step step, const std::vector<std::uint32_t>& numbers) {
    _step = step;
    _numbers = &numbers;
    _pipeline.run(numbers.size(), BATCH);
  }
  bool send(std::uint32_t number) {
    if (_step == Step::CREATE_ACL) return _client.send_create_acl("policy", number, 0, _answered);
    if (_step == Step::DELETE) return _client.send_delete_rule("policy", ACL, number, _answered);
    _values.clear();
    for (const std::string& value : _samples[number % SAMPLES]) _values.append(value);
    return _client.send_create_rule("policy", ACL, number, 1, _flags, _values, _answered);
  }

  const std::vector<RuleValues> _samples = sample_rules(SAMPLES);
  XrlPolicyConfigV0p1Client _client;
  XrlPolicyConfigV0p1Client::CreateRuleCB _answered;
  Pipeline<Send> _pipeline;
  Step _step = Step::CREATE_ACL;
  const std::vector<std::uint32_t>* _numbers = nullptr;
  XrlAtomList _flags;
  XrlAtomList _values;
};

// Seconds of policyd's processor time for each rule that is deleted.
double seconds_of_each(ControlPlane& plane, std::size_t size, std::size_t rounds) {
  const auto policyd = plane.start_policyd(1);
  plane.wait_for_policyd();
  Rules rules(plane);
  rules.create_acl();
  std::vector<std::uint32_t> numbers(size);
  for (std::size_t i = 0; i < size; ++i) numbers[i] = static_cast<std::uint32_t>(i);
  rules.create(numbers);
  std::minstd_rand random(1);
  std::vector<double> seconds;
  std::vector<std::uint32_t> batch;
  for (std::size_t round = 0; round < rounds; ++round) {
    batch.clear();
    std::sample(numbers.begin(), numbers.end(), std::back_inserter(batch), BATCH, random);
    std::shuffle(batch.begin(), batch.end(), random);
    const double before = cpu_seconds(policyd->pid());
    rules.erase(batch);
    seconds.push_back((cpu_seconds(policyd->pid()) - before) / static_cast<double>(batch.size()));
    rules.create(batch);
  }
  return median(seconds);
}

}  // namespace

int main(int argc, char** argv) {
  const std::size_t largest = size_argument(argc, argv, 1, 1000000, BATCH);
  const std::size_t rounds = size_argument(argc, argv, 2, 101);
  print_conditions(("delete_bench: of up to " + std::to_string(largest) + " rules").c_str());
  run_on_cpu(0);
  const std::vector<std::size_t> sizes = tenfold_sizes(largest);
  std::vector<double> costs;
  for (const std::size_t size : sizes) {
    ControlPlane plane;
    costs.push_back(seconds_of_each(plane, size, rounds));
    std::printf("%8s rules   delete_rule %.3f us of policyd's CPU\n", short_size(size).c_str(),
                costs.back() * 1e6);
    std::fflush(stdout);
  }
  const double worst = worst_ratio_per_tenfold(sizes, costs);
  std::printf("worst ratio per tenfold %.2f (%s)\n", worst, at_most(worst, MOST_RATIO).c_str());
}
