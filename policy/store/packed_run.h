// PackedRun: a part of a PackedMap, keys in ascending order and beside them
// their values.
//
// All keys lie together and so do all values, in one block of memory. In a cold
// run every line that is looked at is a wait for memory; so a search asks for
// all lines at once, and what it finds, or erases, is there when it is wanted.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <type_traits>
#include <utility>

template <typename Key, typename Value>
class PackedRun {
  static_assert(std::is_trivially_copyable_v<Key> && std::is_trivially_destructible_v<Key>);
  static_assert(std::is_nothrow_default_constructible_v<Value> &&
                std::is_nothrow_move_assignable_v<Value>);
  static_assert(alignof(Key) <= __STDCPP_DEFAULT_NEW_ALIGNMENT__ &&
                alignof(Value) <= __STDCPP_DEFAULT_NEW_ALIGNMENT__);

 public:
  // No room.
  PackedRun() = default;
  explicit PackedRun(std::uint32_t capacity)
      : _block(std::make_unique_for_overwrite<std::byte[]>(values_at(capacity) +
                                                           capacity * sizeof(Value))),
        _capacity(capacity) {
    std::uninitialized_value_construct_n(values(), capacity);
  }
  PackedRun(PackedRun&& other) noexcept { swap(other); }
  PackedRun& operator=(PackedRun&& other) noexcept {
    PackedRun(std::move(other)).swap(*this);
    return *this;
  }
  ~PackedRun() { std::destroy_n(values(), _capacity); }

  [[nodiscard]] std::uint32_t size() const { return _size; }
  [[nodiscard]] std::uint32_t capacity() const { return _capacity; }
  // keys()[0], when there is one: at hand without a look into the block.
  [[nodiscard]] const Key& first_key() const { return _first_key; }
  [[nodiscard]] const Key* keys() const { return reinterpret_cast<const Key*>(_block.get()); }
  [[nodiscard]] const Value* values() const {
    return reinterpret_cast<const Value*>(_block.get() + values_at(_capacity));
  }
  [[nodiscard]] Value* values() {
    return reinterpret_cast<Value*>(_block.get() + values_at(_capacity));
  }

  // The place of the first key that is not before `key`.
  template <typename Less>
  [[nodiscard]] std::uint32_t lower_bound(const Key& key, Less less) const {
    fetch();
    const Key* begin = keys();
    return static_cast<std::uint32_t>(std::lower_bound(begin, begin + _size, key, less) - begin);
  }

  // There must be room.
  void insert(std::uint32_t place, const Key& key, Value value) noexcept {
    std::move_backward(keys() + place, keys() + _size, mutable_keys() + _size + 1);
    std::move_backward(values() + place, values() + _size, values() + _size + 1);
    mutable_keys()[place] = key;
    values()[place] = std::move(value);
    ++_size;
    note_first();
  }
  void erase(std::uint32_t place) noexcept {
    std::move(keys() + place + 1, keys() + _size, mutable_keys() + place);
    std::move(values() + place + 1, values() + _size, values() + place);
    --_size;
    values()[_size] = Value();
    note_first();
  }
  // Moves what is from `place` on to the end of `to`, which has room.
  void move_tail(std::uint32_t place, PackedRun& to) noexcept {
    std::copy(keys() + place, keys() + _size, to.mutable_keys() + to._size);
    std::move(values() + place, values() + _size, to.values() + to._size);
    to._size += _size - place;
    _size = place;
    to.note_first();
  }

 private:
  static constexpr std::size_t CACHE_LINE = 64;

  // Where in a block with room for that many the values begin.
  [[nodiscard]] static constexpr std::size_t values_at(std::uint32_t capacity) {
    // NOLINTNEXTLINE(bugprone-sizeof-expression): a key may well be a pointer
    const std::size_t keys = capacity * sizeof(Key);
    return (keys + alignof(Value) - 1) / alignof(Value) * alignof(Value);
  }
  void fetch() const {
    const std::byte* end = _block.get() + values_at(_capacity) + _size * sizeof(Value);
    for (const std::byte* line = _block.get(); line < end; line += CACHE_LINE) {
      __builtin_prefetch(line);
    }
  }
  [[nodiscard]] Key* mutable_keys() { return const_cast<Key*>(keys()); }
  void note_first() noexcept {
    if (_size != 0) _first_key = keys()[0];
  }
  void swap(PackedRun& other) noexcept {
    std::swap(_block, other._block);
    std::swap(_size, other._size);
    std::swap(_capacity, other._capacity);
    std::swap(_first_key, other._first_key);
  }

  std::unique_ptr<std::byte[]> _block;  // room for _capacity keys, then for as many values
  std::uint32_t _size = 0;
  std::uint32_t _capacity = 0;
  Key _first_key{};
};
