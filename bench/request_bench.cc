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

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "bench/control_plane.h"
#include "bench/measure.h"
#include "bench/pipeline.h"
#include "bench/raw_echo.h"
#include "policy/interfaces/policy_config_xif.h"

namespace {

constexpr EchoSizes SIZES{64, 72};
constexpr const char* NAME = "maintenance-window-night-0001";
static_assert(std::string_view(NAME).size() == 29);
constexpr std::uint32_t NUMBER1 = 22;

struct Workload {
  const char* name;
  std::size_t in_flight;
  int server_cpu;
  double least_of_raw;  // the raw echo's time over the request's; 0: no target
  double most_cpu_us;   // of the daemon for each request; 0: no target
};

// Asks for the time range as often as told.
class Load {
 public:
  explicit Load(ControlPlane& plane)
      : _client(&plane.router()),
        _answered(callback([this](const XrlError& error, const std::uint32_t* number1,
                                  const std::uint32_t*, const bool*, const std::uint32_t*,
                                  const std::uint32_t*) {
          _pipeline.answered(error, number1 != nullptr && *number1 == NUMBER1);
        })),
        _pipeline(plane.loop(), Ask{this}) {
    bool created = false;
    _client.send_create_time_range(
        "policy", NAME, NUMBER1, 6, true, 0, 0,
        callback([&](const XrlError& error) { created = error.is_okay(); }));
    plane.wait_until([&] { return created; });
  }
  double run(std::size_t requests, std::size_t in_flight) {
    return _pipeline.run(requests, in_flight);
  }

 private:
  struct Ask {
    Load* load;
    bool operator()(std::size_t) const {
      return load->_client.send_get_time_range("policy", NAME, load->_answered);
    }
  };

  XrlPolicyConfigV0p1Client _client;
  XrlPolicyConfigV0p1Client::GetTimeRangeCB _answered;
  Pipeline<Ask> _pipeline;
};

void measure(const Workload& workload, std::size_t requests, std::size_t rounds) {
  RawEcho echo(SIZES, workload.server_cpu);
  ControlPlane plane;
  const auto policyd = plane.start_policyd(workload.server_cpu);
  plane.wait_for_policyd();
  Load load(plane);
  load.run(requests / 10, workload.in_flight);

  std::vector<double> raw;
  std::vector<double> request;
  std::vector<double> cpu;
  for (std::size_t round = 0; round < rounds; ++round) {
    raw.push_back(echo.run(requests, workload.in_flight));
    const double before = cpu_seconds(policyd->pid());
    request.push_back(load.run(requests, workload.in_flight));
    cpu.push_back(cpu_seconds(policyd->pid()) - before);
  }
  const auto each_us = [&](const std::vector<double>& values) {
    return median(values) / static_cast<double>(requests) * 1e6;
  };
  const double of_raw = each_us(raw) / each_us(request);
  const double cpu_us = each_us(cpu);
  std::printf(
      "%-25s raw %7.3f us   request %7.3f us   of raw %.2f%s   policyd CPU %.3f us%s\n",
      workload.name, each_us(raw), each_us(request), of_raw,
      workload.least_of_raw == 0 ? ""
                                 : (" (" + at_least(of_raw, workload.least_of_raw) + ")").c_str(),
      cpu_us,
      workload.most_cpu_us == 0 ? ""
                                : (" (" + at_most(cpu_us, workload.most_cpu_us) + ")").c_str());
  std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
  const std::size_t requests = size_argument(argc, argv, 1, 200000, 10);
  const std::size_t rounds = size_argument(argc, argv, 2, 5);
  print_conditions("request_bench: a request of 64 bytes beside a raw echo");
  run_on_cpu(0);
  measure({"one at a time, one CPU", 1, 0, 0.85, 0}, requests, rounds);
  measure({"64 in flight, one CPU", 64, 0, 0.5, 0}, requests * 5, rounds);
  measure({"1024 in flight, two CPUs", 1024, 1, 0, 0.25}, requests * 5, rounds);
}
