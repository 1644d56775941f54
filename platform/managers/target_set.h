// TargetSet: the switch's targets by name, each of which can be stopped and
// started again.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "platform/managers/refusal.h"
#include "platform/managers/switch_target.h"

class TargetSet {
 public:
  using Make = std::function<std::unique_ptr<SwitchTarget>()>;

  // Makes the target at once. The name must be new.
  void add(const std::string& name, Make make);

  // Stopping destroys the target, starting makes it anew. Refused: an unknown
  // name, a target that is stopped or runs already.
  [[nodiscard]] Refusal stop(std::string_view name);
  [[nodiscard]] Refusal start(std::string_view name);

  // Whether all that run have registered with the finder.
  [[nodiscard]] bool all_ready() const;

 private:
  struct Entry {
    Make make;
    std::unique_ptr<SwitchTarget> running;  // null while stopped
  };
  std::map<std::string, Entry, std::less<>> _entries;
};
