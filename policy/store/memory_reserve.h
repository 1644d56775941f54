// Memory kept back for answering: when the stores have taken all that there
// is, the process can still say so, be read, and be told to delete.
//
// Changes of the stores run within unless_out_of_memory() and do not draw on
// the reserve; whatever else the process does may. What was drawn is taken
// back before the next change; while not even half can be held, changes are
// refused.
#pragma once

#include <array>
#include <cstddef>
#include <new>

class MemoryReserve {
 public:
  // In blocks, so that part of it can be drawn and taken back; together enough
  // to read and to refuse a request whose text is as long as a text may be.
  // They are not touched as long as they are held, so they take address space
  // and hardly any memory.
  static constexpr std::size_t BLOCKS = 32;
  static constexpr std::size_t BLOCK_BYTES = std::size_t{256} * 1024;

  // Takes what it can get, and is the process's new-handler as long as it
  // lives. One at a time.
  MemoryReserve();
  ~MemoryReserve();
  MemoryReserve(const MemoryReserve&) = delete;
  MemoryReserve& operator=(const MemoryReserve&) = delete;

  [[nodiscard]] std::size_t blocks_held() const { return _held; }

  // While one lives, no allocation draws on the reserve. They may nest.
  class Untouched {
   public:
    // Takes back what was drawn. Throws std::bad_alloc when too little can be
    // held.
    Untouched();
    ~Untouched();
    Untouched(const Untouched&) = delete;
    Untouched& operator=(const Untouched&) = delete;
  };

 private:
  static void draw();
  void refill();

  std::array<void*, BLOCKS> _blocks{};  // the first _held
  std::size_t _held = 0;
  std::size_t _untouchable = 0;  // how many Untouched live
  std::new_handler _former_handler = nullptr;
};

// Runs `change`, which must leave everything as it was when it throws
// std::bad_alloc. Answers what it answers, or -1 when memory runs out.
template <typename Change>
[[nodiscard]] int unless_out_of_memory(Change change) {
  try {
    const MemoryReserve::Untouched reserve;
    return change();
  } catch (const std::bad_alloc&) {
    return -1;
  }
}
