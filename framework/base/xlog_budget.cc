#include "framework/base/xlog_budget.h"

#include <algorithm>
#include <utility>

bool XlogBudget::take(std::string_view module, std::string_view where, TimePoint now) {
  auto found = _spans.find(where);
  if (found == _spans.end()) found = _spans.emplace(where, Span{std::string(module)}).first;
  Span& span = found->second;
  // One that is over and held something back goes on until that was told.
  if (now >= span.end && span.held_back == 0) {
    span.end = now + SPAN;
    span.written = 0;
  }
  if (span.written < LINES_PER_SPAN) {
    ++span.written;
    return true;
  }
  ++span.held_back;
  _next_end = std::min(_next_end, span.end);
  return false;
}

std::vector<XlogBudget::HeldBack> XlogBudget::take_held_back(TimePoint now) {
  std::vector<HeldBack> all;
  if (now < _next_end) return all;
  TimePoint next = TimePoint::max();
  for (auto& [where, span] : _spans) {
    if (span.held_back == 0) continue;
    if (now < span.end) {
      next = std::min(next, span.end);
    } else {
      all.push_back({span.module, where, std::exchange(span.held_back, 0)});
    }
  }
  _next_end = next;
  return all;
}
