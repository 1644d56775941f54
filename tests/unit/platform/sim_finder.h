// A finder in a simulated world, which can die and come back.
#pragma once

#include <cstdint>
#include <memory>

#include "framework/finder/finder_server.h"
#include "tests/simulation/sim_world.h"

class SimFinder {
 public:
  static constexpr std::uint16_t PORT = 19999;

  // Not there yet.
  explicit SimFinder(SimWorld& world) : _world(world) {}

  void start() {
    _server = std::make_unique<FinderServer>(_world.loop(), NetAddress::tcp(IPv4::loopback(), PORT),
                                             AllowList(), "");
  }
  void stop() { _server.reset(); }
  void restart() {
    stop();
    start();
  }

 private:
  SimWorld& _world;
  std::unique_ptr<FinderServer> _server;
};
