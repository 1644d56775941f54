// What the ordered maps of the stores have in common: records by key, each
// owned through a pointer, so that it stays where it is while others come and
// go. Records with numbers are many and lie in packed maps, those with names
// in trees.
#pragma once

#include <memory>

#include "policy/store/memory_reserve.h"
#include "policy/store/packed_map.h"

template <typename Key, typename Record>
using PackedRecords = PackedMap<Key, std::unique_ptr<Record>>;

// Null when there is none.
template <typename Records, typename Key>
[[nodiscard]] auto find_record(const Records& records, const Key& key) {
  const auto at = records.find(key);
  return at == records.end() ? nullptr : at->second.get();
}
template <typename Key, typename Record>
[[nodiscard]] Record* find_record(const PackedRecords<Key, Record>& records, const Key& key) {
  const auto* record = records.find(key);
  return record == nullptr ? nullptr : record->get();
}

// Inserts the record that `make` answers as a std::unique_ptr. 0, or -1 when
// there is one of that key already or memory runs out; then `make` has not run
// or its record is gone, and nothing has changed.
template <typename Records, typename Key, typename Make>
[[nodiscard]] int insert_record(Records& records, const Key& key, Make make) {
  const auto place = records.lower_bound(key);
  if (place != records.end() && place->first == key) return -1;
  return unless_out_of_memory([&] {
    records.emplace_hint(place, key, make());
    return 0;
  });
}
template <typename Key, typename Record, typename Make>
[[nodiscard]] int insert_record(PackedRecords<Key, Record>& records, const Key& key, Make make) {
  if (records.find(key) != nullptr) return -1;
  return unless_out_of_memory([&] {
    records.insert(key, make());
    return 0;
  });
}

// Destroys the record. 0, or -1 when there is none of that key.
template <typename Records, typename Key>
int erase_record(Records& records, const Key& key) {
  const auto at = records.find(key);
  if (at == records.end()) return -1;
  records.erase(at);
  return 0;
}
template <typename Key, typename Record>
int erase_record(PackedRecords<Key, Record>& records, const Key& key) {
  return records.erase(key) ? 0 : -1;
}

// Appends every key in ascending order.
template <typename Records, typename Keys>
void append_keys(const Records& records, Keys& keys) {
  keys.reserve(keys.size() + records.size());
  for (const auto& entry : records) keys.push_back(entry.first);
}
template <typename Key, typename Record, typename Keys>
void append_keys(const PackedRecords<Key, Record>& records, Keys& keys) {
  keys.reserve(keys.size() + records.size());
  for (const auto& entry : records) keys.push_back(entry.key);
}
