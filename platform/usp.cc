#include "platform/usp.h"

#include <algorithm>
#include <charconv>
#include <limits>

namespace {

bool is_letter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

// Takes a decimal number of at most `max` off the front of `text`; std::from_chars
// takes no blank and, for unsigned types, no sign.
bool take_number(std::string_view& text, std::uint32_t max, std::uint32_t& out) {
  const char* end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, out);
  if (error != std::errc() || out > max) return false;
  text.remove_prefix(static_cast<std::size_t>(rest - text.data()));
  return true;
}

bool take_slash(std::string_view& text) {
  if (text.empty() || text.front() != '/') return false;
  text.remove_prefix(1);
  return true;
}

// False when the name begins with letters that no hyphen follows.
bool skip_prefix(std::string_view& text) {
  const auto letters_end = std::find_if_not(text.begin(), text.end(), is_letter);
  const auto letters = static_cast<std::size_t>(letters_end - text.begin());
  if (letters == 0) return true;
  if (letters_end == text.end() || *letters_end != '-') return false;
  text.remove_prefix(letters + 1);
  return true;
}

}  // namespace

int ifname_to_usp(std::string_view name, Usp& usp) {
  constexpr std::uint32_t MAX_PORT = std::numeric_limits<std::uint32_t>::max();
  Usp read;
  const bool is_port = skip_prefix(name) && take_number(name, USP_MAX_UNIT, read.unit) &&
                       take_slash(name) && take_number(name, USP_MAX_SLOT, read.slot) &&
                       take_slash(name) && take_number(name, MAX_PORT, read.port) && name.empty();
  if (!is_port) return -1;
  usp = read;
  return 0;
}
