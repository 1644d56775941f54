// Configurations at random, for switches with the given interfaces and VLANs.
#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "tests/support/typed_configuration.h"

class RandomConfiguration {
 public:
  // The same seed gives the same configurations on every machine.
  RandomConfiguration(std::uint32_t seed, std::vector<std::string> interfaces,
                      std::vector<std::uint32_t> vlans);

  // With every setting, a few lists and rules, and bindings to some of them.
  Configuration make();
  // The same with some of it changed, added and removed.
  Configuration change(Configuration configuration);

 private:
  std::uint32_t below(std::uint32_t bound);
  bool one_in(std::uint32_t count) { return below(count) == 0; }
  std::string text();
  TimeRange time_range();
  Rule rule();
  Acl acl();
  void settings(ClassOfService& cos);
  void bindings(const Configuration& configuration, Bindings& bound, bool of_interface);
  void bind_all(Configuration& configuration);

  std::mt19937 _random;
  std::vector<std::string> _interfaces;
  std::vector<std::uint32_t> _vlans;
};
