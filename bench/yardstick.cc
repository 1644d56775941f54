#include "bench/yardstick.h"

#include <cstdint>
#include <map>
#include <numeric>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "bench/measure.h"

double seconds_of_dependent_read(std::size_t things, std::size_t bytes) {
  constexpr std::size_t READS = 20000;
  const std::size_t stride = bytes / sizeof(std::size_t);
  // One cycle through all of them in random order.
  std::vector<std::size_t> order(things);
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::minstd_rand random(1);
  for (std::size_t i = things - 1; i > 0; --i) std::swap(order[i], order[random() % i]);
  std::vector<std::size_t> memory(things * stride);
  for (std::size_t i = 0; i < things; ++i) memory[i * stride] = order[i] * stride;

  std::size_t at = 0;
  const Stopwatch watch;
  for (std::size_t read = 0; read < READS; ++read) at = memory[at];
  const double seconds = watch.seconds();
  if (at >= memory.size()) give_up("a read went astray");
  return seconds / READS;
}

double seconds_of_map_erase(std::size_t things, std::size_t bytes, std::size_t samples) {
  std::map<std::uint32_t, std::string> map;
  for (std::uint32_t thing = 0; thing < things; ++thing)
    map.emplace(thing, std::string(bytes, 'x'));
  std::minstd_rand random(1);
  std::vector<double> seconds;
  for (std::size_t sample = 0; sample < samples; ++sample) {
    const auto thing = static_cast<std::uint32_t>(random() % things);
    const Stopwatch watch;
    const std::size_t erased = map.erase(thing);
    seconds.push_back(watch.seconds());
    if (erased != 1) give_up("a number is missing");
    map.emplace(thing, std::string(bytes, 'x'));
  }
  return median(seconds);
}
