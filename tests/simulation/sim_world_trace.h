// What happened in a simulation, one text line an event. Two runs from the
// same seed give the same lines.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <span>
#include <string>
#include <string_view>

#include "tests/simulation/sim_world_agenda.h"

// FNV-1a.
class SimHash {
 public:
  void add(std::span<const std::uint8_t> bytes);
  void add(std::string_view text);
  [[nodiscard]] std::uint64_t value() const { return _value; }

 private:
  std::uint64_t _value = 0xcbf29ce484222325U;
};

class SimTrace {
 public:
  // The youngest lines are kept, to be shown when a run fails.
  static constexpr std::size_t KEPT_LINES = 2000;

  explicit SimTrace(const SimAgenda& agenda) : _agenda(agenda) {}

  // Adds "SECONDS.NANOSECONDS TEXT".
  void add(std::string_view text);

  // Of every line since the beginning.
  [[nodiscard]] std::uint64_t hash() const { return _hash.value(); }
  [[nodiscard]] std::uint64_t line_count() const { return _line_count; }
  [[nodiscard]] const std::deque<std::string>& lines() const { return _lines; }
  // The last `count` lines, each ended by a line break.
  [[nodiscard]] std::string tail(std::size_t count) const;

 private:
  const SimAgenda& _agenda;
  SimHash _hash;
  std::uint64_t _line_count = 0;
  std::deque<std::string> _lines;
};
