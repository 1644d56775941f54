#include "framework/xrl/router/xrl_connection.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <new>

#include "framework/xrl/limits.h"
#include "framework/xrl/router/cookie.h"
#include "framework/xrl/router/xrl_buffer_budget.h"
#include "framework/xrl/router/xrl_dispatcher.h"
#include "framework/xrl/xrl_args_codec.h"

namespace {

// Input is read here and run in place; only what is left of an incomplete
// frame is copied into its connection, so an idle connection holds no buffer.
std::array<std::uint8_t, xrl_limits::MAX_READ_PER_TURN> shared_input;
bool shared_input_in_use = false;

class SharedInputUse {
 public:
  explicit SharedInputUse(bool use) : _use(use) {
    if (use) shared_input_in_use = true;
  }
  ~SharedInputUse() {
    if (_use) shared_input_in_use = false;
  }
  SharedInputUse(const SharedInputUse&) = delete;
  SharedInputUse& operator=(const SharedInputUse&) = delete;

 private:
  bool _use;
};

// Whether the requests of one connection have had their time. Looks at the
// clock now and then only, and not at all for a few requests with short answers.
class TimeSlice {
 public:
  explicit TimeSlice(EventLoop& loop) : _loop(loop) {}
  // After each request; `answers` is how many bytes of answers there are now.
  [[nodiscard]] bool is_over(std::size_t answers) {
    const bool was_long = answers >= _answers + xrl_limits::LONG_ANSWER_BYTES;
    _answers = answers;
    if (++_requests % xrl_limits::REQUESTS_PER_LOOK != 0 && !was_long) return false;
    const TimePoint now = _loop.kernel().now();
    // What long answers take counts from the beginning of the turn.
    if (was_long) _began = _loop.now();
    if (_began == TimePoint{}) _began = now;
    return now - _began > xrl_limits::MAX_TIME_PER_TURN;
  }

 private:
  EventLoop& _loop;
  std::size_t _answers = 0;
  unsigned _requests = 0;
  TimePoint _began{};
};

constexpr std::size_t MIN_READ = 16U << 10U;

std::string errno_text(std::ptrdiff_t negative_errno) {
  return std::strerror(static_cast<int>(-negative_errno));
}

}  // namespace

XrlConnection::XrlConnection(EventLoop& loop, int fd, Side side, NetAddress peer,
                             xrl_frame::Hello hello, XrlDispatcher* dispatcher, Delegate& delegate,
                             XrlBufferBudget* budget)
    : _loop(loop),
      _fd(fd),
      _state(side == Side::ACCEPTED ? State::HANDSHAKE : State::CONNECTING),
      _peer(std::move(peer)),
      _hello(std::move(hello)),
      _dispatcher(dispatcher),
      _delegate(delegate),
      _budget(budget),
      _last_heard(loop.now()),
      _flush(loop, [this] { guarded(&XrlConnection::flush); }),
      _deadline(loop, [this] { on_deadline(); }) {
  _watch.emplace(loop, fd, side == Side::ACCEPTED ? IoInterest::READ : IoInterest::WRITE,
                 [this](IoInterest ready) { on_ready(ready); });
  _deadline.schedule_after(xrl_limits::HANDSHAKE_TIMEOUT);
  xrl_frame::append_hello(_out, _hello);
  if (side == Side::ACCEPTED) _flush.schedule();
}

XrlConnection::~XrlConnection() {
  if (_state == State::CLOSED) return;
  _state = State::CLOSED;
  account();
  _watch.reset();
  _loop.network().close(_fd);
}

NetAddress XrlConnection::local_address() const {
  return _loop.network().local_address(_fd);
}

void XrlConnection::send_request(std::uint32_t sequence, const XrlKey& key,
                                 std::span<const std::uint8_t> args) {
  xrl_frame::append_request(_answering ? _after_answer : _out, sequence, key, args);
  account();
  if (!_write_blocked) _flush.schedule();
}

void XrlConnection::hand_over() {
  // A broken connection is told of by the next flush.
  if (_state == State::UP && !_answering) static_cast<void>(write_out());
}

std::size_t XrlConnection::buffered_bytes() const {
  if (_state == State::CLOSED) return 0;
  return _in.capacity() + (_dispatcher != nullptr ? _out.capacity() : 0);
}

void XrlConnection::account() {
  const std::size_t bytes = buffered_bytes();
  if (bytes == _accounted || _budget == nullptr) return;
  _budget->account(*this, bytes);
  _accounted = bytes;
}

bool XrlConnection::keep_budget() {
  if (_budget == nullptr || !_budget->is_exceeded()) [[likely]]
    return true;
  const auto life = _lifeline.token();
  _budget->enforce();
  return life->alive && _state != State::CLOSED;
}

void XrlConnection::end(Cause cause, std::string_view reason) {
  if (_state == State::CLOSED) return;
  _state = State::CLOSED;
  _watch.reset();
  _flush.cancel();
  _deadline.cancel();
  _loop.network().close(_fd);
  if (!_parsing) {
    _in = ByteBuffer();
    _out = ByteBuffer();
  }
  account();
  _delegate.connection_down(*this, cause, reason);
}

void XrlConnection::on_ready(IoInterest ready) {
  if (_state == State::CONNECTING) {
    finish_connecting();
    return;
  }
  const auto life = _lifeline.token();
  if (wants_write(ready) && _write_blocked) guarded(&XrlConnection::flush);
  if (!life->alive || _state == State::CLOSED) return;
  if (wants_read(ready)) guarded(&XrlConnection::read_some);
  // In a turn nested in one of our own handlers it stays ready for what has to
  // wait, and must not keep the loop awake.
  if (life->alive && _state != State::CLOSED && _parsing) update_interest();
}

void XrlConnection::finish_connecting() {
  const int result = _loop.network().connect_result(_fd);
  if (result < 0) {
    end(Cause::PEER, errno_text(result));
    return;
  }
  _state = State::HANDSHAKE;
  update_interest();
  flush();
}

void XrlConnection::on_deadline() {
  end(Cause::FAULT, _state == State::UP ? "the peer takes no data" : "no handshake in time");
}

// Who asks for more than it takes is not read until it has taken it. Where this
// side only asks, it reads on: two sides that wait for each other to read would
// wait for ever.
bool XrlConnection::owes_too_much() const {
  return _dispatcher != nullptr && _out.size() > xrl_limits::REPLY_BYTES_HIGH_WATER &&
         _state == State::UP;
}

void XrlConnection::guarded(void (XrlConnection::*step)()) {
  const auto life = _lifeline.token();
  try {
    (this->*step)();
  } catch (const std::bad_alloc&) {
    if (!life->alive) return;
    _parsing = false;
    end(Cause::FAULT, "out of memory");
  }
}

void XrlConnection::read_some() {
  // A turn nested in one of our own handlers must not run the next request.
  if (_parsing) return;
  const auto life = _lifeline.token();
  std::size_t budget = xrl_limits::MAX_READ_PER_TURN;
  while (budget > 0 && may_read() && read_once(budget)) {
  }
  if (!life->alive || _state == State::CLOSED) return;
  account();
  if (keep_budget()) update_interest();
}

bool XrlConnection::read_once(std::size_t& budget) {
  const bool shared = _in.empty() && !shared_input_in_use;
  std::span<std::uint8_t> into(shared_input);
  if (!shared) {
    std::uint8_t* const end = _in.reserve(MIN_READ);
    into = {end, _in.room()};
  }
  into = into.first(std::min(into.size(), budget));
  const std::ptrdiff_t count = _loop.network().read(_fd, into);
  if (count == -EAGAIN) return false;
  if (count <= 0) {
    end(Cause::PEER, count == 0 ? "closed by the peer" : errno_text(count));
    return false;
  }
  const auto bytes = static_cast<std::size_t>(count);
  budget -= bytes;
  _last_heard = _loop.now();
  if (!shared) _in.commit(bytes);

  const SharedInputUse use(shared);
  const auto taken = parse(shared ? into.first(bytes) : _in.bytes());
  if (!taken) return false;
  if (shared) {
    _in.append(into.data() + *taken, bytes - *taken);
  } else {
    _in.consume(*taken);
    _in.release_if_idle(0);
  }
  return bytes == into.size();
}

std::optional<std::size_t> XrlConnection::parse(std::span<const std::uint8_t> bytes) {
  const auto life = _lifeline.token();
  TimeSlice slice(_loop);
  _parsing = true;
  _backlog = false;
  std::size_t at = 0;
  while (bytes.size() - at >= xrl_frame::LENGTH_BYTES && may_read()) {
    const std::uint32_t length = load_u32(bytes.data() + at);
    if (length == 0 || length > longest_frame(bytes.subspan(at))) {
      end(Cause::FAULT, "damaged: a frame of " + std::to_string(length) + " bytes");
    } else if (bytes.size() - at - xrl_frame::LENGTH_BYTES < length) {
      break;
    } else {
      take_frame(bytes.subspan(at + xrl_frame::LENGTH_BYTES, length));
    }
    if (!life->alive) return std::nullopt;
    if (_state == State::CLOSED || !keep_budget()) {
      if (life->alive) _parsing = false;
      return std::nullopt;
    }
    at += xrl_frame::LENGTH_BYTES + length;
    if (slice.is_over(_out.size())) {
      _backlog = true;
      _flush.schedule();
    }
  }
  _parsing = false;
  return at;
}

// Of the kind that the bytes at its front tell, if they do yet.
std::uint32_t XrlConnection::longest_frame(std::span<const std::uint8_t> front) const {
  if (_state != State::UP) return xrl_limits::MAX_HELLO_BYTES;
  const bool may_be_reply =
      front.size() <= xrl_frame::KIND_AT ||
      front[xrl_frame::KIND_AT] == static_cast<std::uint8_t>(xrl_frame::Kind::REPLY);
  return may_be_reply ? xrl_limits::MAX_REPLY_BYTES : xrl_limits::MAX_FRAME_BYTES;
}

void XrlConnection::take_frame(std::span<const std::uint8_t> frame) {
  const auto kind = static_cast<xrl_frame::Kind>(frame[0]);
  const auto body = frame.subspan(1);
  if (_state == State::UP) [[likely]] {
    if (kind == xrl_frame::Kind::REQUEST && _dispatcher != nullptr) return take_request(body);
    if (kind == xrl_frame::Kind::REPLY) return take_reply(body);
  } else if (kind == xrl_frame::Kind::HELLO) {
    return take_hello(body);
  }
  end(Cause::FAULT, "damaged: an unexpected frame of kind " + std::to_string(frame[0]));
}

void XrlConnection::take_hello(std::span<const std::uint8_t> body) {
  xrl_frame::Hello theirs;
  const std::string problem = xrl_frame::parse_hello(body, theirs);
  if (!problem.empty()) {
    end(Cause::FAULT, problem);
    return;
  }
  if (!cookies_match(theirs.cookie, _hello.cookie)) {
    end(Cause::FAULT, "wrong cookie");
    return;
  }
  _peer_instance = std::move(theirs.instance);
  _state = State::UP;
  _was_up = true;
  if (!_write_blocked) _deadline.cancel();
  _delegate.connection_up(*this);
}

void XrlConnection::take_request(std::span<const std::uint8_t> body) {
  xrl_frame::Request request;
  if (!xrl_frame::parse_request(body, request)) {
    end(Cause::FAULT, "damaged: a request of " + std::to_string(body.size()) + " bytes");
    return;
  }
  _answering = true;
  const XrlFilterAction action = _dispatcher->dispatch(*this, request, _out);
  _answering = false;
  if (!_after_answer.empty()) {
    _out.append(_after_answer.data(), _after_answer.size());
    _after_answer = ByteBuffer();
  }
  account();
  if (action == XrlFilterAction::CLOSE) {
    close("closed by this side");
    return;
  }
  if (!_write_blocked) _flush.schedule();
}

void XrlConnection::take_reply(std::span<const std::uint8_t> body) {
  xrl_frame::Reply reply;
  if (!xrl_frame::parse_reply(body, reply)) {
    end(Cause::FAULT, "damaged: a reply of " + std::to_string(body.size()) + " bytes");
    return;
  }
  if (reply.code == static_cast<std::uint32_t>(XrlErrorCode::OKAY)) [[likely]] {
    XrlArgsReader results(reply.rest);
    _delegate.reply_arrived(*this, reply.sequence, XrlError::OKAY(), results);
    return;
  }
  XrlArgsReader none({});
  const auto code = is_known_xrl_error(reply.code) ? static_cast<XrlErrorCode>(reply.code)
                                                   : XrlErrorCode::INTERNAL_ERROR;
  const XrlError error(
      code, std::string(reinterpret_cast<const char*>(reply.rest.data()), reply.rest.size()));
  _delegate.reply_arrived(*this, reply.sequence, error, none);
}

void XrlConnection::flush() {
  // A half-written answer stays here, also in a turn nested in its handler.
  if (_state == State::CLOSED || _state == State::CONNECTING || _answering) return;
  const std::ptrdiff_t problem = write_out();
  if (problem < 0) {
    end(Cause::PEER, errno_text(problem));
    return;
  }
  const auto life = _lifeline.token();
  if (_backlog || !_in.empty()) parse_held_input();
  if (life->alive && _state != State::CLOSED && keep_budget()) update_interest();
}

std::ptrdiff_t XrlConnection::write_out() {
  while (!_out.empty()) {
    const std::size_t size = _out.size();
    const std::ptrdiff_t count = _loop.network().write(_fd, _out.bytes());
    if (count < 0 && count != -EAGAIN) return count;
    if (count > 0) {
      _out.consume(static_cast<std::size_t>(count));
      if (_write_blocked) start_stall_deadline();
    }
    if (count < static_cast<std::ptrdiff_t>(size)) {
      if (!_write_blocked) start_stall_deadline();
      _write_blocked = true;
      return 0;
    }
  }
  _out.release_if_idle(xrl_limits::KEPT_OUTPUT_BYTES);
  account();
  if (_write_blocked && _state == State::UP) _deadline.cancel();
  _write_blocked = false;
  return 0;
}

void XrlConnection::start_stall_deadline() {
  if (_state == State::UP) _deadline.schedule_after(xrl_limits::WRITE_STALL_TIMEOUT);
}

// Requests that were held back: the peer took none of its replies, or their
// time was over.
void XrlConnection::parse_held_input() {
  if (_parsing || owes_too_much()) return;
  const auto taken = parse(_in.bytes());
  if (!taken) return;
  _in.consume(*taken);
  _in.release_if_idle(0);
  account();
}

void XrlConnection::update_interest() {
  const bool write = (_write_blocked && !_answering) || _state == State::CONNECTING;
  if (may_read() && !_parsing) {
    _watch->set_interest(write ? IoInterest::READ_WRITE : IoInterest::READ);
  } else {
    _watch->set_interest(write ? IoInterest::WRITE : IoInterest::NONE);
  }
}
