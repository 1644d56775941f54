// Files that are replaced whole or stay as they were.
#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>

// All of it, whatever the descriptor takes at a time. 0 or an errno.
int write_all(int fd, std::string_view content);

struct Replacement {
  std::string path;
  std::string draft;  // in the same directory, where nothing else is
  mode_t mode = 0600;
};
// Writes the draft, flushes it to the disk and renames it to the path. On failure
// the old file is what it was, and the draft is gone. 0 or an errno.
//
// That the new name is on the disk, too, takes an fsync of the directory.
int replace_file(const Replacement& file, std::string_view content);
