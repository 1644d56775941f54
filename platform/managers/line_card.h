// LineCard: what the line card of one slot was programmed with.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string_view>

#include "platform/managers/refusal.h"
#include "platform/usp.h"

// How a line card's manager misbehaves.
enum class LineCardFault : std::uint8_t {
  NONE,
  REFUSE,  // answers every mapping with an error
  SILENT,  // answers nothing
  CLOSE,   // closes the connection a request came on
};

// "none", "refuse", "silent", "close". False, `out` left alone, for any other text.
[[nodiscard]] bool line_card_fault_from_name(std::string_view name, LineCardFault& out);

class LineCard {
 public:
  // Egress queue by 802.1p priority.
  using CosMapping = std::map<std::uint32_t, std::uint32_t>;

  // Ports that one line card has room for.
  static constexpr std::size_t MAX_PORTS = 4096;

  explicit LineCard(std::uint32_t slot) : _slot(slot) {}

  // Refused: a priority or queue past 7, a port of another slot, a port past
  // MAX_PORTS. The two units of a stack share the card of a slot number; their
  // ports are told apart by the whole Usp.
  [[nodiscard]] Refusal set_cos_mapping(const Usp& port, std::uint32_t priority,
                                        std::uint32_t queue);
  // Empty for a port that was never programmed.
  [[nodiscard]] const CosMapping& cos_mapping(const Usp& port) const;

  [[nodiscard]] LineCardFault fault() const { return _fault; }
  void set_fault(LineCardFault fault) { _fault = fault; }

  // Mapping requests that reached the card, whatever became of them.
  [[nodiscard]] std::uint64_t requests() const { return _requests; }
  void count_request() { ++_requests; }

 private:
  std::uint32_t _slot;
  LineCardFault _fault = LineCardFault::NONE;
  std::uint64_t _requests = 0;
  std::map<Usp, CosMapping> _ports;
};
