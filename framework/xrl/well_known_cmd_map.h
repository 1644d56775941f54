// A command map whose methods have well-known keys.
#pragma once

#include "framework/xrl/xrl_cmd_map.h"

class WellKnownCmdMap final : public XrlCmdMap {
 public:
  using XrlCmdMap::XrlCmdMap;

 private:
  XrlKey make_key(std::string_view method) override { return well_known_xrl_key(method); }
};
