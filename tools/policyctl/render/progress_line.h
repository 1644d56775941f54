// A line of a terminal that tells how far a long operation is.
#pragma once

#include <chrono>
#include <cstddef>
#include <iosfwd>

class ProgressLine {
 public:
  // Nothing is shown in the first half second, nor when `out` is no terminal.
  ProgressLine(std::ostream& out, bool is_terminal);

  // "12000 of 100000, 640000/s, 0.1 s left", a few times a second.
  void show(std::size_t done, std::size_t all);
  // Takes the line away.
  void clear();

 private:
  using Clock = std::chrono::steady_clock;

  std::ostream& _out;
  bool _is_terminal;
  bool _is_shown = false;
  std::size_t _calls = 0;
  Clock::time_point _begin;
  Clock::time_point _next;
};
