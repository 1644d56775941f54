// A queue in one block of memory, which it keeps.
#pragma once

#include <cstddef>
#include <span>
#include <utility>
#include <vector>

template <typename T>
class SimQueue {
 public:
  [[nodiscard]] bool empty() const { return _first == _items.size(); }
  [[nodiscard]] std::size_t size() const { return _items.size() - _first; }
  [[nodiscard]] T& front() { return _items[_first]; }
  [[nodiscard]] const T& back() const { return _items.back(); }
  // The oldest first.
  [[nodiscard]] std::span<const T> items() const { return std::span(_items).subspan(_first); }

  void push(T item) { _items.push_back(std::move(item)); }
  void append(std::span<const T> items) { _items.insert(_items.end(), items.begin(), items.end()); }
  void pop(std::size_t count = 1) {
    _first += count;
    if (empty()) {
      clear();
    } else if (_first > _items.size() / 2 && _first > 4096) {
      _items.erase(_items.begin(), _items.begin() + static_cast<std::ptrdiff_t>(_first));
      _first = 0;
    }
  }
  void clear() {
    _items.clear();
    _first = 0;
  }

 private:
  std::vector<T> _items;
  std::size_t _first = 0;
};
