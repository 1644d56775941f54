// The words of a line of configuration text.
//
// Words are separated by blanks. A word in double quotes may hold anything, with
// \" \\ \n \t and \xHH (two hexadecimal digits) for what cannot stand as it is;
// '#' at the start of a word begins a comment that ends with the line.
#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

struct Word {
  std::string_view text;   // what it means, quotes and escapes undone
  std::size_t column = 1;  // where it begins, the first byte being 1
  std::size_t length = 0;  // bytes it takes in the line
  bool quoted = false;
};

struct WordFault {
  std::size_t column = 1;
  std::size_t length = 1;
  std::string message;
};

class Words {
 public:
  // Forgets the line before. Words refer to `line` and to this object. What is
  // wrong with the line, if anything; the words before that are there.
  std::optional<WordFault> split(std::string_view line);

  [[nodiscard]] std::span<const Word> all() const { return std::span(_words).first(_count); }

 private:
  void add(std::string_view text, std::size_t column, std::size_t length, bool quoted) {
    if (_count == _words.size()) _words.emplace_back();
    Word& word = _words[_count++];
    word.text = text;
    word.column = column;
    word.length = length;
    word.quoted = quoted;
  }
  std::optional<WordFault> take_quoted(std::string_view line, std::size_t& at);
  static std::optional<WordFault> take_escaped(std::string_view line, std::size_t& at,
                                               std::string& text);

  std::vector<Word> _words;  // the first ones; the others were of lines before
  std::size_t _count = 0;
  std::deque<std::string> _unescaped;
};

// `text` as one word that split() reads back, without quotes when it needs none.
[[nodiscard]] std::string as_word(std::string_view text);
// The same behind `line`.
void append_word(std::string& line, std::string_view text);
// The same, always in quotes.
[[nodiscard]] std::string as_quoted_word(std::string_view text);
// What can be shown of `text` as it is, and line breaks; all else escaped as in a quoted
// word. A terminal obeys some bytes.
[[nodiscard]] std::string harmless(std::string_view text);
// The same on one line: line breaks are escaped, too.
[[nodiscard]] std::string harmless_line(std::string_view text);
