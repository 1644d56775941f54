#include "tests/simulation/sim_world_trace.h"

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstdio>

void SimHash::add(std::span<const std::uint8_t> bytes) {
  for (const std::uint8_t byte : bytes) _value = (_value ^ byte) * 0x100000001b3U;
}

void SimHash::add(std::string_view text) {
  for (const char c : text) _value = (_value ^ static_cast<std::uint8_t>(c)) * 0x100000001b3U;
}

void SimTrace::add(std::string_view text) {
  const std::int64_t time_ns = _agenda.now().time_since_epoch().count();
  std::array<char, 48> time{};
  const int length = std::snprintf(time.data(), time.size(), "%" PRId64 ".%09" PRId64 " ",
                                   time_ns / 1'000'000'000, time_ns % 1'000'000'000);
  std::string line(time.data(), static_cast<std::size_t>(length));
  line += text;
  _hash.add(line);
  _hash.add("\n");
  ++_line_count;
  if (_lines.size() == KEPT_LINES) _lines.pop_front();
  _lines.push_back(std::move(line));
}

std::string SimTrace::tail(std::size_t count) const {
  std::string text;
  const std::size_t first = _lines.size() - std::min(count, _lines.size());
  for (std::size_t i = first; i < _lines.size(); ++i) text += _lines[i] + "\n";
  return text;
}
