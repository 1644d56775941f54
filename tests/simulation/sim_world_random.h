// The one source of chance in a simulation.
#pragma once

#include <cstdint>
#include <span>
#include <utility>

#include "framework/base/clock.h"

// Draws the same numbers from the same seed on every machine, which the
// standard library's distributions do not promise.
class SimRandom {
 public:
  explicit SimRandom(std::uint64_t seed) : _state(seed) {}

  // SplitMix64.
  std::uint64_t next() {
    _state += 0x9e3779b97f4a7c15U;
    std::uint64_t mixed = _state;
    mixed = (mixed ^ (mixed >> 30U)) * 0xbf58476d1ce4e5b9U;
    mixed = (mixed ^ (mixed >> 27U)) * 0x94d049bb133111ebU;
    return mixed ^ (mixed >> 31U);
  }
  // 0 .. limit - 1; `limit` is not 0.
  std::uint64_t below(std::uint64_t limit) { return next() % limit; }
  // Both ends included.
  Duration between(Duration low, Duration high) {
    const auto width = static_cast<std::uint64_t>((high - low).count()) + 1;
    return low + Duration(static_cast<Duration::rep>(below(width)));
  }
  [[nodiscard]] bool chance(unsigned per_mille) { return below(1000) < per_mille; }
  template <typename T>
  void shuffle(std::span<T> items) {
    for (std::size_t left = items.size(); left > 1; --left) {
      std::swap(items[left - 1], items[static_cast<std::size_t>(below(left))]);
    }
  }
  void fill(std::span<std::uint8_t> out) {
    for (std::uint8_t& byte : out) byte = static_cast<std::uint8_t>(next());
  }

 private:
  std::uint64_t _state;
};
