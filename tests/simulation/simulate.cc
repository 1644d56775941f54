// Lives through many scenarios on all processors, or through one, or reduces one
// that fails.
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <charconv>
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <new>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "framework/base/xlog.h"
#include "tests/simulation/scenario_reduce.h"
#include "tests/simulation/scenario_run.h"

namespace {

constexpr const char* USAGE =
    "usage: simulate FIRST..LAST        lives through what these seeds draw\n"
    "       simulate --show SEED        prints the scenario that a seed draws\n"
    "       simulate --replay SEED|FILE lives through one, with its log and last events\n"
    "       simulate --reduce SEED|FILE prints the fewest steps that still fail\n";

constexpr int FAILED = 1;
constexpr int BAD_USAGE = 2;
constexpr std::size_t MAX_WORKERS = 256;

// Between the processes that share the work.
struct Shared {
  std::atomic<std::uint64_t> next;
  std::atomic<std::uint64_t> failed;
  std::array<std::atomic<std::uint64_t>, STEP_KINDS> fired;
  std::array<std::atomic<std::uint64_t>, MAX_WORKERS> current;
};

Shared& shared_counts(std::uint64_t first) {
  void* const memory =
      ::mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) throw std::runtime_error("no memory to share");
  auto* const shared = new (memory) Shared{};
  shared->next = first;
  return *shared;
}

void print_wrong(std::uint64_t seed, const std::vector<std::string>& wrong) {
  std::string text = "seed " + std::to_string(seed) + " FAILED\n";
  for (const std::string& what : wrong) text += "  " + what + "\n";
  std::fputs(text.c_str(), stdout);
  std::fflush(stdout);
}

[[noreturn]] void work(std::size_t worker, std::uint64_t last, Shared& shared) {
  for (std::uint64_t seed = shared.next++; seed <= last; seed = shared.next++) {
    shared.current.at(worker) = seed;
    const ScenarioResult result = run_scenario(Scenario::drawn(seed, STEPS_OF_A_SEED));
    for (std::size_t i = 0; i < STEP_KINDS; ++i) shared.fired.at(i) += result.fired.at(i);
    if (result.wrong.empty()) continue;
    ++shared.failed;
    print_wrong(seed, result.wrong);
  }
  ::_exit(0);
}

pid_t begin_work(std::size_t worker, std::uint64_t last, Shared& shared) {
  const pid_t child = ::fork();
  if (child < 0) throw std::runtime_error("no process to work in");
  if (child == 0) work(worker, last, shared);
  return child;
}

// A seed whose process ends otherwise than in order has failed, and the others
// go on in a new one.
void work_on_all_processors(std::uint64_t last, Shared& shared) {
  std::vector<pid_t> workers(
      std::clamp<std::size_t>(std::thread::hardware_concurrency(), 1, MAX_WORKERS));
  for (std::size_t i = 0; i < workers.size(); ++i) workers[i] = begin_work(i, last, shared);
  int status = 0;
  for (pid_t ended = ::wait(&status); ended > 0; ended = ::wait(&status)) {
    const auto at = std::find(workers.begin(), workers.end(), ended);
    if (at == workers.end() || status == 0) continue;
    const auto worker = static_cast<std::size_t>(at - workers.begin());
    ++shared.failed;
    print_wrong(shared.current.at(worker), {"it ended with status " + std::to_string(status)});
    *at = begin_work(worker, last, shared);
  }
}

// How often each fault had an effect; one that never had is a fault of the
// simulation.
std::uint64_t print_fired(const Shared& shared) {
  std::uint64_t never = 0;
  for (std::size_t i = 0; i < STEP_KINDS; ++i) {
    const std::string name(name_of(static_cast<StepKind>(i)));
    std::printf("%10" PRIu64 "  %s\n", shared.fired.at(i).load(), name.c_str());
    if (shared.fired.at(i) == 0) ++never;
  }
  return never;
}

int run_range(std::uint64_t first, std::uint64_t last) {
  Shared& shared = shared_counts(first);
  const auto began = std::chrono::steady_clock::now();
  work_on_all_processors(last, shared);
  const std::chrono::duration<double> took = std::chrono::steady_clock::now() - began;
  const std::uint64_t never = print_fired(shared);
  const std::uint64_t seeds = last - first + 1;
  std::printf("seeds %" PRIu64 "..%" PRIu64 ": %" PRIu64 " failed of %" PRIu64
              ", in %.0f s (%.0f a second)\n",
              first, last, shared.failed.load(), seeds, took.count(),
              static_cast<double>(seeds) / took.count());
  constexpr std::uint64_t ENOUGH_FOR_EVERY_STEP = 200;
  if (never > 0 && seeds >= ENOUGH_FOR_EVERY_STEP) {
    std::printf("%" PRIu64 " steps never had an effect\n", never);
    return FAILED;
  }
  return shared.failed > 0 ? FAILED : 0;
}

bool read_number(std::string_view text, std::uint64_t& number) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size() && !text.empty();
}

bool read_range(std::string_view text, std::uint64_t& first, std::uint64_t& last) {
  const std::size_t dots = text.find("..");
  return dots != std::string_view::npos && read_number(text.substr(0, dots), first) &&
         read_number(text.substr(dots + 2), last) && first <= last;
}

Scenario scenario_of(const std::string& seed_or_file) {
  std::uint64_t seed = 0;
  if (read_number(seed_or_file, seed)) return Scenario::drawn(seed, STEPS_OF_A_SEED);
  std::ifstream file(seed_or_file);
  if (!file) throw std::runtime_error("cannot read " + seed_or_file);
  std::stringstream text;
  text << file.rdbuf();
  return Scenario::parse(text.str());
}

int replay(const Scenario& scenario) {
  xlog_add_default_output();
  const ScenarioResult result = run_scenario(scenario);
  std::fputs(result.report.c_str(), stdout);
  for (const std::string& wrong : result.wrong) std::printf("wrong: %s\n", wrong.c_str());
  return result.wrong.empty() ? 0 : FAILED;
}

// In a process of its own, which may end otherwise than in order.
bool fails(const Scenario& scenario) {
  const pid_t child = ::fork();
  if (child == 0) ::_exit(run_scenario(scenario).wrong.empty() ? 0 : FAILED);
  int status = 0;
  if (child < 0 || ::waitpid(child, &status, 0) < 0)
    throw std::runtime_error("no process to try in");
  return status != 0;
}

int reduce(const Scenario& scenario) {
  if (!fails(scenario)) {
    std::fputs("simulate: it does not fail\n", stderr);
    return BAD_USAGE;
  }
  const Scenario shortest = reduced(scenario, fails);
  std::fputs(shortest.str().c_str(), stdout);
  return 0;
}

int run(const std::vector<std::string>& arguments) {
  std::uint64_t first = 0;
  std::uint64_t last = 0;
  if (arguments.size() == 1 && read_range(arguments[0], first, last)) {
    return run_range(first, last);
  }
  if (arguments.size() == 2) {
    const Scenario scenario = scenario_of(arguments[1]);
    if (arguments[0] == "--show")
      return std::fputs(scenario.str().c_str(), stdout) < 0 ? FAILED : 0;
    if (arguments[0] == "--replay") return replay(scenario);
    if (arguments[0] == "--reduce") return reduce(scenario);
  }
  std::fputs(USAGE, stderr);
  return BAD_USAGE;
}

}  // namespace

int main(int argc, char** argv) {
  xlog_init("simulate", nullptr);
  xlog_start();
  try {
    return run({argv + 1, argv + argc});
  } catch (const std::exception& error) {
    std::fprintf(stderr, "simulate: %s\n", error.what());
    return BAD_USAGE;
  }
}
