// From what an operation on the switch answers to what a request is answered.
#pragma once

#include <string>

#include "framework/xrl/xrl_error.h"
#include "platform/managers/refusal.h"

// OKAY for what was done, otherwise COMMAND_FAILED with the refusal.
[[nodiscard]] inline XrlCmdError answer(Refusal refusal) {
  return refusal.empty() ? XrlCmdError::OKAY() : XrlCmdError::COMMAND_FAILED(std::string(refusal));
}
