// From what an operation on the switch answers to what a request is answered.
#pragma once

#include <string>

#include "framework/xrl/xrl_error.h"
#include "platform/managers/refusal.h"

[[nodiscard]] inline XrlCmdError answer(Refusal refusal) {
  return refusal.empty() ? XrlCmdError::OKAY() : XrlCmdError::COMMAND_FAILED(std::string(refusal));
}
