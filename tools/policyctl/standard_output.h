// Standard output as a stream that remembers why it could not be written.
#pragma once

#include <array>
#include <cstddef>
#include <streambuf>

class StandardOutput : public std::streambuf {
 public:
  StandardOutput() { setp(_pending.data(), _pending.data() + _pending.size()); }

  // Writes what is pending. 0, or the errno of the first write that failed, since
  // when nothing more is written.
  int finish();

 protected:
  int_type overflow(int_type character) override;
  int sync() override { return finish() == 0 ? 0 : -1; }

 private:
  std::array<char, std::size_t{16} << 10U> _pending{};
  int _error = 0;
};

// A descriptor 0, 1 or 2 that is not open becomes one that refuses to be read or
// written, lest the next socket or file becomes standard output.
void hold_closed_descriptors();
