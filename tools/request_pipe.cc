#include "tools/request_pipe.h"

#include <ostream>
#include <utility>

#include "tools/method_advice.h"
#include "tools/xrl_call.h"

RequestPipe::RequestPipe(EventLoop& loop, XrlSender& sender, int input_fd, std::ostream& out)
    : _sender(sender),
      _out(out),
      _lines(loop, input_fd, [this] { pump(); }),
      _pump(loop, [this] { pump(); }) {
  _pump.schedule();
}

void RequestPipe::pump() {
  do {
    write_answers();
  } while (has_room() && take_one());
  _out.flush();
  _lines.want(has_room() && !_unsent);
}

// False when there is no line yet, or the sender has to get rid of others first.
bool RequestPipe::take_one() {
  std::string line;
  while (!_unsent && line.empty()) {
    if (!_lines.take(line)) return false;
  }
  try {
    if (!_unsent) _unsent = Xrl::parse(line);
  } catch (const XrlParseError& error) {
    answer(expect_answer(), XrlError::BAD_ARGS(error.str()), XrlArgs());
    return true;
  }
  return send_request();
}

bool RequestPipe::send_request() {
  const std::uint64_t number = _first + _answers.size();
  const bool sent = send_xrl(_sender, *_unsent,
                             [this, number, target = _unsent->target, method = _unsent->method](
                                 const XrlError& error, const XrlArgs& results) {
                               if (error.code() == XrlErrorCode::NO_SUCH_METHOD) {
                                 explain(number, {target, method, {}}, error);
                                 return;
                               }
                               answer(number, error, results);
                               _pump.schedule();
                             });
  if (!sent && _unanswered > 0) return false;
  _unsent.reset();
  expect_answer();
  if (!sent) answer(number, XrlError::SEND_FAILED("the request could not be queued."), XrlArgs());
  return true;
}

void RequestPipe::explain(std::uint64_t number, const Xrl& request, const XrlError& refusal) {
  explain_missing_method(_sender, request, refusal, [this, number](const XrlError& explained) {
    answer(number, explained, XrlArgs());
    _pump.schedule();
  });
}

// Keeps the next place in the output; answers its number.
std::uint64_t RequestPipe::expect_answer() {
  _answers.emplace_back();
  ++_unanswered;
  return _first + _answers.size() - 1;
}

void RequestPipe::answer(std::uint64_t number, const XrlError& error, const XrlArgs& results) {
  _any_failed = _any_failed || !error.is_okay();
  --_unanswered;
  std::optional<std::string>& line = _answers[static_cast<std::size_t>(number - _first)];
  line = std::to_string(error.error_code()) + ' ';
  *line += error.is_okay() ? results.str() : on_one_line(error.note());
  _held_bytes += line->size();
}

void RequestPipe::write_answers() {
  while (!_answers.empty() && _answers.front()) {
    _held_bytes -= _answers.front()->size();
    _out << *_answers.front() << '\n';
    _answers.pop_front();
    ++_first;
  }
}
