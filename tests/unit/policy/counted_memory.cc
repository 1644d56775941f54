#include "tests/unit/policy/counted_memory.h"

#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

// Before each block the allocator keeps its size.
constexpr std::size_t BYTES_PER_BLOCK = sizeof(std::size_t);

std::atomic<std::size_t> in_use{0};
std::atomic<std::size_t> asked_for{0};
std::size_t successes_left = 0;
std::size_t failures_left = 0;
bool reached = false;

std::size_t cost_of(void* block) {
  return malloc_usable_size(block) + BYTES_PER_BLOCK;
}

bool may_allocate() {
  if (failures_left == 0) return true;
  if (successes_left > 0) {
    --successes_left;
    return true;
  }
  reached = true;
  --failures_left;
  return false;
}

void* allocate(std::size_t size) {
  void* block = may_allocate() ? std::malloc(size) : nullptr;
  if (block == nullptr) throw std::bad_alloc();
  in_use += cost_of(block);
  asked_for += size;
  return block;
}

void release(void* block) {
  if (block == nullptr) return;
  in_use -= cost_of(block);
  std::free(block);
}

}  // namespace

MemoryLimit::MemoryLimit(std::size_t successes, std::size_t failures) {
  reached = false;
  successes_left = successes;
  failures_left = failures;
}
MemoryLimit::~MemoryLimit() {
  failures_left = 0;
}
bool MemoryLimit::was_reached() {
  return reached;
}

std::size_t memory_in_use() {
  return in_use;
}

std::size_t memory_asked_for() {
  return asked_for;
}

void* operator new(std::size_t size) {
  return allocate(size);
}
void* operator new[](std::size_t size) {
  return allocate(size);
}
void operator delete(void* block) noexcept {
  release(block);
}
void operator delete[](void* block) noexcept {
  release(block);
}
void operator delete(void* block, std::size_t /*size*/) noexcept {
  release(block);
}
void operator delete[](void* block, std::size_t /*size*/) noexcept {
  release(block);
}
