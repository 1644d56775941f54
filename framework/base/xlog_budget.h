// XlogBudget: how many lines each place of the program may write to the log, so that what
// a peer brings about again and again neither fills the disk nor takes the time of others.
//
// A place is where a message is logged, "+71 policytree is_acl_used": there are as many as
// the source has, and memory grows with those that ever logged something.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "framework/base/clock.h"

class XlogBudget {
 public:
  // A span of a place begins with its first line outside of one.
  static constexpr std::size_t LINES_PER_SPAN = 100;
  static constexpr Duration SPAN = std::chrono::seconds(10);

  // What a place held back in a span that is over.
  struct HeldBack {
    std::string module;
    std::string where;
    std::uint64_t lines;
  };

  // Whether the place `where` of `module` may write a line at `now`; if not, it is
  // counted.
  [[nodiscard]] bool take(std::string_view module, std::string_view where, TimePoint now);
  // The spans that are over at `now` and held something back, in the order of their
  // places; each is told once.
  [[nodiscard]] std::vector<HeldBack> take_held_back(TimePoint now);

 private:
  struct Span {
    std::string module;
    TimePoint end{};
    std::size_t written = 0;
    std::uint64_t held_back = 0;
  };
  std::map<std::string, Span, std::less<>> _spans;
  TimePoint _next_end = TimePoint::max();  // of those that hold something back
};
