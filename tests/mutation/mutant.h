// What a mutated source includes: whether one of its faults is switched on. A process
// has at most one, as its environment says, and tells which ones it came by:
//   MUTANT           the number of the fault that is on
//   MUTANTS_REACHED  a file of MOST bytes, one for each fault, where it tells that
#pragma once

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdlib>

namespace mutation {

// Numbers of faults are below.
inline constexpr std::size_t MOST = 16384;

inline std::size_t active = 0;
// Null when nobody asks.
inline unsigned char* reached = nullptr;

inline bool on(std::size_t mutant) {
  if (reached != nullptr) reached[mutant] = 1;
  return mutant == active;
}

inline void read_environment() {
  if (const char* number = std::getenv("MUTANT")) active = std::strtoul(number, nullptr, 10);
  const char* const path = std::getenv("MUTANTS_REACHED");
  if (path == nullptr || reached != nullptr) return;
  const int file = ::open(path, O_RDWR | O_CLOEXEC);
  if (file < 0) return;
  void* const bytes = ::mmap(nullptr, MOST, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  ::close(file);
  if (bytes != MAP_FAILED) reached = static_cast<unsigned char*>(bytes);
}

// Before main() and before what other sources run before it.
__attribute__((constructor(101), used)) static void begin() {
  read_environment();
}

}  // namespace mutation

// Also within what the compiler evaluates, where no fault is ever on.
#define MUTANT(number) (__builtin_is_constant_evaluated() ? false : mutation::on(number))
