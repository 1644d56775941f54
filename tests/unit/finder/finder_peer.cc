#include "tests/unit/finder/finder_peer.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <utility>

namespace {

constexpr std::array<const char*, 3> METHODS = {
    "finder_event_observer/0.1/xrl_target_birth",
    "finder_event_observer/0.1/xrl_target_death",
    "finder_client/0.1/target_died",
};
constexpr std::chrono::seconds PATIENCE{20};

}  // namespace

template <std::size_t METHOD>
XrlCmdError FinderPeer::note(void* peer, XrlArgsReader& in, XrlArgsWriter& /*out*/) {
  XrlArgs args;
  EXPECT_TRUE(in.all(args)) << in.problem();
  const std::string_view method(METHODS[METHOD]);
  static_cast<FinderPeer*>(peer)->_told.push_back(
      std::string(method.substr(method.rfind('/') + 1)) + " " + args.str());
  return XrlCmdError::OKAY();
}

FinderPeer::FinderPeer(SimWorld& world, const NetAddress& finder, const std::string& cookie)
    : _world(world), _commands("peer") {
  _commands.add_handler(METHODS[0], note<0>, this);
  _commands.add_handler(METHODS[1], note<1>, this);
  _commands.add_handler(METHODS[2], note<2>, this);
  _dispatcher.set_commands(_commands);
  XrlConnection::Delegate& self = *this;
  _connection = std::make_unique<XrlConnection>(
      world.loop(), world.loop().network().connect(finder), XrlConnection::Side::CONNECTING, finder,
      xrl_frame::Hello{"peer", cookie}, &_dispatcher, self);
  const auto settled = [this] {
    return is_up() || _connection->state() == XrlConnection::State::CLOSED;
  };
  EXPECT_TRUE(world.run_until(settled, PATIENCE)) << world.report();
}

void FinderPeer::leave() {
  _connection->close("done");
  _world.run_for(std::chrono::seconds(1));
}

void FinderPeer::send(const std::string& method, const XrlArgs& args) {
  ByteBuffer buffer;
  XrlArgsWriter writer(buffer);
  for (const XrlAtom& atom : args) writer.atom(atom);
  _connection->send_request(_next_sequence++, well_known_xrl_key(method), buffer.bytes());
}

std::string FinderPeer::call(const std::string& method, const XrlArgs& args) {
  const std::uint32_t sequence = _next_sequence;
  send(method, args);
  const auto answered = [&] { return _replies.contains(sequence) || !is_up(); };
  EXPECT_TRUE(_world.run_until(answered, PATIENCE)) << _world.report();
  return _replies[sequence];
}

std::string FinderPeer::call(const std::string& method, const std::string& args) {
  return call(method, XrlArgs::parse(args));
}

XrlArgs FinderPeer::registration(const std::string& class_name, const std::string& instance_name) {
  XrlAtomList methods;
  XrlAtomList keys;
  for (const char* method : {METHODS[0], METHODS[1]}) {
    const XrlKey key = well_known_xrl_key(method);
    methods.append(method);
    keys.append(XrlAtom::unnamed(XrlAtom::Binary(key.begin(), key.end())));
  }
  XrlAtomList addresses;
  addresses.append("127.0.0.1:4711");
  XrlArgs args;
  args.add(XrlAtom("instance_name", instance_name));
  args.add(XrlAtom("class_name", class_name));
  args.add(XrlAtom("addresses", std::move(addresses)));
  args.add(XrlAtom("methods", std::move(methods)));
  args.add(XrlAtom("keys", std::move(keys)));
  return args;
}

std::string FinderPeer::register_target(const std::string& class_name,
                                        const std::string& instance_name) {
  return call("finder/0.2/register_target", registration(class_name, instance_name));
}

std::string FinderPeer::watch(const std::string& instance_name, const std::string& class_name) {
  return call("finder_event_notifier/0.1/register_class_event_interest",
              "requester_instance:txt=" + instance_name + "&class_name:txt=" + class_name);
}

std::vector<std::string> FinderPeer::told() {
  _world.run_for(std::chrono::milliseconds(100));
  return std::exchange(_told, {});
}

void FinderPeer::connection_up(XrlConnection& /*connection*/) {}

void FinderPeer::reply_arrived(XrlConnection& /*connection*/, std::uint32_t sequence,
                               const XrlError& error, XrlArgsReader& results) {
  XrlArgs args;
  EXPECT_TRUE(results.all(args)) << results.problem();
  _replies[sequence] =
      error.is_okay() ? args.str() : std::string(xrl_error_name(error.code())) + " " + error.note();
}

void FinderPeer::connection_down(XrlConnection& /*connection*/, XrlConnection::Cause /*cause*/,
                                 std::string_view /*reason*/) {}
