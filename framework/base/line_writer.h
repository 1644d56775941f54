// LineWriter: whole lines to a descriptor, without ever waiting for whoever
// reads them, and without a SIGPIPE when nobody does.
#pragma once

#include <cstddef>
#include <string_view>

class LineWriter {
 public:
  // The descriptor stays the caller's, with its flags as they are: others may
  // write to the same pipe.
  explicit LineWriter(int fd) : _fd(fd) {}

  // Writes a line, its line break included. False: it was dropped because there
  // is no room at the moment, or because nobody reads any more. A line of more
  // than PIPE_BUF bytes may lose its end; the next one begins on a new line
  // even so.
  bool write(std::string_view line);

 private:
  [[nodiscard]] std::size_t write_some(std::string_view text) const;

  int _fd;
  bool _line_is_open = false;  // the end of the last one was dropped
};
