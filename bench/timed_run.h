// A program as somebody at a prompt feels it: from starting it to its end.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

struct TimedRun {
  int status = 0;                 // exit status, or 128 + the signal that ended it
  double seconds = 0;             // from its start to its end
  double first_byte_seconds = 0;  // to the first byte that it wrote; 0: it wrote none
  std::size_t peak_memory = 0;    // bytes; never below the caller's own
  std::string output;             // both streams, as they came
};

// Runs argv[0], looked for in PATH unless it is a path, with the caller's
// environment and without any input, and waits for its end.
[[nodiscard]] TimedRun run_timed(const std::vector<std::string>& argv);
// The same, and what does not end with `status` ends the benchmark.
[[nodiscard]] TimedRun run_timed_expecting(int status, const std::vector<std::string>& argv);
