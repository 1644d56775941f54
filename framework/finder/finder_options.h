// The finder's command line.
#pragma once

#include "framework/base/network.h"
#include "framework/finder/allow_list.h"
#include "framework/xrl/finder_constants.h"

struct FinderOptions {
  enum class Outcome { SERVE, HELP, WRONG };

  NetAddress address = NetAddress::tcp(FinderConstants::FINDER_DEFAULT_HOST(),
                                       FinderConstants::FINDER_DEFAULT_PORT());
  AllowList allowed;

  // Fills `options` from the command line; says on standard error what is
  // WRONG, in one line.
  [[nodiscard]] static Outcome parse(int argc, char* argv[], FinderOptions& options);
  [[nodiscard]] static const char* usage();
};
