// What the benchmarks share: where they run, what it costs, and how they say it.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

// Ends the process with status 1: what a benchmark measures must also be right.
[[noreturn]] void give_up(const std::string& why);

// The whole number at that place of the command line, from `least` on, or
// `otherwise` where there is none. What is no such number ends the process.
[[nodiscard]] std::size_t size_argument(int argc, char** argv, int place, std::size_t otherwise,
                                        std::size_t least = 1);

// Prints processor, kind of build and time: no figure stands without them.
void print_conditions(const char* title);

// From now on this process, and what it starts, runs there.
void run_on_cpu(int cpu);

// Processor time that the process has taken so far.
[[nodiscard]] double cpu_seconds(pid_t pid);

struct Memory {
  std::size_t resident;   // bytes that are in memory
  std::size_t anonymous;  // of these, what no file is behind: heap and stack
};
[[nodiscard]] Memory memory_of(pid_t pid);

// Of the middle one of an odd number of values.
[[nodiscard]] double median(std::vector<double> values);

class Stopwatch {
 public:
  [[nodiscard]] double seconds() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - _start).count();
  }

 private:
  std::chrono::steady_clock::time_point _start = std::chrono::steady_clock::now();
};

// "at most 4.00: met", "at least 0.85: MISSED".
[[nodiscard]] std::string at_most(double value, double bound);
[[nodiscard]] std::string at_least(double value, double bound);
