// PackedMap: an ordered map of small values, plain ones or owning pointers, that
// costs few bytes an entry and whose operations cost the logarithm of its size.
//
// The entries lie sorted in runs of at most RUN_CAPACITY (PackedRun), and the
// runs in order in an array, each beside its first key: finding an entry is two
// binary searches, of which only the second looks into a run, and changing one
// moves part of one run. On a large map that is a few looks at cold memory,
// where a tree of single entries takes one at every level. A run grows by half,
// so small maps stay small and a growing map never takes more than half as much
// again as its entries; entries that come in ascending or descending order fill
// their runs.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

#include "policy/store/packed_run.h"

template <typename Key, typename Value, typename Less = std::less<Key>>
class PackedMap {
 public:
  struct Entry {
    const Key& key;
    const Value& value;
  };
  static constexpr std::uint32_t RUN_CAPACITY = 64;

  class const_iterator;

  PackedMap() = default;
  PackedMap(const PackedMap&) = delete;
  PackedMap& operator=(const PackedMap&) = delete;

  [[nodiscard]] bool empty() const { return _size == 0; }
  [[nodiscard]] std::size_t size() const { return _size; }
  // The entry with the smallest key; the map must not be empty.
  [[nodiscard]] Entry front() const { return *begin(); }

  // Null when there is none. The value may be changed in place; the pointer
  // holds until the next insert or erase.
  [[nodiscard]] Value* find(const Key& key) {
    Run& run = run_at(run_for(key));
    const std::uint32_t place = run.lower_bound(key, Less());
    return is_at(run, place, key) ? run.values() + place : nullptr;
  }
  [[nodiscard]] const Value* find(const Key& key) const {
    return const_cast<PackedMap*>(this)->find(key);
  }

  // `key` must not be in the map. When memory runs out it throws
  // std::bad_alloc and the map is as it was.
  void insert(const Key& key, Value value) {
    const std::size_t index = run_for(key);
    Run& run = run_at(index);
    const std::uint32_t place = run.lower_bound(key, Less());
    if (run.size() < RUN_CAPACITY) {
      insert_with_room(run, place, key, std::move(value));
    } else if (place == RUN_CAPACITY) {
      insert_after_full_run(index, key, std::move(value));
    } else if (place == 0) {
      insert_run(0, Run(1)).insert(0, key, std::move(value));
    } else {
      split_and_insert(index, place, key, std::move(value));
    }
    ++_size;
  }

  // Destroys the value. False when `key` is not in the map.
  bool erase(const Key& key) noexcept {
    const std::size_t index = run_for(key);
    Run& run = run_at(index);
    const std::uint32_t place = run.lower_bound(key, Less());
    if (!is_at(run, place, key)) return false;
    run.erase(place);
    --_size;
    if (run.size() == 0) {
      erase_run(index);
    } else if (run.size() <= RUN_CAPACITY / 4) {
      const bool merged = index > 0 && merge_with_next(index - 1);
      if (!merged && index < _others.size()) merge_with_next(index);
    }
    return true;
  }

  // Destroys all values and gives their memory back.
  void clear() noexcept {
    _first = Run();
    _others = std::vector<Run>();
    _size = 0;
  }

  // In ascending order of key; valid until the next change.
  [[nodiscard]] const_iterator begin() const { return const_iterator(this, 0); }
  [[nodiscard]] const_iterator end() const {
    return const_iterator(this, empty() ? 0 : _others.size() + 1);
  }

 private:
  using Run = PackedRun<Key, Value>;

  // The room that a full run of `size` entries grows to.
  [[nodiscard]] static constexpr std::uint32_t larger_capacity(std::uint32_t size) {
    return std::min(RUN_CAPACITY, std::max(size + 1, size + size / 2));
  }

  [[nodiscard]] Run& run_at(std::size_t index) { return index == 0 ? _first : _others[index - 1]; }
  [[nodiscard]] const Run& run_at(std::size_t index) const {
    return index == 0 ? _first : _others[index - 1];
  }

  // The last run that begins at or before `key`; the first one when none does.
  [[nodiscard]] std::size_t run_for(const Key& key) const {
    const auto after = std::upper_bound(
        _others.begin(), _others.end(), key,
        [](const Key& wanted, const Run& run) { return Less()(wanted, run.first_key()); });
    return static_cast<std::size_t>(after - _others.begin());
  }

  // Whether `place`, where `key` belongs in `run`, is where it is.
  [[nodiscard]] static bool is_at(const Run& run, std::uint32_t place, const Key& key) {
    return place < run.size() && !Less()(key, run.keys()[place]);
  }

  // Makes `run` the one at `index`.
  Run& insert_run(std::size_t index, Run run) {
    if (index > 0) {
      const auto before = _others.begin() + static_cast<std::ptrdiff_t>(index - 1);
      return *_others.insert(before, std::move(run));
    }
    _others.insert(_others.begin(), Run());
    _others.front() = std::exchange(_first, std::move(run));
    return _first;
  }

  void erase_run(std::size_t index) noexcept {
    if (_others.empty()) {
      _first = Run();
    } else if (index > 0) {
      _others.erase(_others.begin() + static_cast<std::ptrdiff_t>(index - 1));
    } else {
      _first = std::move(_others.front());
      _others.erase(_others.begin());
    }
  }

  static void insert_with_room(Run& run, std::uint32_t place, const Key& key, Value value) {
    if (run.size() == run.capacity()) {
      Run larger(larger_capacity(run.size()));
      run.move_tail(0, larger);
      run = std::move(larger);
    }
    run.insert(place, key, std::move(value));
  }

  void insert_after_full_run(std::size_t index, const Key& key, Value value) {
    if (index < _others.size() && _others[index].size() < RUN_CAPACITY) {
      insert_with_room(_others[index], 0, key, std::move(value));
    } else {
      insert_run(index + 1, Run(1)).insert(0, key, std::move(value));
    }
  }

  // Neither half keeps more room than a run that grew to its size would have.
  void split_and_insert(std::size_t index, std::uint32_t place, const Key& key, Value value) {
    constexpr std::uint32_t MIDDLE = RUN_CAPACITY / 2;
    Run lower(larger_capacity(MIDDLE));
    Run& upper = insert_run(index + 1, Run(larger_capacity(MIDDLE)));
    Run& full = run_at(index);
    full.move_tail(MIDDLE, upper);
    full.move_tail(0, lower);
    full = std::move(lower);
    if (place <= MIDDLE) {
      full.insert(place, key, std::move(value));
    } else {
      upper.insert(place - MIDDLE, key, std::move(value));
    }
  }

  // Joins the runs `index` and `index` + 1 when the first has room for both
  // and some to spare.
  bool merge_with_next(std::size_t index) noexcept {
    Run& lower = run_at(index);
    Run& upper = run_at(index + 1);
    if (lower.size() + upper.size() > lower.capacity() - lower.capacity() / 4) return false;
    upper.move_tail(0, lower);
    erase_run(index + 1);
    return true;
  }

  Run _first;                // the only one that may be empty, in an empty map
  std::vector<Run> _others;  // in order, none empty
  std::size_t _size = 0;
};

template <typename Key, typename Value, typename Less>
class PackedMap<Key, Value, Less>::const_iterator {
 public:
  using value_type = Entry;
  using difference_type = std::ptrdiff_t;
  const_iterator(const PackedMap* map, std::size_t run) : _map(map), _run(run) {}
  Entry operator*() const {
    const Run& run = _map->run_at(_run);
    return {run.keys()[_place], run.values()[_place]};
  }
  const_iterator& operator++() {
    if (++_place == _map->run_at(_run).size()) {
      ++_run;
      _place = 0;
    }
    return *this;
  }
  bool operator==(const const_iterator&) const = default;

 private:
  const PackedMap* _map;
  std::size_t _run;
  std::uint32_t _place = 0;
};
