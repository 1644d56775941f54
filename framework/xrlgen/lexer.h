// Splits an interface or target file into tokens.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "framework/xrlgen/source_error.h"

namespace xrlgen {

// The largest file, and the longest name in it. Names end up in C++ names, in
// requests and in the finder's tables; nobody misses longer ones.
inline constexpr std::size_t MAX_FILE_BYTES = 256U << 10U;
inline constexpr std::size_t MAX_NAME_BYTES = 64;

struct Token {
  enum class Kind { WORD, SYMBOL, END };

  Kind kind = Kind::END;
  std::string text;  // a word: letters, digits and '_'; a symbol: one of ? & : ; . / { } < > ->
  Location at;
  // The "//" lines that end on the line above, without the slashes.
  std::vector<std::string> comment;

  // "'create_acl'" or "end of file"
  [[nodiscard]] std::string str() const {
    return kind == Kind::END ? "end of file" : "'" + text + "'";
  }
};

// The last token is END. Throws SourceError.
[[nodiscard]] std::vector<Token> tokenize(const std::string& file, std::string_view text);

}  // namespace xrlgen
