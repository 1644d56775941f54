// From what an operation on the switch answers to what a request is answered.
#pragma once

#include <string>

#include "chassis/refusal.h"
#include "framework/xrl/xrl_error.h"

[[nodiscard]] inline XrlCmdError answer(Refusal refusal) {
  return refusal.empty() ? XrlCmdError::OKAY() : XrlCmdError::COMMAND_FAILED(std::string(refusal));
}
