// footprint: what policyd and the finder take of a small machine.
//
//   start     from starting policyd, the finder being up, until it has answered
//             its first command; asked every 0.1 ms
//   resident  memory of both a second later, when nothing is asked; of it
//             anonymous: what is not shared with other processes of the same
//             program and libraries
//   stripped  size of the two programs without symbols and debug information
//
//     footprint [ROUNDS]      (default 11 starts)

#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "bench/control_plane.h"
#include "bench/measure.h"
#include "framework/xrl/interfaces/common_xif.h"
#include "tests/support/temporary_folder.h"

namespace {

constexpr double MEGABYTE = 1e6;
constexpr double MOST_RESIDENT_MB = 6;

void pause(ControlPlane& plane, Duration duration) {
  bool over = false;
  Timer timer(plane.loop(), [&] { over = true; });
  timer.schedule_after(duration);
  plane.wait_until([&] { return over; });
}

bool policyd_answers(ControlPlane& plane) {
  bool heard = false;
  bool answers = false;
  XrlCommonV0p1Client(&plane.router())
      .send_get_version("policy", callback([&](const XrlError& error, const std::string_view*) {
                          heard = true;
                          answers = error.is_okay();
                        }));
  plane.wait_until([&] { return heard; });
  return answers;
}

// Leaves policyd running.
double start_seconds(ControlPlane& plane, std::unique_ptr<ChildProcess>& policyd) {
  policyd.reset();
  while (policyd_answers(plane)) {
  }
  const Stopwatch watch;
  policyd = plane.start_policyd(-1);
  while (!policyd_answers(plane)) pause(plane, std::chrono::microseconds(100));
  return watch.seconds();
}

void print_resident(const char* name, const Memory& memory) {
  const double resident = static_cast<double>(memory.resident) / MEGABYTE;
  std::printf("resident  %-8s %6.2f MB (%s), of it anonymous %.2f MB\n", name, resident,
              at_most(resident, MOST_RESIDENT_MB).c_str(),
              static_cast<double>(memory.anonymous) / MEGABYTE);
}

void print_stripped(const char* name) {
  const TemporaryFolder folder;
  const std::string stripped = folder.path_of("stripped");
  const std::string command = "strip -o " + stripped + " " + program(name);
  struct stat size {};
  if (std::system(command.c_str()) != 0 || stat(stripped.c_str(), &size) != 0) {
    std::printf("stripped  %-8s not measured: there is no strip\n", name);
    return;
  }
  std::printf("stripped  %-8s %6.2f MB\n", name, static_cast<double>(size.st_size) / MEGABYTE);
}

}  // namespace

int main(int argc, char** argv) {
  const std::size_t rounds = size_argument(argc, argv, 1, 11);
  print_conditions("footprint: start, memory and size");
  ControlPlane plane;
  std::unique_ptr<ChildProcess> policyd;
  std::vector<double> starts;
  for (std::size_t round = 0; round < rounds; ++round) {
    starts.push_back(start_seconds(plane, policyd));
  }
  std::printf("start     policyd  %6.2f ms (median of %zu, longest %.2f ms)\n",
              median(starts) * 1e3, rounds, *std::max_element(starts.begin(), starts.end()) * 1e3);
  pause(plane, std::chrono::seconds(1));
  print_resident("policyd", memory_of(policyd->pid()));
  print_resident("finder", memory_of(plane.finder().pid()));
  print_stripped("policyd");
  print_stripped("finder");
}
