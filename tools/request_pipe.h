// RequestPipe: a request a line in, an answer a line out, in the order read,
// with many requests in flight.
//
// Answers that came before that of an earlier request wait for it. Lines are
// read only while the window has room, so that memory stays bounded however
// long the input, however slow a target, and however large the answers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <iosfwd>
#include <optional>
#include <string>

#include "framework/base/event_loop.h"
#include "framework/xrl/xrl.h"
#include "framework/xrl/xrl_args.h"
#include "framework/xrl/xrl_error.h"
#include "framework/xrl/xrl_sender.h"
#include "tools/line_reader.h"

class RequestPipe {
 public:
  // Requests that were read and whose answers are not written yet.
  static constexpr std::size_t MAX_IN_FLIGHT = 4096;
  // Nothing is read while answers of this many bytes wait for an earlier one.
  static constexpr std::size_t MAX_HELD_BYTES = 64U << 20U;

  // Begins in the next turn. Each line written is the code, a blank, and the
  // reply arguments or the error text: "100 flag:bool=true",
  // "102 the acl does not exist.". A line that is no request is answered 101;
  // one that names no method of its target is told the nearest one; empty lines
  // are skipped. All that is referred to must outlive the pipe.
  RequestPipe(EventLoop& loop, XrlSender& sender, int input_fd, std::ostream& out);

  // The input has ended and every request is answered.
  [[nodiscard]] bool is_done() const { return _lines.at_end() && !_unsent && _answers.empty(); }
  // At least one answer was not 100.
  [[nodiscard]] bool any_failed() const { return _any_failed; }
  // Why the input ended early; empty when it did not.
  [[nodiscard]] const std::string& problem() const { return _lines.problem(); }

 private:
  void pump();
  [[nodiscard]] bool has_room() const {
    return _answers.size() < MAX_IN_FLIGHT && _held_bytes < MAX_HELD_BYTES;
  }
  [[nodiscard]] bool take_one();
  [[nodiscard]] bool send_request();
  // Answers with what the request probably meant.
  void explain(std::uint64_t number, const Xrl& request, const XrlError& refusal);
  std::uint64_t expect_answer();
  void answer(std::uint64_t number, const XrlError& error, const XrlArgs& results);
  void write_answers();

  XrlSender& _sender;
  std::ostream& _out;
  std::deque<std::optional<std::string>> _answers;  // of _first and following; none yet: empty
  std::uint64_t _first = 0;
  std::size_t _unanswered = 0;
  std::size_t _held_bytes = 0;
  std::optional<Xrl> _unsent;  // read, but the sender could not take it
  bool _any_failed = false;
  LineReader _lines;
  Deferred _pump;
};
