// request_bench: what one request costs, beside a raw framed TCP echo of the
// same sizes in the same run.
//
// The request is policy_config/0.1/get_time_range of a 29-byte name: 64 bytes
// out, 72 back, through the generated stub, the wire, dispatch, handler and
// reply. Workloads:
//   one at a time, both processes on one CPU
//   64 in flight, both processes on one CPU
//   1024 in flight, a CPU each: the daemon's CPU time per request
// Rounds of echo and request alternate; medians are printed.
//
//     request_bench [REQUESTS] [ROUNDS]      (default 200000 and 5)

#include <sched.h>
#include <time.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "bench/raw_echo.h"
#include "framework/base/event_loop.h"
#include "framework/xrl/xrl_std_router.h"
#include "policy/interfaces/policy_config_xif.h"
#include "tests/support/child_process.h"

namespace {

constexpr EchoSizes SIZES{64, 72};
constexpr const char* NAME = "maintenance-window-night-0001";
static_assert(std::string_view(NAME).size() == 29);

void run_on_cpu(int cpu) {
  cpu_set_t cpus;
  CPU_ZERO(&cpus);
  CPU_SET(static_cast<std::size_t>(cpu), &cpus);
  sched_setaffinity(0, sizeof cpus, &cpus);
}

double cpu_seconds(pid_t pid) {
  clockid_t clock = 0;
  timespec time{};
  if (clock_getcpuclockid(pid, &clock) != 0 || clock_gettime(clock, &time) != 0) std::exit(1);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

std::uint16_t port_after(const std::string& text, const std::string& mark) {
  return static_cast<std::uint16_t>(std::atoi(text.c_str() + text.find(mark) + mark.size()));
}

// Keeps a number of requests in flight until all are answered.
class Load {
 public:
  Load(EventLoop& loop, XrlStdRouter& router)
      : _loop(loop),
        _client(&router),
        _answered_cb(callback([this](const XrlError& error, const std::uint32_t* number1,
                                     const std::uint32_t*, const bool*, const std::uint32_t*,
                                     const std::uint32_t*) { answered(error, number1); })) {}

  // Asks until the daemon is there.
  void create_time_range() {
    bool created = false;
    while (!created) {
      bool answered = false;
      const bool sent = _client.send_create_time_range("policy", NAME, 22, 6, true, 0, 0,
                                                       callback([&](const XrlError& error) {
                                                         answered = true;
                                                         created = error.is_okay();
                                                       }));
      if (!sent) std::exit(1);
      while (!answered) _loop.run();
    }
  }

  double run(std::size_t requests, std::size_t in_flight) {
    _left = requests;
    _unanswered = requests;
    const auto start = std::chrono::steady_clock::now();
    for (std::size_t i = 0; i < std::min(requests, in_flight); ++i) send();
    while (_unanswered > 0) _loop.run();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  }

 private:
  void send() {
    --_left;
    if (!_client.send_get_time_range("policy", NAME, _answered_cb)) {
      std::fprintf(stderr, "a request cannot be queued\n");
      std::exit(1);
    }
  }
  void answered(const XrlError& error, const std::uint32_t* number1) {
    if (!error.is_okay() || *number1 != 22) {
      std::fprintf(stderr, "wrong answer: %s\n", error.str().c_str());
      std::exit(1);
    }
    --_unanswered;
    if (_left > 0) send();
  }

  EventLoop& _loop;
  XrlPolicyConfigV0p1Client _client;
  XrlPolicyConfigV0p1Client::GetTimeRangeCB _answered_cb;
  std::size_t _left = 0;
  std::size_t _unanswered = 0;
};

struct Workload {
  const char* name;
  std::size_t in_flight;
  int server_cpu;
};

void measure(const Workload& workload, std::size_t requests, int rounds, const std::string& self,
             const std::string& folder) {
  ChildProcess echo({{self, "--echo"}, {}, workload.server_cpu, {}});
  ChildProcess finder(std::vector<std::string>{folder + "/finder", "-p", "0"});
  if (!echo.wait_for_output("\n") || !finder.wait_for_output("listening on 127.0.0.1:")) {
    std::exit(1);
  }
  const std::uint16_t echo_port = port_after(echo.output(), "listening on ");
  const std::uint16_t finder_port = port_after(finder.output(), "127.0.0.1:");
  ChildProcess policyd({{folder + "/policyd", "-F", "127.0.0.1:" + std::to_string(finder_port)},
                        {},
                        workload.server_cpu,
                        {}});
  run_on_cpu(0);
  EventLoop loop;
  XrlStdRouter router(loop, "", "127.0.0.1", finder_port, false);
  wait_until_xrl_router_is_ready(loop, router);
  Load load(loop, router);
  load.create_time_range();
  load.run(requests / 10, workload.in_flight);

  std::vector<double> raw;
  std::vector<double> xrl;
  std::vector<double> cpu;
  for (int round = 0; round < rounds; ++round) {
    raw.push_back(run_raw_echo(echo_port, SIZES, requests, workload.in_flight));
    const double before = cpu_seconds(policyd.pid());
    xrl.push_back(load.run(requests, workload.in_flight));
    cpu.push_back(cpu_seconds(policyd.pid()) - before);
  }
  const auto each = [&](const std::vector<double>& values) {
    return median(values) / static_cast<double>(requests) * 1e6;
  };
  std::printf("%-34s raw %7.3f us   request %7.3f us   of raw %.2f   policyd CPU %.3f us\n",
              workload.name, each(raw), each(xrl), each(raw) / each(xrl), each(cpu));
  std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 1 && std::strcmp(argv[1], "--echo") == 0) {
    serve_raw_echo(SIZES);
    return 0;
  }
  const std::size_t requests = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 200000;
  const int rounds = argc > 2 ? std::atoi(argv[2]) : 5;
  const std::string self = argv[0];
  const std::string folder = self.substr(0, self.rfind('/'));
  measure({"one at a time, one CPU", 1, 0}, requests, rounds, self, folder);
  measure({"64 in flight, one CPU", 64, 0}, requests * 5, rounds, self, folder);
  measure({"1024 in flight, two CPUs", 1024, 1}, requests * 5, rounds, self, folder);
}
