// Names within messages.
#pragma once

#include <string>
#include <string_view>

// The text between single quotes, as it is.
[[nodiscard]] inline std::string quoted(std::string_view text) {
  std::string message;
  message.reserve(text.size() + 2);
  message += '\'';
  message += text;
  message += '\'';
  return message;
}
