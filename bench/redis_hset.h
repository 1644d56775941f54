// A yardstick for stored records: Redis, keeping each rule as a hash of its
// fields, sent as lean as its protocol allows.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "bench/rule_sample.h"
#include "tests/support/child_process.h"

class RedisServer {
 public:
  // Null when the program redis-server is not installed. Otherwise a server
  // on a free port of loopback that keeps nothing on disk, on that CPU; it
  // ends with this object.
  [[nodiscard]] static std::unique_ptr<RedisServer> start(int cpu);

  // HSET of `count` new hashes with at most `in_flight` unanswered; rule i has
  // the values samples[i % samples.size()]. The seconds it took.
  [[nodiscard]] double set_rules(const std::vector<RuleValues>& samples, std::size_t count,
                                 std::size_t in_flight) const;
  // Drops all hashes.
  void clear() const;
  [[nodiscard]] pid_t pid() const { return _process.pid(); }

 private:
  RedisServer(std::uint16_t port, int cpu);

  std::uint16_t _port;
  ChildProcess _process;
};
