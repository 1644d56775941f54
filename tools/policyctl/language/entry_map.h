// EntryMap: the entries of one kind in the order of their keys.
//
// They lie side by side in runs, so that a hundred thousand rules take little memory
// and are gone over quickly. Most come in ascending order, and who looks for one often
// looks for the next one then: both cost about as much as going on by one.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <iterator>
#include <type_traits>
#include <utility>
#include <vector>

#include "tools/policyctl/language/entry.h"

struct MapEntry {
  EntryKey first;  // as it was put in; nobody changes it
  EntryValue second;
  bool operator==(const MapEntry&) const = default;
};

// As std::map, but what adds or erases an entry makes all iterators and references
// invalid.
class EntryMap {
  static constexpr std::size_t MOST_OF_RUN = 512;
  using Run = std::vector<MapEntry>;

  // Of an entry, or behind the last one: the number of runs and 0.
  struct Place {
    std::size_t run = 0;
    std::size_t entry = 0;
    bool operator==(const Place&) const = default;
  };

  template <typename Map, typename Entry>
  class Iterator {
   public:
    using iterator_category = std::forward_iterator_tag;
    using value_type = MapEntry;
    using difference_type = std::ptrdiff_t;
    using pointer = Entry*;
    using reference = Entry&;

    Iterator() = default;
    Iterator(Map* map, Place place) : _map(map), _place(place) {}
    // NOLINTNEXTLINE(google-explicit-constructor): as of every container
    operator Iterator<const EntryMap, const MapEntry>() const { return {_map, _place}; }

    Entry& operator*() const { return _map->_runs[_place.run][_place.entry]; }
    Entry* operator->() const { return &**this; }
    Iterator& operator++() {
      if (++_place.entry == _map->_runs[_place.run].size()) _place = {_place.run + 1, 0};
      return *this;
    }
    Iterator operator++(int) {
      const Iterator before = *this;
      ++*this;
      return before;
    }
    bool operator==(const Iterator& other) const { return _place == other._place; }

   private:
    friend EntryMap;
    Map* _map = nullptr;
    Place _place;
  };

 public:
  using value_type = MapEntry;
  using iterator = Iterator<EntryMap, MapEntry>;
  using const_iterator = Iterator<const EntryMap, const MapEntry>;

  [[nodiscard]] iterator begin() { return {this, {}}; }
  [[nodiscard]] iterator end() { return {this, behind()}; }
  [[nodiscard]] const_iterator begin() const { return {this, {}}; }
  [[nodiscard]] const_iterator end() const { return {this, behind()}; }

  [[nodiscard]] std::size_t size() const;
  [[nodiscard]] bool empty() const { return _runs.empty(); }
  void clear() { *this = EntryMap(); }
  bool operator==(const EntryMap& other) const;

  // The first entry with that key or one behind it.
  [[nodiscard]] iterator lower_bound(const EntryKey& key) { return {this, place_for(key)}; }
  [[nodiscard]] const_iterator lower_bound(const EntryKey& key) const {
    return {this, place_for(key)};
  }
  [[nodiscard]] iterator find(const EntryKey& key) { return {this, place_of(key)}; }
  [[nodiscard]] const_iterator find(const EntryKey& key) const { return {this, place_of(key)}; }
  [[nodiscard]] bool contains(const EntryKey& key) const { return place_of(key) != behind(); }
  // There must be one.
  [[nodiscard]] EntryValue& at(const EntryKey& key) { return find(key)->second; }

  // Where the entry is, and whether it was added: one that is there stays as it is.
  std::pair<iterator, bool> try_emplace(const EntryKey& key, EntryValue value = {});
  iterator insert_or_assign(const EntryKey& key, EntryValue value);
  template <typename At>
  void insert(At at, At end) {
    for (; at != end; ++at) try_emplace(at->first, at->second);
  }

  std::size_t erase(const EntryKey& key);
  // The entry behind it.
  iterator erase(const_iterator at);
  template <typename Predicate>
  void erase_if(Predicate goes) {
    EntryMap kept;
    for (const MapEntry& each : *this) {
      if (!goes(each)) kept.try_emplace(each.first, each.second);
    }
    *this = std::move(kept);
  }

 private:
  [[nodiscard]] Place behind() const { return {_runs.size(), 0}; }
  [[nodiscard]] Place place_for(const EntryKey& key) const;
  [[nodiscard]] Place place_of(const EntryKey& key) const {
    const Place place = place_for(key);
    return place.run < _runs.size() && entry(place).first == key ? place : behind();
  }
  [[nodiscard]] const MapEntry& entry(Place place) const { return _runs[place.run][place.entry]; }
  [[nodiscard]] bool is_first_not_before(Place place, const EntryKey& key) const;
  [[nodiscard]] Place next(Place place) const;
  Place append(MapEntry added);
  Place insert_at(Place place, MapEntry added);

  std::vector<Run> _runs;  // none is empty
  mutable Place _last;     // that was looked for; it may be gone
};
