// The files that policyctl keeps, as far as reading them goes, and how trouble with
// them is told.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "tools/policyctl/failure.h"

// Throws Failure REFUSED: "could not write PATH: No space left on device."
[[noreturn]] void refuse_state_file(const std::string& what, const std::string& path, int error);

// The bytes of a plain file. Throws Failure REFUSED of a directory, a pipe or a device.
std::size_t require_plain_file(int fd, const std::string& what, const std::string& path);

// None when there is no such file. Throws Failure REFUSED when it cannot be read.
[[nodiscard]] std::optional<std::string> read_state_file(const std::string& path);
// No more than its first line, without the line break.
[[nodiscard]] std::optional<std::string> read_first_line(const std::string& path);
[[nodiscard]] bool has_state_file(const std::string& path);

// What stands on one line, of a file or of a terminal: with blanks for control
// characters.
[[nodiscard]] std::string on_one_line(std::string text);
