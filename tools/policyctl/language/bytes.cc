#include "tools/policyctl/language/bytes.h"

#include <sys/mman.h>

#include <array>
#include <cstddef>
#include <new>

// Space for texts comes off large pieces, and what is given back serves others of its
// size: rules come and go by the hundred thousand. With AddressSanitizer each is by
// itself, so that it sees who uses one that is gone.
#ifdef __SANITIZE_ADDRESS__

void* Bytes::take_space(std::size_t size) {
  return ::operator new(size);
}

void Bytes::let_go(Block* block) {
  if (--block->holders == 0) ::operator delete(block);
}

#else

namespace {

constexpr std::size_t STEP = 8;
constexpr std::size_t MOST_POOLED = 512;
constexpr std::size_t FIRST_PIECE = std::size_t{64} << 10U;
constexpr std::size_t PIECE = std::size_t{2} << 20U;  // a huge page

struct Free {
  Free* next;
};

// By size, in steps.
constinit std::array<Free*, MOST_POOLED / STEP + 1> free_spaces{};
constinit char* rest = nullptr;  // of the last piece
constinit std::size_t rest_size = 0;

// The kernel hands out many small pages one by one, which takes longer than filling them.
void take_piece() {
  const bool is_first = rest == nullptr;
  rest_size = is_first ? FIRST_PIECE : PIECE;
  rest = static_cast<char*>(is_first ? ::operator new(rest_size)
                                     : ::operator new (rest_size, std::align_val_t{PIECE}));
  if (!is_first) static_cast<void>(madvise(rest, rest_size, MADV_HUGEPAGE));
}

}  // namespace

void* Bytes::take_space(std::size_t size) {
  if (size > MOST_POOLED) return ::operator new(size);
  const std::size_t steps = (size + STEP - 1) / STEP;
  if (Free* const again = free_spaces[steps]; again != nullptr) {
    free_spaces[steps] = again->next;
    return again;
  }
  if (rest_size < steps * STEP) take_piece();
  char* const space = rest;
  rest += steps * STEP;
  rest_size -= steps * STEP;
  return space;
}

void Bytes::let_go(Block* block) {
  if (--block->holders > 0) return;
  const std::size_t size = sizeof(Block) + block->size;
  if (size > MOST_POOLED) return ::operator delete(block);
  Free*& spaces = free_spaces[(size + STEP - 1) / STEP];
  spaces = new (block) Free{spaces};
}

#endif
