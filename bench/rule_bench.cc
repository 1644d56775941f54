// rule_bench: how fast policyd takes rules, and what it keeps for each.
//
// create_rule of six short fields through the wire, 1,024 in flight, this
// process on one CPU and policyd on the other; a new ACL each round. Beside it,
// where redis-server is installed, Redis HSET of the same six fields, 1,024 in
// flight as well, from a client that has its fields encoded in advance. Rounds
// alternate; medians are printed. The memory is what the server's resident
// memory grew by in its first round, when all of it is new.
//
//     rule_bench [RULES] [ROUNDS]      (default 1000000 and 5)

#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "bench/control_plane.h"
#include "bench/measure.h"
#include "bench/pipeline.h"
#include "bench/redis_hset.h"
#include "bench/rule_sample.h"
#include "policy/interfaces/policy_config_xif.h"

namespace {

constexpr std::size_t IN_FLIGHT = 1024;
constexpr std::size_t SAMPLES = 4096;
constexpr double LEAST_RULES_PER_SECOND = 600000;

// Creates ACLs full of rules.
class Load {
 public:
  Load(ControlPlane& plane, const std::vector<RuleValues>& samples)
      : _plane(plane),
        _samples(samples),
        _client(&plane.router()),
        _answered(callback([this](const XrlError& error) { _pipeline.answered(error); })),
        _pipeline(plane.loop(), Create{this}) {
    for (const std::uint32_t field : RULE_FIELDS) _flags.append(field);
  }

  // The seconds that the rules take.
  double fill_acl(std::size_t rules) {
    const bool sent = _client.send_create_acl("policy", ACL, 0, once());
    finish(sent);
    return _pipeline.run(rules, IN_FLIGHT);
  }
  void delete_acl() {
    const bool sent = _client.send_delete_acl("policy", ACL, once());
    finish(sent);
  }

 private:
  static constexpr std::uint32_t ACL = 1;

  struct Create {
    Load* load;
    bool operator()(std::size_t rule) const { return load->send(rule); }
  };
  bool send(std::size_t rule) {
    _values.clear();
    for (const std::string& value : _samples[rule % _samples.size()]) _values.append(value);
    return _client.send_create_rule("policy", ACL, static_cast<std::uint32_t>(rule), 1, _flags,
                                    _values, _answered);
  }

  XrlPolicyConfigV0p1Client::CreateAclCB once() {
    _done = false;
    return callback([this](const XrlError& error) {
      if (!error.is_okay()) give_up(error.str());
      _done = true;
    });
  }
  void finish(bool sent) {
    if (!sent) give_up("a request cannot be queued");
    _plane.wait_until([this] { return _done; });
  }

  ControlPlane& _plane;
  const std::vector<RuleValues>& _samples;
  XrlPolicyConfigV0p1Client _client;
  XrlPolicyConfigV0p1Client::CreateRuleCB _answered;
  Pipeline<Create> _pipeline;
  XrlAtomList _flags;
  XrlAtomList _values;
  bool _done = false;
};

struct Figures {
  std::vector<double> seconds;
  std::vector<double> server_cpu;
  std::vector<double> client_cpu;
  std::size_t grown = 0;  // bytes, in the first round
};

// A round of `fill`, which answers its seconds, on the server of that process.
template <typename Fill>
void measure(Figures& figures, pid_t server, Fill fill) {
  const std::size_t memory = memory_of(server).resident;
  const double server_cpu = cpu_seconds(server);
  const double client_cpu = cpu_seconds(getpid());
  figures.seconds.push_back(fill());
  figures.server_cpu.push_back(cpu_seconds(server) - server_cpu);
  figures.client_cpu.push_back(cpu_seconds(getpid()) - client_cpu);
  if (figures.seconds.size() == 1) figures.grown = memory_of(server).resident - memory;
}

double per_second(const Figures& figures, std::size_t rules) {
  return static_cast<double>(rules) / median(figures.seconds);
}

void print(const char* name, const Figures& figures, std::size_t rules) {
  const auto count = static_cast<double>(rules);
  const auto each_us = [&](const std::vector<double>& cpu) { return median(cpu) / count * 1e6; };
  std::printf(
      "%-20s %9.0f rules/s   CPU of server %.3f us, of client %.3f us   %.0f bytes a rule\n", name,
      per_second(figures, rules), each_us(figures.server_cpu), each_us(figures.client_cpu),
      static_cast<double>(figures.grown) / count);
}

}  // namespace

int main(int argc, char** argv) {
  const std::size_t rules = size_argument(argc, argv, 1, 1000000);
  const std::size_t rounds = size_argument(argc, argv, 2, 5);
  print_conditions(("rule_bench: " + std::to_string(rules) + " rules of six fields").c_str());
  run_on_cpu(0);
  const std::vector<RuleValues> samples = sample_rules(SAMPLES);
  ControlPlane plane;
  const auto policyd = plane.start_policyd(1);
  plane.wait_for_policyd();
  Load load(plane, samples);
  const auto redis = RedisServer::start(1);

  Figures create_rule;
  Figures hset;
  for (std::size_t round = 0; round < rounds; ++round) {
    measure(create_rule, policyd->pid(), [&] { return load.fill_acl(rules); });
    load.delete_acl();
    if (redis == nullptr) continue;
    measure(hset, redis->pid(), [&] { return redis->set_rules(samples, rules, IN_FLIGHT); });
    redis->clear();
  }
  print("policyd create_rule", create_rule, rules);
  const double rate = per_second(create_rule, rules);
  std::printf("%-20s %s\n", "", at_least(rate, LEAST_RULES_PER_SECOND).c_str());
  if (redis == nullptr) {
    std::printf("Redis is not installed: nothing to compare with\n");
    return 0;
  }
  print("Redis HSET", hset, rules);
  const double of_redis = rate / per_second(hset, rules);
  std::printf("%-20s create_rule of HSET %.2f (%s)\n", "", of_redis, at_least(of_redis, 1).c_str());
}
