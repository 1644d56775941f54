// The cells of a list's tables while they are built, and the bit vectors among them.
//
// Pages and vectors that are equal are stored once, which is what keeps the tables of
// large lists small: most addresses differ from their neighbours in a few rules.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <vector>

#include "linuxcard/classifier/table_layout.h"

// The tables would need more cells than allowed.
class TablesTooLarge : public std::runtime_error {
 public:
  TablesTooLarge() : std::runtime_error("tables too large") {}
};

class CellStore {
 public:
  // Holds at most `limit` cells, and expects about `likely`.
  CellStore(std::size_t limit, std::size_t likely);

  // The reference of `count` new cells of value 0, at an even place. Throws
  // TablesTooLarge.
  [[nodiscard]] std::uint32_t allocate(std::size_t count);
  [[nodiscard]] std::uint32_t& operator[](std::size_t cell) { return _cells[cell]; }
  [[nodiscard]] std::uint64_t wide(std::size_t cell) const {
    return _cells[cell] | static_cast<std::uint64_t>(_cells[cell + 1]) << 32U;
  }
  void set_wide(std::size_t cell, std::uint64_t value) {
    _cells[cell] = static_cast<std::uint32_t>(value);
    _cells[cell + 1] = static_cast<std::uint32_t>(value >> 32U);
  }

  // The reference of a page with these PAGE_WORDS words.
  [[nodiscard]] std::uint32_t page(const std::uint64_t* words);
  // The reference of a vector of these pages.
  [[nodiscard]] std::uint32_t vector(std::span<const std::uint32_t> pages);

  [[nodiscard]] std::vector<std::uint32_t> release() && { return std::move(_cells); }

 private:
  // References by the hash of what they refer to; open addressing.
  class Index {
   public:
    // Calls `is_it(reference)` for what may be it; answers EMPTY when none is.
    template <typename Predicate>
    [[nodiscard]] std::uint32_t find(std::uint64_t hash, Predicate is_it) const;
    void insert(std::uint64_t hash, std::uint32_t reference);

   private:
    struct Slot {
      std::uint64_t hash = 0;
      std::uint32_t reference = EMPTY;
    };
    std::vector<Slot> _slots = std::vector<Slot>(1024);
    std::size_t _used = 0;
  };

  const std::size_t _limit;
  std::vector<std::uint32_t> _cells;
  Index _pages;
  Index _vectors;
};

// A vector that changes: rules come in and go out, and what stands now is stored.
class ChangingVector {
 public:
  // Begins with these words, PAGE_WORDS for each page.
  ChangingVector(CellStore& store, std::vector<std::uint64_t> words);

  void set(std::uint32_t position);
  void clear(std::uint32_t position);
  [[nodiscard]] std::uint32_t reference();

 private:
  CellStore& _store;
  std::vector<std::uint64_t> _words;
  std::vector<std::uint32_t> _pages;  // references, of those that did not change since
  std::uint64_t _changed = 0;         // a bit for each page
  std::uint32_t _reference = EMPTY;
  bool _is_known = false;
};
