#include "linuxcard/classifier/cell_store.h"

#include <algorithm>
#include <bit>
#include <utility>

namespace {

constexpr std::uint64_t mix(std::uint64_t hash, std::uint64_t value) {
  hash = (hash ^ value) * 0x9e3779b97f4a7c15U;
  return hash ^ hash >> 32U;
}

}  // namespace

template <typename Predicate>
std::uint32_t CellStore::Index::find(std::uint64_t hash, Predicate is_it) const {
  const std::size_t mask = _slots.size() - 1;
  for (std::size_t at = hash & mask; _slots[at].reference != EMPTY; at = (at + 1) & mask) {
    if (_slots[at].hash == hash && is_it(_slots[at].reference)) return _slots[at].reference;
  }
  return EMPTY;
}

void CellStore::Index::insert(std::uint64_t hash, std::uint32_t reference) {
  if (2 * ++_used > _slots.size()) {
    std::vector<Slot> old = std::exchange(_slots, std::vector<Slot>(2 * _slots.size()));
    _used = 1;
    for (const Slot& slot : old) {
      if (slot.reference != EMPTY) insert(slot.hash, slot.reference);
    }
  }
  const std::size_t mask = _slots.size() - 1;
  std::size_t at = hash & mask;
  while (_slots[at].reference != EMPTY) at = (at + 1) & mask;
  _slots[at] = {hash, reference};
}

CellStore::CellStore(std::size_t limit, std::size_t likely) : _limit(limit), _cells(FIRST_CELL) {
  _cells.reserve(std::min(limit, likely));
}

std::uint32_t CellStore::allocate(std::size_t count) {
  const std::size_t at = _cells.size() + _cells.size() % 2;
  if (at + count > _limit) throw TablesTooLarge();
  _cells.resize(at + count);
  return static_cast<std::uint32_t>(at);
}

std::uint32_t CellStore::page(const std::uint64_t* words) {
  std::uint64_t some = 0;
  std::uint64_t hash = 0;
  for (std::size_t i = 0; i < PAGE_WORDS; ++i) {
    if (words[i] == 0) continue;
    some |= std::uint64_t{1} << i;
    hash = mix(hash, words[i]);
  }
  if (some == 0) return EMPTY;
  hash = mix(hash, some);
  const std::uint32_t known = _pages.find(hash, [&](std::uint32_t reference) {
    if (wide(reference) != some) return false;
    for (std::uint64_t rest = some; rest != 0; rest &= rest - 1) {
      reference += 2;
      if (wide(reference) != words[std::countr_zero(rest)]) return false;
    }
    return true;
  });
  if (known != EMPTY) return known;
  const std::uint32_t made = allocate(2 + 2 * static_cast<std::size_t>(std::popcount(some)));
  set_wide(made, some);
  std::size_t at = made;
  for (std::uint64_t rest = some; rest != 0; rest &= rest - 1) {
    set_wide(at += 2, words[std::countr_zero(rest)]);
  }
  _pages.insert(hash, made);
  return made;
}

std::uint32_t CellStore::vector(std::span<const std::uint32_t> pages) {
  std::uint64_t some = 0;
  std::uint64_t hash = 1;
  for (std::size_t i = 0; i < pages.size(); ++i) {
    if (pages[i] != EMPTY) some |= std::uint64_t{1} << i;
    hash = mix(hash, pages[i]);
  }
  if (some == 0) return EMPTY;
  const std::uint32_t known = _vectors.find(hash, [&](std::uint32_t reference) {
    return std::equal(pages.begin(), pages.end(), _cells.begin() + reference + 2);
  });
  if (known != EMPTY) return known;
  const std::uint32_t made = allocate(2 + pages.size());
  set_wide(made, some);
  std::copy(pages.begin(), pages.end(), _cells.begin() + made + 2);
  _vectors.insert(hash, made);
  return made;
}

ChangingVector::ChangingVector(CellStore& store, std::vector<std::uint64_t> words)
    : _store(store),
      _words(std::move(words)),
      _pages(_words.size() / PAGE_WORDS),
      _changed(~std::uint64_t{0}) {}

void ChangingVector::set(std::uint32_t position) {
  _words[position / WORD_BITS] |= std::uint64_t{1} << position % WORD_BITS;
  _changed |= std::uint64_t{1} << position / PAGE_BITS;
}

void ChangingVector::clear(std::uint32_t position) {
  _words[position / WORD_BITS] &= ~(std::uint64_t{1} << position % WORD_BITS);
  _changed |= std::uint64_t{1} << position / PAGE_BITS;
}

std::uint32_t ChangingVector::reference() {
  if (_changed == 0 && _is_known) return _reference;
  for (std::size_t i = 0; i < _pages.size(); ++i) {
    if ((_changed >> i & 1U) != 0) _pages[i] = _store.page(&_words[i * PAGE_WORDS]);
  }
  _changed = 0;
  _is_known = true;
  _reference = _store.vector(_pages);
  return _reference;
}
