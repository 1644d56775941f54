#include "framework/xrlgen/lexer.h"

#include <algorithm>
#include <utility>

namespace xrlgen {
namespace {

constexpr std::string_view SYMBOLS = "?&:;./{}<>";

bool is_word_character(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

bool is_control_character(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return (byte < 0x20U && c != '\t' && c != '\r') || byte == 0x7fU;
}

bool is_blank(char c) {
  return c == ' ' || c == '\t' || c == '\r';
}

std::string describe(char c) {
  if (c > ' ' && c <= '~') return std::string("character '") + c + "'";
  constexpr std::string_view DIGITS = "0123456789abcdef";
  const auto byte = static_cast<unsigned char>(c);
  return std::string("byte 0x") + DIGITS[byte >> 4U] + DIGITS[byte & 0xfU];
}

// What follows "//", fit to be a line comment of C++ again: a backslash at the
// end of it would swallow the next line.
std::string comment_text(std::string_view line) {
  while (!line.empty() && (is_blank(line.back()) || line.back() == '\\')) line.remove_suffix(1);
  return std::string(line);
}

class Lexer {
 public:
  Lexer(const std::string& file, std::string_view text) : _file(file), _text(text) {}

  std::vector<Token> run() {
    if (_text.size() > MAX_FILE_BYTES)
      fail(Location{}, "the file is larger than " + std::to_string(MAX_FILE_BYTES) + " bytes");
    do {
      skip_blanks_and_comments();
      take_token();
    } while (_tokens.back().kind != Token::Kind::END);
    return std::move(_tokens);
  }

 private:
  [[nodiscard]] Location here() const { return {_line, _position - _line_start + 1}; }
  [[nodiscard]] bool at_end() const { return _position == _text.size(); }
  [[nodiscard]] bool looking_at(std::string_view what) const {
    return _text.substr(_position, what.size()) == what;
  }
  [[noreturn]] void fail(Location at, const std::string& problem) const {
    throw SourceError(_file, at, problem);
  }

  void end_line() {
    ++_position;
    ++_line;
    _line_start = _position;
  }

  void skip_blanks_and_comments() {
    while (!at_end()) {
      if (_text[_position] == '\n') {
        if (!_line_holds_comment) _comment.clear();
        _line_holds_comment = false;
        _line_holds_token = false;
        end_line();
      } else if (is_blank(_text[_position])) {
        ++_position;
      } else if (looking_at("//")) {
        take_line_comment();
      } else if (looking_at("/*")) {
        skip_block_comment();
      } else {
        return;
      }
    }
  }

  void take_line_comment() {
    const Location start = here();
    const std::size_t end = std::min(_text.find('\n', _position), _text.size());
    const std::string_view line = _text.substr(_position + 2, end - _position - 2);
    for (const char c : line)
      if (is_control_character(c)) fail(start, "unexpected " + describe(c) + " in a comment");
    if (!_line_holds_token) {
      _comment.push_back(comment_text(line));
      _line_holds_comment = true;
    }
    _position = end;
  }

  void skip_block_comment() {
    const Location start = here();
    const std::size_t end = _text.find("*/", _position + 2);
    if (end == std::string_view::npos) fail(start, "comment without end");
    while (_position < end) {
      if (_text[_position] == '\n')
        end_line();
      else
        ++_position;
    }
    _position = end + 2;
    _comment.clear();
  }

  void take_token() {
    Token token;
    token.at = here();
    if (!at_end()) {
      const std::size_t size = token_size();
      token.kind = is_word_character(_text[_position]) ? Token::Kind::WORD : Token::Kind::SYMBOL;
      token.text = _text.substr(_position, size);
      _position += size;
    }
    if (!_line_holds_token) token.comment = std::exchange(_comment, {});
    _line_holds_token = true;
    _line_holds_comment = false;
    _tokens.push_back(std::move(token));
  }

  [[nodiscard]] std::size_t token_size() const {
    if (looking_at("->")) return 2;
    const char first = _text[_position];
    if (SYMBOLS.find(first) != std::string_view::npos) return 1;
    if (!is_word_character(first)) fail(here(), "unexpected " + describe(first));
    std::size_t size = 1;
    while (_position + size < _text.size() && is_word_character(_text[_position + size])) ++size;
    if (size > MAX_NAME_BYTES)
      fail(here(), "name longer than " + std::to_string(MAX_NAME_BYTES) + " characters");
    return size;
  }

  const std::string& _file;
  std::string_view _text;
  std::size_t _position = 0;
  std::size_t _line = 1;
  std::size_t _line_start = 0;
  bool _line_holds_token = false;
  bool _line_holds_comment = false;
  std::vector<std::string> _comment;
  std::vector<Token> _tokens;
};

}  // namespace

std::vector<Token> tokenize(const std::string& file, std::string_view text) {
  return Lexer(file, text).run();
}

}  // namespace xrlgen
