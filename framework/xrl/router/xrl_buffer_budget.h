// XrlBufferBudget: what the connections of one process may hold in buffers
// together, so that many peers cannot do what one may not. Counted is memory
// that a peer makes this process hold: frames whose rest has not come, and
// answers and news that the peer has not taken.
#pragma once

#include <cstddef>
#include <unordered_map>

#include "framework/base/callback.h"

class XrlConnection;

class XrlBufferBudget {
 public:
  explicit XrlBufferBudget(std::size_t limit) : _limit(limit) {}
  XrlBufferBudget(const XrlBufferBudget&) = delete;
  XrlBufferBudget& operator=(const XrlBufferBudget&) = delete;

  // The connection holds `bytes` from now on. Closes nothing.
  void account(XrlConnection& holder, std::size_t bytes);
  [[nodiscard]] std::size_t held() const { return _held; }
  [[nodiscard]] bool is_exceeded() const { return _held > _limit; }
  // Past the limit, closes the connections that hold most, each after one
  // attempt to write out what it holds. Their delegates hear of it, so this is
  // not to be called where no callback may run.
  void enforce();

 private:
  std::size_t _limit;
  std::size_t _held = 0;
  std::unordered_map<XrlConnection*, std::size_t> _holders;  // those that hold anything
  Lifeline _lifeline;
};
