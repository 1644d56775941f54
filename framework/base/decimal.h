// Whole numbers read from decimal digits.
#pragma once

#include <charconv>
#include <string_view>

// Digits alone, before them a '-' where `Number` is signed; leading zeros mean
// nothing. False, and `out` is left alone, for anything else (no digits, a '+', a
// blank, something behind them) and for a number that `Number` cannot hold.
template <typename Number>
[[nodiscard]] bool parse_decimal(std::string_view text, Number& out) {
  Number number = 0;
  const char* const end = text.data() + text.size();
  const auto [rest, problem] = std::from_chars(text.data(), end, number);
  if (problem != std::errc() || rest != end) return false;
  out = number;
  return true;
}

// The same without leading zeros, which some take for base 8.
template <typename Number>
[[nodiscard]] bool parse_plain_decimal(std::string_view text, Number& out) {
  const bool is_padded = text.size() > 1 && text.front() == '0';
  return !is_padded && parse_decimal(text, out);
}
