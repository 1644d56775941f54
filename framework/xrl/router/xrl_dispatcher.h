// XrlDispatcher: finds the handler that a request's key names and runs it.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "framework/xrl/byte_buffer.h"
#include "framework/xrl/router/xrl_frame.h"
#include "framework/xrl/xrl_cmd_map.h"

class XrlConnection;

// What to do with a request before its handler sees it; for a target that is
// to play dead. IGNORE leaves it unanswered, CLOSE closes its connection, REFUSE
// answers COMMAND_FAILED "refused.".
enum class XrlFilterAction : std::uint8_t { HANDLE, IGNORE, CLOSE, REFUSE };

class XrlDispatcher {
 public:
  using Filter = std::function<XrlFilterAction(const XrlCmdMap::Command& command)>;

  // Requests whose key it does not know go to `next`, which must outlive it.
  explicit XrlDispatcher(XrlDispatcher* next = nullptr) : _next(next) {}

  // Takes the commands as they are now; to be called again when they change.
  // The map must outlive the dispatcher or be replaced.
  void set_commands(const XrlCmdMap& commands);
  void set_filter(Filter filter) { _filter = std::move(filter); }

  // Runs the handler and appends the one reply to `out`; where memory runs out
  // in the handler or for its results, that is the reply. Answers what became of
  // the request; with IGNORE and CLOSE nothing was appended. Throws
  // std::bad_alloc, and no handler ran, when there is no memory for a refusal.
  XrlFilterAction dispatch(XrlConnection& from, const xrl_frame::Request& request, ByteBuffer& out);

  // Requests of kind change or control that it answered OKAY, and changes that were
  // noted. What goes to `next` is counted there.
  [[nodiscard]] std::uint64_t changes() const { return _changes; }
  void note_change() { ++_changes; }

  // Where the request came from that is being handled now; null between
  // requests.
  [[nodiscard]] XrlConnection* current() const { return _current; }

 private:
  [[nodiscard]] const XrlCmdMap::Command* find(const std::uint8_t* key) const;

  XrlDispatcher* _next;
  Filter _filter;
  std::vector<const XrlCmdMap::Command*> _table;  // open addressing by the key's first bytes
  std::size_t _mask = 0;
  std::uint64_t _changes = 0;
  XrlConnection* _current = nullptr;
};
