#include "tools/policyctl/render/progress_line.h"

#include <cstdio>
#include <ostream>

namespace {

constexpr auto SHOWN_AFTER = std::chrono::milliseconds(500);
constexpr auto SHOWN_EVERY = std::chrono::milliseconds(100);
constexpr std::size_t CALLS_PER_LOOK = 64;  // at the clock

}  // namespace

ProgressLine::ProgressLine(std::ostream& out, bool is_terminal)
    : _out(out), _is_terminal(is_terminal), _begin(Clock::now()), _next(_begin + SHOWN_AFTER) {}

void ProgressLine::show(std::size_t done, std::size_t all) {
  if (!_is_terminal || ++_calls % CALLS_PER_LOOK != 0) return;
  const Clock::time_point now = Clock::now();
  if (now < _next) return;
  _next = now + SHOWN_EVERY;
  _is_shown = true;
  const double seconds = std::chrono::duration<double>(now - _begin).count();
  const double rate = static_cast<double>(done) / seconds;
  const double left = static_cast<double>(all - done) / rate;
  char text[100];
  std::snprintf(text, sizeof text, "\r%zu of %zu, %.0f/s, %.1f s left\033[K", done, all, rate,
                left);
  _out << text << std::flush;
}

void ProgressLine::clear() {
  if (_is_shown) _out << "\r\033[K" << std::flush;
  _is_shown = false;
}
