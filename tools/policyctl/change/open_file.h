// A file descriptor that is closed when it goes.
#pragma once

#include <unistd.h>

class OpenFile {
 public:
  // Of open(), which may have failed.
  explicit OpenFile(int fd) : _fd(fd) {}
  ~OpenFile() {
    if (_fd >= 0) close(_fd);
  }
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;
  [[nodiscard]] int fd() const { return _fd; }

 private:
  int _fd;
};
