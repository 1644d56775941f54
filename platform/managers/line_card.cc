#include "platform/managers/line_card.h"

#include <array>

#include "common/switch_vocabulary.h"

namespace {

struct FaultName {
  std::string_view name;
  LineCardFault fault;
};

constexpr std::array FAULT_NAMES{
    FaultName{"none", LineCardFault::NONE},
    FaultName{"refuse", LineCardFault::REFUSE},
    FaultName{"silent", LineCardFault::SILENT},
    FaultName{"close", LineCardFault::CLOSE},
};

}  // namespace

bool line_card_fault_from_name(std::string_view name, LineCardFault& out) {
  for (const FaultName& known : FAULT_NAMES) {
    if (known.name == name) {
      out = known.fault;
      return true;
    }
  }
  return false;
}

Refusal LineCard::set_cos_mapping(const Usp& port, std::uint32_t priority, std::uint32_t queue) {
  if (priority > MAX_PRIORITY) return "priority is bad.";
  if (queue > MAX_QUEUE) return "queue is bad.";
  if (port.slot != _slot) return "the port is of another slot.";
  if (!_ports.contains(port) && _ports.size() == MAX_PORTS) return "the line card is full.";
  _ports[port][priority] = queue;
  return DONE;
}

const LineCard::CosMapping& LineCard::cos_mapping(const Usp& port) const {
  static const CosMapping NONE;
  const auto at = _ports.find(port);
  return at == _ports.end() ? NONE : at->second;
}
