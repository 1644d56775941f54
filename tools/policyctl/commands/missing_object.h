// The refusal of something that is named and is not there.
#pragma once

#include <cstdint>
#include <string>

#include "framework/xrl/nearest_name.h"
#include "tools/policyctl/failure.h"

// Where things are looked for.
struct ObjectPlace {
  const char* name;
  const char* shows;  // the command that shows what is there
};
inline constexpr ObjectPlace ON_THE_SWITCH{"on the switch", "policyctl show"};
inline constexpr ObjectPlace IN_THE_CANDIDATE{"here", "show"};

struct ObjectSought {
  std::string name;   // "acl 10 rule 1"
  std::string among;  // what `show` takes for all of its kind: "acl 10"
};

inline std::string as_text(const std::string& key) {
  return key;
}
inline std::string as_text(std::uint32_t key) {
  return std::to_string(key);
}

// REFUSED. `nearest` is what may have been meant instead, if anything.
[[nodiscard]] inline Failure missing_object(const ObjectSought& sought, const ObjectPlace& place,
                                            const std::string& nearest) {
  return Failure(ExitStatus::REFUSED, "there is no " + sought.name + " " + place.name + ".",
                 (nearest.empty() ? "" : "Is '" + nearest + "' meant? ") + "See '" + place.shows +
                     " " + sought.among + "'.");
}

// Throws missing_object() when the map has no such key.
template <typename Map>
void require_entry(const Map& map, const typename Map::key_type& key, const ObjectSought& sought,
                   const ObjectPlace& place) {
  if (map.contains(key)) return;
  const std::string wanted = as_text(key);
  NearestName nearest(wanted);
  for (const auto& [other, value] : map) nearest.consider(as_text(other));
  throw missing_object(sought, place, nearest.name());
}
