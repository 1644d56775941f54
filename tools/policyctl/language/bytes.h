// Bytes: a text that does not change once it is made, shared by all who hold it.
// A hundred thousand rules are held several times at once: as they are, as they
// shall be, and as a journal keeps them.
#pragma once

#include <compare>
#include <cstdint>
#include <cstring>
#include <new>
#include <string_view>
#include <utility>

// To be used from one thread.
class Bytes {
 public:
  Bytes() = default;
  explicit Bytes(std::string_view text) : Bytes(text.size()) {
    if (!text.empty()) std::memcpy(data(), text.data(), text.size());
  }
  // Of that size, to be filled in by who makes it, and by nobody later.
  explicit Bytes(std::size_t size) {
    if (size == 0) return;
    _block = static_cast<Block*>(take_space(sizeof(Block) + size));
    *_block = {1, static_cast<std::uint32_t>(size)};
  }
  Bytes(const Bytes& other) : _block(other._block) {
    if (_block != nullptr) ++_block->holders;
  }
  Bytes(Bytes&& other) noexcept : _block(std::exchange(other._block, nullptr)) {}
  Bytes& operator=(Bytes other) noexcept {
    std::swap(_block, other._block);
    return *this;
  }
  ~Bytes() {
    if (_block != nullptr) let_go(_block);
  }

  [[nodiscard]] std::string_view view() const {
    return _block == nullptr
               ? std::string_view()
               : std::string_view(reinterpret_cast<const char*>(_block + 1), _block->size);
  }
  [[nodiscard]] char* data() { return reinterpret_cast<char*>(_block + 1); }
  [[nodiscard]] bool empty() const { return _block == nullptr; }

  bool operator==(const Bytes& other) const {
    return _block == other._block || view() == other.view();
  }
  std::strong_ordering operator<=>(const Bytes& other) const {
    if (_block == other._block) return std::strong_ordering::equal;
    return view() <=> other.view();
  }

 private:
  struct Block {
    std::uint32_t holders;
    std::uint32_t size;  // of the bytes that follow
  };
  static void* take_space(std::size_t size);
  static void let_go(Block* block);

  Block* _block = nullptr;
};
