// The keys of methods.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

// Names a method in a request and proves that the finder told it to the
// sender: 16 unpredictable bytes, drawn once per method by the target.
using XrlKey = std::array<std::uint8_t, 16>;

// The key of a method that needs no secret, because who may call it is settled
// by the connection it comes on: the finder's own methods and what the finder
// tells its sessions. It is made from the name alone (FNV-1a in 64 bits, from
// two different starts), so both sides can compute it.
[[nodiscard]] XrlKey well_known_xrl_key(std::string_view method);
