#include "tools/policyctl/language/words.h"

#include <algorithm>
#include <array>

#include "framework/base/hex.h"
#include "framework/base/shown_character.h"

namespace {

bool is_blank(char c) {
  return c == ' ' || c == '\t' || c == '\r';
}

// What may stand in a word without quotes, byte by byte.
constexpr auto IS_PLAIN = [] {
  std::array<bool, 256> is_plain{};
  for (std::size_t c = 0; c < is_plain.size(); ++c) is_plain[c] = c > ' ' && c != '"' && c != 0x7f;
  return is_plain;
}();

// Where what is plain from `at` on ends. Most of a large configuration is.
std::size_t end_of_plain(std::string_view line, std::size_t at) {
  const char* const end = line.data() + line.size();
  const char* to = line.data() + at;
  while (to != end && IS_PLAIN[static_cast<unsigned char>(*to)]) ++to;
  return static_cast<std::size_t>(to - line.data());
}

// Appends what the escape at `at` (behind the backslash) stands for and moves
// `at` behind it; false when there is no such escape.
bool unescape(std::string_view line, std::size_t& at, std::string& text) {
  if (at >= line.size()) return false;
  const char kind = line[at++];
  switch (kind) {
    case '"':
    case '\\':
      text += kind;
      return true;
    case 'n':
      text += '\n';
      return true;
    case 't':
      text += '\t';
      return true;
    case 'x': {
      if (at + 2 > line.size()) return false;
      const int high = hex_digit(line[at]);
      const int low = hex_digit(line[at + 1]);
      if (high < 0 || low < 0) return false;
      text += static_cast<char>(16 * high + low);
      at += 2;
      return true;
    }
    default:
      return false;
  }
}

bool can_stand_bare(std::string_view text) {
  if (text.empty() || text[0] == '#') return false;
  for (const char c : text) {
    if (c <= ' ' || c > '~' || c == '"' || c == '\\') return false;
  }
  return true;
}

}  // namespace

namespace {

// Of what cannot be shown, `kept` alone stays.
std::string escape(std::string_view text, std::string_view kept) {
  const auto is_ascii = [](char c) { return c >= ' ' && c <= '~'; };
  if (std::all_of(text.begin(), text.end(), is_ascii)) return std::string(text);
  std::string escaped;
  while (!text.empty()) {
    const std::size_t length = shown_character(text);
    if (length > 0 || kept.find(text[0]) != std::string_view::npos) {
      escaped += text.substr(0, std::max<std::size_t>(length, 1));
    } else {
      const std::string quoted = as_quoted_word(text.substr(0, 1));
      escaped += quoted.substr(1, quoted.size() - 2);
    }
    text.remove_prefix(std::max<std::size_t>(length, 1));
  }
  return escaped;
}

}  // namespace

std::string harmless(std::string_view text) {
  return escape(text, "\n");
}

std::string harmless_line(std::string_view text) {
  return escape(text, "");
}

std::optional<WordFault> Words::split(std::string_view line) {
  _count = 0;
  if (!_unescaped.empty()) _unescaped.clear();
  for (std::size_t at = 0;;) {
    while (at < line.size() && is_blank(line[at])) ++at;
    if (at == line.size() || line[at] == '#') return std::nullopt;
    if (line[at] == '"') {
      std::optional<WordFault> fault = take_quoted(line, at);
      if (fault) return fault;
      continue;
    }
    const std::size_t begin = at;
    at = end_of_plain(line, at);
    if (at < line.size() && !is_blank(line[at])) {
      return WordFault{at + 1, 1,
                       line[at] == '"' ? "a quote may only begin a word."
                                       : "a control character may only stand in quotes."};
    }
    add(line.substr(begin, at - begin), begin + 1, at - begin, false);
  }
}

std::optional<WordFault> Words::take_quoted(std::string_view line, std::size_t& at) {
  const std::size_t begin = at++;
  const std::size_t plain_end = std::min(line.find_first_of("\"\\", at), line.size());
  std::string_view text = line.substr(at, plain_end - at);
  at = plain_end;
  if (at < line.size() && line[at] == '\\') {
    std::string& unescaped = _unescaped.emplace_back(text);
    std::optional<WordFault> fault = take_escaped(line, at, unescaped);
    if (fault) return fault;
    text = unescaped;
  }
  if (at == line.size()) {
    return WordFault{begin + 1, at - begin, "the closing quote is missing."};
  }
  ++at;
  if (at < line.size() && !is_blank(line[at])) {
    return WordFault{at + 1, 1, "a blank is missing behind the closing quote."};
  }
  add(text, begin + 1, at - begin, true);
  return std::nullopt;
}

std::optional<WordFault> Words::take_escaped(std::string_view line, std::size_t& at,
                                             std::string& text) {
  while (at < line.size() && line[at] != '"') {
    if (line[at] != '\\') {
      text += line[at++];
      continue;
    }
    const std::size_t escape = at++;
    if (!unescape(line, at, text)) {
      return WordFault{escape + 1, std::min<std::size_t>(2, line.size() - escape),
                       "no such escape; there are \\\" \\\\ \\n \\t and \\xHH."};
    }
  }
  return std::nullopt;
}

std::string as_word(std::string_view text) {
  return can_stand_bare(text) ? std::string(text) : as_quoted_word(text);
}

void append_word(std::string& line, std::string_view text) {
  if (can_stand_bare(text)) {
    line += text;
  } else {
    line += as_quoted_word(text);
  }
}

std::string as_quoted_word(std::string_view text) {
  constexpr std::string_view DIGITS = "0123456789abcdef";
  std::string word = "\"";
  while (!text.empty()) {
    const std::size_t length = shown_character(text);
    const auto first = static_cast<unsigned char>(text[0]);
    if (first == '"' || first == '\\') {
      word += '\\';
      word += text[0];
    } else if (length > 0) {
      word += text.substr(0, length);
    } else if (first == '\n' || first == '\t') {
      word += first == '\n' ? "\\n" : "\\t";
    } else {
      word += "\\x";
      word += DIGITS[first / 16];
      word += DIGITS[first % 16];
    }
    text.remove_prefix(length > 1 ? length : 1);
  }
  return word + '"';
}
