// Teller: keeps telling one peer the state of numbered things (cards, VLANs)
// until the peer has acknowledged the latest.
//
// Each change is sent at once. What fails is due again, and what is sent then
// is the state at that time: a peer that was out of reach ends up with what is
// true, not with all that has been. A peer that the finder does not know, time and
// again, has died unheard (the finder was away, too): it is given up.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <set>

#include "framework/base/callback.h"
#include "framework/base/retry_timer.h"

class XrlError;

class Teller {
 public:
  using Done = XorpCallback1<void, const XrlError&>::RefPtr;
  // Sends the state that `key` has now; as a client stub, answers whether it
  // was queued, `done` then running once, later.
  using Send = std::function<bool(std::uint32_t key, const Done& done)>;

  // Leaves room in the peer's queue for others, and bounds what fails at once.
  static constexpr std::size_t MAX_IN_FLIGHT = 256;
  // Attempts in a row at which the finder does not know the peer before it is
  // given up: longer, together, than any router is without its registration
  // while the finder is there.
  static constexpr unsigned MAX_UNKNOWN = 7;

  // The loop and what `send` refers to must outlive the teller; destroying it
  // ends the telling.
  // `gave_up` (may be null) runs when the peer was given up and must not destroy
  // the teller; nothing is due then until something is told again.
  Teller(EventLoop& loop, Send send, std::function<void()> gave_up = nullptr);
  Teller(const Teller&) = delete;
  Teller& operator=(const Teller&) = delete;
  ~Teller() = default;

  // The state of `key` is to be told. Of several calls while the peer is out of
  // reach or MAX_IN_FLIGHT await their answers, the last one's state is told.
  void tell(std::uint32_t key);
  // The peer is known to be back: does not wait any longer.
  void try_now();

  // Nothing is due and nothing awaits its answer.
  [[nodiscard]] bool is_done() const { return _due.empty() && _in_flight == 0; }
  [[nodiscard]] bool has_given_up() const { return _unknown >= MAX_UNKNOWN; }

 private:
  void send_due();
  void answered(const XrlError& error, std::uint32_t key);
  void failed(const XrlError& error);

  Send _send;
  std::set<std::uint32_t> _due;
  std::function<void()> _gave_up;
  std::size_t _in_flight = 0;
  unsigned _unknown = 0;  // attempts in a row
  RetryTimer _retry;
  Lifeline _lifeline;
};
