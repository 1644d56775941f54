// How much commands may store. Who may send a change can fill the store, and
// what it holds must be readable again, so there is a bound on all of it and one
// on what a single getter lists. What would pass one of them is refused as it is
// when memory runs out.
#pragma once

#include <cstddef>

namespace store_bounds {

// What ACLs, rules, descriptions, time ranges and bindings take together, counted
// with the constants below: a million rules of six short fields three times over.
inline constexpr std::size_t MAX_STORED_BYTES = std::size_t{512} << 20U;

// ACLs, time ranges, rules of one ACL, filters or actions of one port or VLAN.
inline constexpr std::size_t MAX_LISTED = std::size_t{1} << 20U;
// Of the ACLs with their descriptions, and of the time ranges with their names, as
// they are listed: a number takes 4 bytes and a text 4 more than its own. 100,000
// ACLs with descriptions of 165 bytes are 17.7 MB.
inline constexpr std::size_t MAX_LISTED_BYTES = (std::size_t{24} << 20U) - 4096;

// What the allocator takes beside a block, rounding included, and an entry's share
// of an ordered map that has just grown.
inline constexpr std::size_t BLOCK_BYTES = 24;
inline constexpr std::size_t ENTRY_BYTES = 24;
// A binding with its counts at the rule and at the ACL.
inline constexpr std::size_t BINDING_BYTES = 64;

}  // namespace store_bounds

// The bytes that commands have stored, against their bound.
class StoreAccount {
 public:
  explicit StoreAccount(std::size_t max_bytes) : _max_bytes(max_bytes) {}

  [[nodiscard]] bool has_room_for(std::size_t bytes) const { return bytes <= _max_bytes - _bytes; }
  // Only what there is room for.
  void add(std::size_t bytes) { _bytes += bytes; }
  // Only what was added.
  void remove(std::size_t bytes) { _bytes -= bytes; }
  [[nodiscard]] std::size_t bytes() const { return _bytes; }

 private:
  std::size_t _max_bytes;
  std::size_t _bytes = 0;
};

// What one getter lists, against its bounds.
class Listing {
 public:
  [[nodiscard]] bool has_room_for(std::size_t entries, std::size_t bytes) const {
    return entries <= store_bounds::MAX_LISTED - _entries &&
           bytes <= store_bounds::MAX_LISTED_BYTES - _bytes;
  }
  // As of StoreAccount.
  void add(std::size_t entries, std::size_t bytes) {
    _entries += entries;
    _bytes += bytes;
  }
  void remove(std::size_t entries, std::size_t bytes) {
    _entries -= entries;
    _bytes -= bytes;
  }
  [[nodiscard]] std::size_t entries() const { return _entries; }
  [[nodiscard]] std::size_t bytes() const { return _bytes; }

 private:
  std::size_t _entries = 0;
  std::size_t _bytes = 0;
};
