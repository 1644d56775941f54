// Connections that are closed but may still be running a request, or the
// callback that closed them.
#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "framework/base/event_loop.h"
#include "framework/xrl/connection.h"

class XrlClosedConnections {
 public:
  explicit XrlClosedConnections(EventLoop& loop) : _bury(loop, [this] { bury(); }) {}

  // Destroys it at the end of the turn, or of a later one when a handler that
  // it runs is turning the loop.
  void add(std::unique_ptr<XrlConnection> connection) {
    _connections.push_back(std::move(connection));
    _bury.schedule();
  }

 private:
  void bury() {
    std::erase_if(_connections, [](const auto& connection) { return !connection->is_running(); });
  }

  std::vector<std::unique_ptr<XrlConnection>> _connections;
  Deferred _bury;
};
