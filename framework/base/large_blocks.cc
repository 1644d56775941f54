#include "framework/base/large_blocks.h"

#include <malloc.h>

namespace {

constexpr int LARGE_BYTES = 128 * 1024;

}  // namespace

void return_large_blocks() {
  mallopt(M_MMAP_THRESHOLD, LARGE_BYTES);
}
