// XrlRouter: a process's (or a part's) place in the system: the methods it
// answers and the way its requests leave.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "framework/base/ipv4.h"
#include "framework/xrl/xrl_cmd_map.h"
#include "framework/xrl/xrl_sender.h"

class EventLoop;

class XrlRouter : public XrlCmdMap, public XrlSender {
 public:
  using XrlCmdMap::XrlCmdMap;

  // Unique over all routers that ever live: the class, or "client" when it has
  // none, '-' and 16 hexadecimal digits.
  [[nodiscard]] virtual const std::string& instance_name() const = 0;
  // Known once ready(); 0.0.0.0 before, when the finder was told by name.
  [[nodiscard]] virtual IPv4 finder_address() const = 0;
  [[nodiscard]] virtual std::uint16_t finder_port() const = 0;
  // Registered with the finder at least once, methods included.
  [[nodiscard]] virtual bool ready() const = 0;
  // Requests that still await a reply.
  [[nodiscard]] virtual std::size_t pending() const = 0;
  // What the target tells has changed otherwise than by a request to it; for
  // statistics/0.1/get_changes.
  virtual void note_change() {}
  // For a target that hears of the birth of `living`, an instance of `class_name`:
  // closes the connections that other instances of the class made to this one. The
  // network may hold what they once sent for longer than the living one needs to
  // tell the contrary. Who an instance is goes by what it says of itself.
  virtual void end_instances_before(std::string_view class_name, std::string_view living) = 0;
  // What stubs are constructed on.
  [[nodiscard]] XrlSender* sender() { return this; }
};

// Turns the loop until the router has registered with the finder.
void wait_until_xrl_router_is_ready(EventLoop& loop, XrlRouter& router);
