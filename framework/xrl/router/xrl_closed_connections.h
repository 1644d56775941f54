// Connections that are closed but may still be running a request, or the
// callback that closed them.
#pragma once

#include <memory>
#include <utility>

#include "framework/base/event_loop.h"
#include "framework/xrl/router/xrl_connection.h"

class XrlClosedConnections {
 public:
  explicit XrlClosedConnections(EventLoop& loop) : _bury(loop, [this] { bury(); }) {}
  ~XrlClosedConnections() {
    while (_first) remove(_first);
  }
  XrlClosedConnections(const XrlClosedConnections&) = delete;
  XrlClosedConnections& operator=(const XrlClosedConnections&) = delete;

  // Destroys it at the end of the turn, or of a later one when a handler that
  // it runs is turning the loop. Takes no memory, for a connection may be closed
  // because there is none.
  void add(std::unique_ptr<XrlConnection> connection) {
    connection->_next_closed = std::move(_first);
    _first = std::move(connection);
    _bury.schedule();
  }

 private:
  static void remove(std::unique_ptr<XrlConnection>& place) {
    place = std::move(place->_next_closed);
  }
  void bury() {
    for (auto* place = &_first; *place;) {
      if ((*place)->is_running()) {
        place = &(*place)->_next_closed;
      } else {
        remove(*place);
      }
    }
  }

  std::unique_ptr<XrlConnection> _first;
  Deferred _bury;
};
