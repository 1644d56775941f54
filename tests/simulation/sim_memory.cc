#include "tests/simulation/sim_memory.h"

#include <cstdlib>
#include <new>
#include <utility>

namespace {

bool memory_is_short = false;
unsigned failed = 0;

}  // namespace

SimMemory::Shortage::Shortage(bool is_short) {
  failed = 0;
  memory_is_short = is_short;
}
SimMemory::Shortage::~Shortage() {
  memory_is_short = false;
}
unsigned SimMemory::Shortage::failures() {
  return failed;
}

SimMemory::Exempt::Exempt() : _was_short(std::exchange(memory_is_short, false)) {}
SimMemory::Exempt::~Exempt() {
  memory_is_short = _was_short;
}

void* operator new(std::size_t size) {
  if (memory_is_short) {
    ++failed;
    throw std::bad_alloc();
  }
  void* const block = std::malloc(size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}
void operator delete(void* block) noexcept {
  std::free(block);
}
void operator delete(void* block, std::size_t /*size*/) noexcept {
  std::free(block);
}
