// What the tests of the finder register and how they read what comes back.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "framework/finder/finder_registry.h"

namespace finder_samples {

inline const std::string BIRTH = "finder_event_observer/0.1/xrl_target_birth";
inline const std::string DEATH = "finder_event_observer/0.1/xrl_target_death";

inline XrlKey key(std::uint8_t fill) {
  XrlKey made;
  made.fill(fill);
  return made;
}

// A target without methods.
inline FinderTarget target(std::string class_name, std::string instance_name) {
  return {std::move(class_name), std::move(instance_name), {"127.0.0.1:4711"}, {}};
}

// A target that can be told of births (key 0xbb...) and deaths (key 0xdd...).
inline FinderTarget observer(std::string class_name, std::string instance_name) {
  FinderTarget made = target(std::move(class_name), std::move(instance_name));
  made.methods = {{BIRTH, key(0xbb)}, {DEATH, key(0xdd)}};
  return made;
}

inline FinderTarget own_target() {
  return {"finder", "finder", {"127.0.0.1:19999"}, {{"finder/0.2/get_xrl_targets", key(0xff)}}};
}

// "birth of policy policy-1 to 3".
inline std::string str(const FinderNotice& notice) {
  static const char* const KINDS[] = {"target_died", "death", "birth"};
  return std::string(KINDS[static_cast<unsigned>(notice.kind)]) + " of " + notice.class_name + " " +
         notice.instance_name + " to " + std::to_string(static_cast<std::uint64_t>(notice.to));
}

inline std::vector<std::string> str(const std::vector<FinderNotice>& notices) {
  std::vector<std::string> lines;
  lines.reserve(notices.size());
  for (const FinderNotice& notice : notices) lines.push_back(str(notice));
  return lines;
}

}  // namespace finder_samples
