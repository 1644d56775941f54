// Files that are replaced whole or stay as they were.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>
#include <string_view>

#include "tools/policyctl/change/open_file.h"

// All of it, whatever the descriptor takes at a time. 0 or an errno.
int write_all(int fd, std::string_view content);

struct Replacement {
  std::string path;
  std::string draft;  // in the same directory, where nothing else is
  mode_t mode = 0600;
};
// What a file is to hold, from when it is begun until put_in_place(); unless that
// succeeds the old file is what it was, and the draft is gone.
class Draft {
 public:
  explicit Draft(Replacement file);
  ~Draft();
  Draft(const Draft&) = delete;
  Draft& operator=(const Draft&) = delete;

  // Behind what is there. After a failure nothing more is written.
  void append(std::string_view content);
  // Over what is there; `at` counts bytes from the start.
  void write_over(std::size_t at, std::string_view content);
  [[nodiscard]] std::size_t size() const { return _size; }
  // Flushes the draft to the disk and renames it to the path. 0, or the errno of what
  // failed first.
  //
  // That the new name is on the disk, too, takes an fsync of the directory.
  [[nodiscard]] int put_in_place();

 private:
  Replacement _file;
  OpenFile _draft;
  std::size_t _size = 0;
  int _error = 0;
  bool _is_in_place = false;
};

// The same with all of the content at once.
int replace_file(const Replacement& file, std::string_view content);
