// Tools of others that put many rules in place in one step, on something of their
// own that nobody else uses.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "bench/timed_run.h"
#include "tests/support/child_process.h"

class OtherTool {
 public:
  virtual ~OtherTool() = default;
  // Where it has nothing, puts the rules of the file there.
  [[nodiscard]] virtual TimedRun load(const std::string& file) const = 0;
  virtual void clear() const = 0;
};

// `ovs-ofctl --bundle add-flows` to an Open vSwitch with a bridge without ports,
// whose processes run as children and keep their files in the folder. Null, and
// `why`, when that cannot be.
[[nodiscard]] std::unique_ptr<OtherTool> open_vswitch(const std::string& folder, std::string& why);

// `nft -f` in a network namespace of its own, entered by nsenter. Null, and `why`,
// when that cannot be.
[[nodiscard]] std::unique_ptr<OtherTool> nftables(std::string& why);
