#include "framework/base/shown_character.h"

#include <algorithm>

namespace {

// The length that the first byte of a UTF-8 character announces; 0: none does.
std::size_t announced_length(unsigned char first) {
  if (first >= 0xc2 && first <= 0xdf) return 2;
  if (first >= 0xe0 && first <= 0xef) return 3;
  if (first >= 0xf0 && first <= 0xf4) return 4;
  return 0;
}

// Characters that are not seen but change how the others are: marks of direction,
// breaks, what has no width, tags.
bool is_obeyed(std::string_view character) {
  if (character.size() == 4) return character.starts_with("\xf3\xa0");
  if (character.size() != 3) return character == "\xd8\x9c";
  const auto last = static_cast<unsigned char>(character[2]);
  if (character.starts_with("\xe2\x80"))
    return last >= 0x8b && (last <= 0x8f || (last >= 0xa8 && last <= 0xae));
  if (character.starts_with("\xe2\x81")) return last >= 0xa0 && last <= 0xaf;
  return character == "\xef\xbb\xbf";
}

}  // namespace

std::size_t shown_character(std::string_view text) {
  if (text.empty()) return 0;
  const auto byte = [&text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  if (byte(0) < 0x80) return byte(0) >= 0x20 && byte(0) != 0x7f ? 1 : 0;
  const std::size_t length = announced_length(byte(0));
  if (length == 0 || length > text.size()) return 0;
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xc0U) != 0x80) return 0;
  }
  const bool overlong = (byte(0) == 0xe0 && byte(1) < 0xa0) || (byte(0) == 0xf0 && byte(1) < 0x90);
  const bool surrogate = byte(0) == 0xed && byte(1) >= 0xa0;
  const bool too_high = byte(0) == 0xf4 && byte(1) >= 0x90;
  const bool control = byte(0) == 0xc2 && byte(1) < 0xa0;
  return overlong || surrogate || too_high || control || is_obeyed(text.substr(0, length)) ? 0
                                                                                           : length;
}

std::string shown_in_quotes(std::string_view text) {
  constexpr std::size_t LONGEST_QUOTE = 60;
  std::string shown;
  while (!text.empty()) {
    const std::size_t length = shown_character(text);
    if (shown.size() + std::max<std::size_t>(length, 1) > LONGEST_QUOTE) break;
    shown += length > 0 ? text.substr(0, length) : "?";
    text.remove_prefix(std::max<std::size_t>(length, 1));
  }
  return "'" + shown + (text.empty() ? "'" : "...'");
}
