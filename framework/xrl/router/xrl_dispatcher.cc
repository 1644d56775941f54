#include "framework/xrl/router/xrl_dispatcher.h"

#include <bit>
#include <cstring>
#include <new>
#include <utility>

#include "framework/xrl/limits.h"

namespace {

std::uint64_t slot_of(const std::uint8_t* key) {
  return load_u64(key);
}

// Fits into a string that takes no memory of its own.
constexpr const char* OUT_OF_MEMORY = "out of memory.";

// Runs the handler and ends the reply that was begun. Answers why the request
// has to be refused instead, or OKAY.
XrlError answer_with_results(const XrlCmdMap::Command& command, const xrl_frame::Request& request,
                             std::size_t start, ByteBuffer& out) {
  XrlArgsReader in(request.args);
  bool past_limit = false;
  XrlArgsWriter results(out, &past_limit);
  const XrlCmdError answer = command.handler(command.target, in, results);
  if (!answer.is_okay()) return answer.error();
  const std::size_t bytes = out.size() - start - xrl_frame::LENGTH_BYTES;
  if (past_limit || bytes > xrl_limits::MAX_REPLY_BYTES) {
    return XrlError::INTERNAL_ERROR("the reply is longer than a frame may be.");
  }
  xrl_frame::end_reply(out, start, request.sequence, XrlErrorCode::OKAY);
  return {};
}

// What memory does not suffice for is refused; room to say so is taken before. True
// when the request was answered OKAY.
bool run_handler(const XrlCmdMap::Command& command, const xrl_frame::Request& request,
                 ByteBuffer& out) {
  static_cast<void>(out.reserve(xrl_frame::REPLY_HEAD + std::strlen(OUT_OF_MEMORY)));
  const std::size_t start = xrl_frame::begin_reply(out);
  try {
    const XrlError refusal = answer_with_results(command, request, start, out);
    if (refusal.is_okay()) [[likely]]
      return true;
    out.truncate(start);
    xrl_frame::append_error_reply(out, request.sequence, refusal);
  } catch (const std::bad_alloc&) {
    out.truncate(start);
    xrl_frame::append_error_reply(out, request.sequence, XrlError::INTERNAL_ERROR(OUT_OF_MEMORY));
  }
  return false;
}

}  // namespace

void XrlDispatcher::set_commands(const XrlCmdMap& commands) {
  const std::size_t slots = std::bit_ceil(commands.commands().size() * 2 + 1);
  _mask = slots - 1;
  _table.assign(slots, nullptr);
  for (const auto& command : commands.commands()) {
    std::size_t slot = slot_of(command->key.data()) & _mask;
    while (_table[slot] != nullptr) slot = (slot + 1) & _mask;
    _table[slot] = command.get();
  }
}

const XrlCmdMap::Command* XrlDispatcher::find(const std::uint8_t* key) const {
  if (_table.empty()) return nullptr;
  for (std::size_t slot = slot_of(key) & _mask; _table[slot] != nullptr;
       slot = (slot + 1) & _mask) {
    if (std::memcmp(_table[slot]->key.data(), key, sizeof(XrlKey)) == 0) return _table[slot];
  }
  return nullptr;
}

XrlFilterAction XrlDispatcher::dispatch(XrlConnection& from, const xrl_frame::Request& request,
                                        ByteBuffer& out) {
  const XrlCmdMap::Command* command = find(request.key);
  if (command == nullptr) {
    if (_next != nullptr) return _next->dispatch(from, request, out);
    xrl_frame::append_error_reply(
        out, request.sequence,
        XrlError::NO_SUCH_METHOD("the request's key names no method of this target."));
    return XrlFilterAction::HANDLE;
  }
  if (_filter) [[unlikely]] {
    const XrlFilterAction action = _filter(*command);
    if (action == XrlFilterAction::REFUSE) {
      xrl_frame::append_error_reply(out, request.sequence, XrlError::COMMAND_FAILED("refused."));
      return XrlFilterAction::HANDLE;
    }
    if (action != XrlFilterAction::HANDLE) return action;
  }
  // Back to what it was, also when the handler is left by an exception.
  struct Restore {
    XrlConnection*& current;
    XrlConnection* before;
    ~Restore() { current = before; }
  } const restore{_current, std::exchange(_current, &from)};
  if (run_handler(*command, request, out) && command->changes_something()) ++_changes;
  return XrlFilterAction::HANDLE;
}
