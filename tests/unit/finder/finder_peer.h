// One client of the finder, as plain as can be: it sends requests in textual
// form, awaits each answer, and writes down what it is told meanwhile.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "framework/finder/finder_registry.h"
#include "framework/xrl/router/xrl_connection.h"
#include "framework/xrl/router/xrl_dispatcher.h"
#include "framework/xrl/well_known_cmd_map.h"
#include "framework/xrl/xrl_args.h"
#include "tests/simulation/sim_world.h"

class FinderPeer final : private XrlConnection::Delegate {
 public:
  // Turns the world until the handshake is done or failed.
  FinderPeer(SimWorld& world, const NetAddress& finder, const std::string& cookie = {});
  ~FinderPeer() override = default;

  [[nodiscard]] bool is_up() const { return _connection->is_up(); }
  // Closes the connection and lets the world notice.
  void leave();

  // The results in textual form, or "CODE text".
  std::string call(const std::string& method, const std::string& args = {});
  std::string call(const std::string& method, const XrlArgs& args);
  // Sends and does not wait; the answer is read by the next call.
  void send(const std::string& method, const XrlArgs& args);

  // The methods of finder_event_observer/0.1 have their well-known keys.
  [[nodiscard]] static XrlArgs registration(const std::string& class_name,
                                            const std::string& instance_name);
  std::string register_target(const std::string& class_name, const std::string& instance_name);
  std::string watch(const std::string& instance_name, const std::string& class_name);

  // Requests of the finder so far, each "METHOD args", and forgets them.
  std::vector<std::string> told();

 private:
  template <std::size_t METHOD>
  static XrlCmdError note(void* peer, XrlArgsReader& in, XrlArgsWriter& out);

  void connection_up(XrlConnection& connection) override;
  void reply_arrived(XrlConnection& connection, std::uint32_t sequence, const XrlError& error,
                     XrlArgsReader& results) override;
  void connection_down(XrlConnection& connection, XrlConnection::Cause cause,
                       std::string_view reason) override;

  SimWorld& _world;
  WellKnownCmdMap _commands;
  XrlDispatcher _dispatcher;
  std::vector<std::string> _told;
  std::map<std::uint32_t, std::string> _replies;
  std::uint32_t _next_sequence = 0;
  std::unique_ptr<XrlConnection> _connection;
};
