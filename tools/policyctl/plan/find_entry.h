// An entry of a map, or null when there is none.
#pragma once

template <typename Map, typename Key>
[[nodiscard]] const typename Map::mapped_type* find_entry(const Map& map, const Key& key) {
  const auto at = map.find(key);
  return at == map.end() ? nullptr : &at->second;
}
