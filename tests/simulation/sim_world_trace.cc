#include "tests/simulation/sim_world_trace.h"

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstdio>

#include "framework/xrl/byte_order.h"

namespace {

constexpr std::array ACT_NAMES{"accept", "arrive",        "close", "connected", "end",
                               "failed", "no descriptor", "read",  "reset",     "write"};

bool moves_bytes(SimTrace::Act act) {
  return act == SimTrace::Act::ARRIVE || act == SimTrace::Act::READ || act == SimTrace::Act::WRITE;
}

}  // namespace

void SimHash::add(std::uint64_t number) {
  _value = (_value ^ number) * 0x9e3779b97f4a7c15U;
  _value ^= _value >> 29U;
}

void SimHash::add(std::span<const std::uint8_t> bytes) {
  for (; bytes.size() >= sizeof(std::uint64_t); bytes = bytes.subspan(sizeof(std::uint64_t))) {
    add(load_u64(bytes.data()));
  }
  std::uint64_t rest = bytes.size();
  for (const std::uint8_t byte : bytes) rest = (rest << 8U) | byte;
  add(rest);
}

void SimHash::add(std::string_view text) {
  add(std::span(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()));
}

SimTrace::Event& SimTrace::next_event() {
  const TimePoint now = _agenda.now();
  _hash.add(static_cast<std::uint64_t>(now.time_since_epoch().count()));
  ++_line_count;
  if (_events.size() < KEPT_LINES) {
    _events.emplace_back();
    _events.back().time = now;
    return _events.back();
  }
  Event& event = _events[_oldest];
  _oldest = (_oldest + 1) % KEPT_LINES;
  event.time = now;
  return event;
}

void SimTrace::add(std::string_view text) {
  Event& event = next_event();
  event.text = text;
  _hash.add(text);
}

void SimTrace::add(End end, Act act, std::uint64_t number, std::uint64_t content) {
  Event& event = next_event();
  event.text.clear();
  event.end = end;
  event.act = act;
  event.number = number;
  event.content = content;
  _hash.add(end.connection * 2 + (end.is_client ? 1 : 0));
  _hash.add(number * 16 + static_cast<std::uint64_t>(act));
  if (content != 0) _hash.add(content);
}

std::string SimTrace::line_of(const Event& event) {
  const std::int64_t time_ns = event.time.time_since_epoch().count();
  std::array<char, 160> text{};
  int length = std::snprintf(text.data(), text.size(), "%" PRId64 ".%09" PRId64 " ",
                             time_ns / 1'000'000'000, time_ns % 1'000'000'000);
  const auto add = [&](const char* format, auto... values) {
    const auto at = static_cast<std::size_t>(length);
    length += std::snprintf(text.data() + at, text.size() - at, format, values...);
  };
  if (!event.text.empty()) return text.data() + event.text;
  add("c%" PRIu64 " %s %s", event.end.connection, event.end.is_client ? "client" : "server",
      ACT_NAMES.at(static_cast<std::size_t>(event.act)));
  if (moves_bytes(event.act)) add(" %" PRIu64 " bytes", event.number);
  if (event.act == Act::FAILED) add(" %" PRIu64, event.number);
  if (event.content != 0) add(" %016" PRIx64, event.content);
  return text.data();
}

std::deque<std::string> SimTrace::lines() const {
  std::deque<std::string> lines;
  for (std::size_t i = 0; i < _events.size(); ++i) {
    lines.push_back(line_of(_events[(_oldest + i) % _events.size()]));
  }
  return lines;
}

std::string SimTrace::tail(std::size_t count) const {
  std::string text;
  for (std::size_t i = _events.size() - std::min(count, _events.size()); i < _events.size(); ++i) {
    text += line_of(_events[(_oldest + i) % _events.size()]) + "\n";
  }
  return text;
}
