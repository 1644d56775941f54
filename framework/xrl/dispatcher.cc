#include "framework/xrl/dispatcher.h"

#include <bit>
#include <cstring>
#include <utility>

#include "framework/xrl/limits.h"

namespace {

std::uint64_t slot_of(const std::uint8_t* key) {
  return load_u64(key);
}

void run_handler(const XrlCmdMap::Command& command, const xrl_frame::Request& request,
                 ByteBuffer& out) {
  XrlArgsReader in(request.args);
  const std::size_t start = xrl_frame::begin_reply(out);
  bool past_limit = false;
  XrlArgsWriter results(out, &past_limit);
  const XrlCmdError answer = command.handler(command.target, in, results);
  const std::size_t bytes = out.size() - start - xrl_frame::LENGTH_BYTES;
  const bool fits = !past_limit && bytes <= xrl_limits::MAX_FRAME_BYTES;
  if (answer.is_okay() && fits) [[likely]] {
    xrl_frame::end_reply(out, start, request.sequence, XrlErrorCode::OKAY);
    return;
  }
  out.truncate(start);
  xrl_frame::append_error_reply(
      out, request.sequence,
      answer.is_okay() ? XrlError::INTERNAL_ERROR("the reply is longer than a frame may be.")
                       : answer.error());
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
    if (action != XrlFilterAction::HANDLE) return action;
  }
  // Back to what it was, also when the handler is left by an exception.
  struct Restore {
    XrlConnection*& current;
    XrlConnection* before;
    ~Restore() { current = before; }
  } const restore{_current, std::exchange(_current, &from)};
  run_handler(*command, request, out);
  return XrlFilterAction::HANDLE;
}
