#include "framework/xrl/router/xrl_buffer_budget.h"

#include <algorithm>

#include "framework/xrl/router/xrl_connection.h"

void XrlBufferBudget::account(XrlConnection& holder, std::size_t bytes) {
  std::size_t& held = _holders[&holder];
  _held += bytes - held;
  held = bytes;
  if (bytes == 0) _holders.erase(&holder);
}

void XrlBufferBudget::enforce() {
  // What hears of a closed connection may destroy everything, this included.
  const auto life = _lifeline.token();
  while (life->alive && is_exceeded()) {
    const auto largest =
        std::max_element(_holders.begin(), _holders.end(),
                         [](const auto& a, const auto& b) { return a.second < b.second; });
    XrlConnection& holder = *largest->first;
    const std::size_t before = largest->second;
    holder.hand_over();
    if (holder.buffered_bytes() >= before) holder.close("too much is buffered for it");
  }
}
