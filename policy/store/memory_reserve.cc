#include "policy/store/memory_reserve.h"

#include <cstdlib>

#include "framework/base/xlog.h"

namespace {

// The new-handler is the process's, and so is what it draws on.
MemoryReserve* reserve = nullptr;

}  // namespace

MemoryReserve::MemoryReserve() {
  XLOG_ASSERT(reserve == nullptr, "a reserve is there already");
  refill();
  reserve = this;
  _former_handler = std::set_new_handler(draw);
}

MemoryReserve::~MemoryReserve() {
  std::set_new_handler(_former_handler);
  reserve = nullptr;
  while (_held > 0) std::free(_blocks[--_held]);
}

void MemoryReserve::draw() {
  if (reserve->_untouchable > 0 || reserve->_held == 0) throw std::bad_alloc();
  std::free(reserve->_blocks[--reserve->_held]);
}

void MemoryReserve::refill() {
  while (_held < BLOCKS) {
    void* block = std::malloc(BLOCK_BYTES);
    if (block == nullptr) return;
    _blocks[_held++] = block;
  }
}

MemoryReserve::Untouched::Untouched() {
  if (reserve == nullptr) return;
  reserve->refill();
  if (reserve->_held < BLOCKS / 2) throw std::bad_alloc();
  ++reserve->_untouchable;
}

MemoryReserve::Untouched::~Untouched() {
  if (reserve != nullptr) --reserve->_untouchable;
}
