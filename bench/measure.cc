#include "bench/measure.h"

#include <sched.h>
#include <time.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "framework/base/decimal.h"

namespace {

// The rest of the first line that begins so; empty when there is none.
std::string line_after(const std::string& file, const std::string& beginning) {
  std::ifstream in(file);
  for (std::string line; std::getline(in, line);) {
    if (line.compare(0, beginning.size(), beginning) == 0) return line.substr(beginning.size());
  }
  return {};
}

std::string processor() {
  const std::string line = line_after("/proc/cpuinfo", "model name");
  const std::size_t at = line.find_first_not_of("\t :");
  return at == std::string::npos ? "unknown processor" : line.substr(at);
}

std::string load_average() {
  std::ifstream in("/proc/loadavg");
  std::string minute;
  in >> minute;
  return minute;
}

std::string against(const char* relation, double bound, bool met) {
  char text[64];
  std::snprintf(text, sizeof text, "%s %g: %s", relation, bound, met ? "met" : "MISSED");
  return text;
}

std::size_t kilobytes_in_status(pid_t pid, const char* name) {
  std::size_t kilobytes = 0;
  std::istringstream(line_after("/proc/" + std::to_string(pid) + "/status", name)) >> kilobytes;
  return kilobytes * 1024;
}

}  // namespace

void give_up(const std::string& why) {
  std::fflush(stdout);
  std::fprintf(stderr, "%s\n", why.c_str());
  std::exit(1);
}

std::size_t size_argument(int argc, char** argv, int place, std::size_t otherwise,
                          std::size_t least) {
  if (argc <= place) return otherwise;
  std::size_t size = 0;
  if (!parse_decimal(argv[place], size) || size < least) {
    give_up(std::string(argv[place]) + " is no number from " + std::to_string(least) + " on");
  }
  return size;
}

void print_conditions(const char* title) {
  const std::time_t now = std::time(nullptr);
  char date[32];
  std::strftime(date, sizeof date, "%Y-%m-%d %H:%M UTC", std::gmtime(&now));
  std::printf("%s\n%s, %s build, %s, load %s\n\n", title, processor().c_str(), BENCH_BUILD_TYPE,
              date, load_average().c_str());
  std::fflush(stdout);
}

void run_on_cpu(int cpu) {
  cpu_set_t cpus;
  CPU_ZERO(&cpus);
  CPU_SET(static_cast<std::size_t>(cpu), &cpus);
  sched_setaffinity(0, sizeof cpus, &cpus);
}

double cpu_seconds(pid_t pid) {
  clockid_t clock = 0;
  timespec time{};
  if (clock_getcpuclockid(pid, &clock) != 0 || clock_gettime(clock, &time) != 0) {
    give_up("the processor time of a process cannot be read");
  }
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

Memory memory_of(pid_t pid) {
  return {kilobytes_in_status(pid, "VmRSS:"), kilobytes_in_status(pid, "RssAnon:")};
}

double median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

std::string at_most(double value, double bound) {
  return against("at most", bound, value <= bound);
}

std::string at_least(double value, double bound) {
  return against("at least", bound, value >= bound);
}
