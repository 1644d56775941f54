// policyctl_bench: what somebody at a prompt waits for policyctl.
//
//   start   from starting `policyctl show cos` to its first byte
//   apply   all of a file of RULES rules on a switch that has none, then of ten
//           times as many; with policyctl's state in memory and on the disk
//   plan    the same file again, which changes nothing
//   change  `apply` of the same file with one rule changed, which must send the
//           two requests of one change
//   replace `apply --confirm` of the same file with every rule changed, `recover` of
//           that, `apply` of it again, and `rollback`: what takes most memory
//
// A finder, a simulated stack and policyd run as processes of their own, and
// policyctl is started anew each time: the figures are those of its whole life, and
// its memory is the most it ever had. Beside it, where they are installed and may
// run, as many rules by `ovs-ofctl --bundle add-flows` and `nft -f`. Rounds
// alternate; medians are printed. Nothing is pinned.
//
//     policyctl_bench [RULES] [ROUNDS]      (default 10000 and 11)

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "bench/control_plane.h"
#include "bench/measure.h"
#include "bench/other_tools.h"
#include "bench/rule_files.h"
#include "bench/timed_run.h"
#include "tests/support/temporary_folder.h"

namespace {

constexpr double MOST_START_MS = 4;
constexpr double MOST_GROWTH = 11;
constexpr double MOST_MEMORY_MB = 100;
constexpr std::size_t REQUESTS_OF_ONE_CHANGE = 2;
constexpr int STARTS_OF_ROUND = 5;

class Policyctl {
 public:
  explicit Policyctl(std::string finder) : _finder(std::move(finder)) {}

  [[nodiscard]] TimedRun run(const std::vector<std::string>& words) const {
    std::vector<std::string> argv{program("policyctl"), "-F", _finder, "--json"};
    argv.insert(argv.end(), words.begin(), words.end());
    return run_timed_expecting(0, argv);
  }
  // A run that has to need as many requests.
  [[nodiscard]] TimedRun run(const std::vector<std::string>& words, std::size_t requests) const {
    TimedRun run = this->run(words);
    const auto told = nlohmann::json::parse(run.output).at("requests").get<std::size_t>();
    if (told == requests) return run;
    give_up(words.front() + " took " + std::to_string(told) + " requests instead of " +
            std::to_string(requests));
  }

 private:
  std::string _finder;
};

// What each operation may take, in seconds.
struct Targets {
  double apply;
  double plan;
  double change;
};
constexpr Targets TARGETS[] = {{0.10, 0.15, 0.15}, {0.20, 0.15, 0.15}};

// The same rules for everybody.
struct Load {
  std::size_t rules;
  RuleFiles files;
  std::string configuration;
  std::string one_changed;
  std::string all_changed;
};

// A copy of the configuration with another action of the rules that `changes` tells by
// the numbers of their lines, from 0.
template <typename Changes>
void change_rules(const std::string& from, const std::string& to, Changes changes) {
  std::ifstream in(from);
  std::ofstream out(to);
  std::size_t number = 0;
  for (std::string line; std::getline(in, line); ++number) {
    const std::size_t at = changes(number) ? line.find(" permit") : std::string::npos;
    if (at != std::string::npos) line.replace(at, 7, " deny");
    out << line << '\n';
  }
}

Load prepare(const Policyctl& policyctl, const std::string& folder, std::size_t rules) {
  const std::string stem = folder + "/" + std::to_string(rules);
  Load load{rules, write_rule_files(folder, BENCH_EXAMPLES "/classbench-acl1-10k.rules", rules),
            stem + ".conf", stem + ".one-changed", stem + ".all-changed"};
  (void)policyctl.run(
      {"import", "classbench", "--acl", "10", load.files.classbench, "-o", load.configuration});
  change_rules(load.configuration, load.one_changed,
               [rules](std::size_t line) { return line == (rules + 1) / 2; });
  change_rules(load.configuration, load.all_changed, [](std::size_t) { return true; });
  return load;
}

struct Figures {
  std::vector<double> apply;
  std::vector<double> apply_on_disk;
  std::vector<double> plan;
  std::vector<double> change;
  std::vector<double> confirm;
  std::vector<double> recover;
  std::vector<double> replace;
  std::vector<double> rollback;
  std::vector<double> add_flows;
  std::vector<double> nft;
  std::size_t peak_memory = 0;
};

// One after the other on the same switch.
class Round {
 public:
  Round(const Policyctl& policyctl, const Load& load, Figures& figures)
      : _policyctl(policyctl), _load(load), _figures(figures) {}

  void in_memory(const std::string& parent) {
    const TemporaryFolder state(parent);
    setenv("POLICYCTL_STATE_DIR", state.path().c_str(), 1);
    measure(_figures.apply, {"apply", _load.configuration}, _load.rules + 1);
    measure(_figures.plan, {"plan", _load.configuration}, 0);
    measure(_figures.change, {"apply", _load.one_changed}, REQUESTS_OF_ONE_CHANGE);
    (void)_policyctl.run({"delete", "acl", "10"});
  }
  // On the switch that has the rules: each is deleted and created again.
  void replace_all(const std::string& parent) {
    const TemporaryFolder state(parent);
    setenv("POLICYCTL_STATE_DIR", state.path().c_str(), 1);
    (void)_policyctl.run({"apply", _load.configuration});
    measure(_figures.confirm, {"apply", "--confirm", "600", _load.all_changed});
    measure(_figures.recover, {"recover"});
    measure(_figures.replace, {"apply", _load.all_changed}, 2 * _load.rules);
    measure(_figures.rollback, {"rollback", "1"}, 2 * _load.rules);
    (void)_policyctl.run({"delete", "acl", "10"});
  }
  void on_disk(const std::string& parent) {
    const TemporaryFolder state(parent);
    setenv("POLICYCTL_STATE_DIR", state.path().c_str(), 1);
    measure(_figures.apply_on_disk, {"apply", _load.configuration}, _load.rules + 1);
    (void)_policyctl.run({"delete", "acl", "10"});
  }

 private:
  void measure(std::vector<double>& seconds, const std::vector<std::string>& words,
               std::size_t requests) {
    note(seconds, _policyctl.run(words, requests));
  }
  void measure(std::vector<double>& seconds, const std::vector<std::string>& words) {
    note(seconds, _policyctl.run(words));
  }
  void note(std::vector<double>& seconds, const TimedRun& run) {
    seconds.push_back(run.seconds);
    _figures.peak_memory = std::max(_figures.peak_memory, run.peak_memory);
  }

  const Policyctl& _policyctl;
  const Load& _load;
  Figures& _figures;
};

void measure_other(const OtherTool* tool, const std::string& file, std::vector<double>& seconds) {
  if (tool == nullptr) return;
  seconds.push_back(tool->load(file).seconds);
  tool->clear();
}

void print_seconds(const char* name, const std::vector<double>& seconds,
                   const std::string& verdict = {}) {
  if (seconds.empty()) return;
  const auto [least, most] = std::minmax_element(seconds.begin(), seconds.end());
  std::printf("  %-28s %7.4f s (%.4f to %.4f)  %s\n", name, median(seconds), *least, *most,
              verdict.c_str());
}

void print(const Load& load, const Figures& figures, const Targets& most) {
  std::printf("%zu rules\n", load.rules);
  print_seconds("apply", figures.apply, at_most(median(figures.apply), most.apply));
  print_seconds("apply, state on the disk", figures.apply_on_disk);
  print_seconds("plan, nothing to change", figures.plan, at_most(median(figures.plan), most.plan));
  print_seconds("apply, one rule changed", figures.change,
                at_most(median(figures.change), most.change));
  print_seconds("apply --confirm, all changed", figures.confirm);
  print_seconds("recover of that", figures.recover);
  print_seconds("apply, all changed", figures.replace);
  print_seconds("rollback of that", figures.rollback);
  print_seconds("ovs-ofctl --bundle add-flows", figures.add_flows);
  print_seconds("nft -f", figures.nft);
  const double memory = static_cast<double>(figures.peak_memory) / 1e6;
  std::printf("  %-28s %7.1f MB  %s\n", "most memory of policyctl", memory,
              at_most(memory, MOST_MEMORY_MB).c_str());
}

void print_missing(const char* name, const OtherTool* tool, const std::string& why) {
  if (tool == nullptr) std::printf("%s not measured: %s\n", name, why.c_str());
}

}  // namespace

int main(int argc, char** argv) {
  const std::size_t rules = size_argument(argc, argv, 1, 10000);
  const std::size_t rounds = size_argument(argc, argv, 2, 11);
  print_conditions("policyctl_bench: what a person waits for policyctl");
  const std::string in_memory = std::filesystem::exists("/dev/shm") ? "/dev/shm" : "/tmp";
  const std::string on_disk = "/var/tmp";
  const TemporaryFolder folder(in_memory);
  ControlPlane plane;
  const auto chassis = plane.start_chassis(BENCH_EXAMPLES "/stack-2unit.json", -1);
  const auto policyd = plane.start_policyd(-1);
  plane.wait_for_policyd();
  const Policyctl policyctl(plane.finder_address());
  const Load loads[] = {prepare(policyctl, folder.path(), rules),
                        prepare(policyctl, folder.path(), rules * 10)};
  std::string no_flows;
  std::string no_filter;
  const auto flows = open_vswitch(folder.path(), no_flows);
  const auto filter = nftables(no_filter);

  std::vector<double> starts;
  Figures figures[2];
  for (std::size_t round = 0; round < rounds; ++round) {
    for (int start = 0; start < STARTS_OF_ROUND; ++start) {
      starts.push_back(policyctl.run({"show", "cos"}).first_byte_seconds);
    }
    for (std::size_t size = 0; size < 2; ++size) {
      Round steps(policyctl, loads[size], figures[size]);
      steps.in_memory(in_memory);
      steps.on_disk(on_disk);
      steps.replace_all(in_memory);
      measure_other(flows.get(), loads[size].files.flows, figures[size].add_flows);
      measure_other(filter.get(), loads[size].files.packet_filter, figures[size].nft);
    }
  }
  const double start_ms = median(starts) * 1e3;
  std::printf("start to the first byte: %.2f ms (longest of %zu: %.2f ms)  %s\n", start_ms,
              starts.size(), *std::max_element(starts.begin(), starts.end()) * 1e3,
              at_most(start_ms, MOST_START_MS).c_str());
  for (std::size_t size = 0; size < 2; ++size) {
    print(loads[size], figures[size], TARGETS[size]);
  }
  const double growth = median(figures[1].apply) / median(figures[0].apply);
  std::printf("apply, ten times as many: %.1f times as long  %s\n", growth,
              at_most(growth, MOST_GROWTH).c_str());
  print_missing("ovs-ofctl", flows.get(), no_flows);
  print_missing("nft", filter.get(), no_filter);
}
