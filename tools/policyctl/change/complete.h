// What a switch is to have in the end: what a text says, together with what the
// switch has that the text does not name.
#pragma once

#include "tools/policyctl/language/configuration.h"

enum class Unnamed {
  KEPT,     // what the text does not name stays as it is
  REMOVED,  // goes; settings return to what policyd starts with
};

// `wanted` with all that it leaves out. Elements of an order stay where they are when
// the order that `wanted` asks for already holds; otherwise they come behind those
// that it does not name.
[[nodiscard]] SwitchConfiguration complete(WantedConfiguration wanted,
                                           const SwitchConfiguration& present, Unnamed unnamed);

// The class of service with which policyd starts, and nothing else.
[[nodiscard]] SwitchConfiguration bare_switch();
