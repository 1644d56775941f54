// A router that is there before a target's handlers register with it, and goes
// after they have gone: the first base of a target that owns its router.
#pragma once

#include <memory>
#include <utility>

#include "framework/xrl/router/xrl_std_router.h"

class RouterHolder {
 public:
  explicit RouterHolder(std::unique_ptr<XrlStdRouter> router) : _router(std::move(router)) {}
  [[nodiscard]] XrlStdRouter* router() const { return _router.get(); }

 private:
  std::unique_ptr<XrlStdRouter> _router;
};
