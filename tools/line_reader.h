// Lines from a descriptor, read as the event loop finds it ready and only while
// they are wanted.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include "framework/base/event_loop.h"

class LineReader {
 public:
  // A line longer than this ends the reading: more than the textual form of
  // the largest request.
  static constexpr std::size_t MAX_LINE_BYTES = 64U << 20U;

  // `fd` stays its owner's. `more` runs, while reading is wanted, whenever
  // there may be another line or the input has ended.
  LineReader(EventLoop& loop, int fd, std::function<void()> more);

  // Sets `line` to the next one, without its line break, and answers true;
  // false when none is complete yet. What follows the last line break is a
  // line too, once the input has ended.
  [[nodiscard]] bool take(std::string& line);

  // Nothing is left and nothing will come.
  [[nodiscard]] bool at_end() const { return _ended && _from == _buffer.size(); }
  // Why the input ended early; empty when it did not.
  [[nodiscard]] const std::string& problem() const { return _problem; }

  // Not wanted at first.
  void want(bool wanted);

 private:
  void read_some();
  void end(const std::string& problem);

  int _fd;
  std::function<void()> _more;
  std::string _buffer;
  std::size_t _from = 0;      // where the next line begins
  std::size_t _searched = 0;  // no line break in [_from, _searched)
  bool _wanted = false;
  bool _ended = false;
  std::string _problem;
  Deferred _again;                // for files, which are always ready
  std::unique_ptr<Watch> _watch;  // for what can be waited for
};
