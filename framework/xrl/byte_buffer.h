// A growing run of bytes, written at the end and consumed at the front: the
// input and output of a connection and the scratch space of an encoder.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <span>

class ByteBuffer {
 public:
  ByteBuffer() = default;

  [[nodiscard]] const std::uint8_t* data() const { return _bytes.get() + _begin; }
  [[nodiscard]] std::uint8_t* data() { return _bytes.get() + _begin; }
  [[nodiscard]] std::size_t size() const { return _end - _begin; }
  [[nodiscard]] bool empty() const { return _end == _begin; }
  [[nodiscard]] std::size_t capacity() const { return _capacity; }
  [[nodiscard]] std::span<const std::uint8_t> bytes() const { return {data(), size()}; }

  // Room for `count` more bytes at the end; what is written there counts only
  // after commit(). Invalidates data().
  [[nodiscard]] std::uint8_t* reserve(std::size_t count) {
    if (_capacity - _end < count) [[unlikely]]
      grow(count);
    return _bytes.get() + _end;
  }
  // Bytes that can be reserved without growing.
  [[nodiscard]] std::size_t room() const { return _capacity - _end; }
  // `count` at most what was reserved.
  void commit(std::size_t count) { _end += count; }
  void append(const void* from, std::size_t count) {
    if (count == 0) return;
    std::memcpy(reserve(count), from, count);
    commit(count);
  }
  // Drops `count` bytes (at most size()) at the front.
  void consume(std::size_t count) {
    _begin += count;
    if (_begin == _end) _begin = _end = 0;
  }
  // Drops all bytes after the first `size` (at most size()).
  void truncate(std::size_t size) { _end = _begin + size; }
  void clear() { _begin = _end = 0; }
  // Gives the memory back when the buffer is empty and holds more than `keep`.
  void release_if_idle(std::size_t keep);

 private:
  void grow(std::size_t count);

  std::unique_ptr<std::uint8_t[]> _bytes;
  std::size_t _begin = 0;
  std::size_t _end = 0;
  std::size_t _capacity = 0;
};
