#include "tools/policyctl/render/table_text.h"
#include "framework/base/shown_character.h"

#include <clocale>
#include <cwchar>

#include "tools/policyctl/language/words.h"

namespace {

constexpr std::string_view ELLIPSIS = "\xe2\x80\xa6";  // one cell wide

// How wide a character is, the C library knows of UTF-8 alone.
class Utf8Locale {
 public:
  Utf8Locale() : _before(uselocale(utf8())) {}
  ~Utf8Locale() { uselocale(_before); }
  Utf8Locale(const Utf8Locale&) = delete;
  Utf8Locale& operator=(const Utf8Locale&) = delete;

 private:
  static locale_t utf8() {
    static const locale_t LOCALE = newlocale(LC_CTYPE_MASK, "C.UTF-8", locale_t{});
    return LOCALE;
  }
  locale_t _before;
};

bool is_ascii(std::string_view text) {
  for (const char c : text) {
    if (static_cast<unsigned char>(c) >= 0x80) return false;
  }
  return true;
}

std::size_t character_width(std::string_view character) {
  wchar_t wide = 0;
  std::mbstate_t state{};
  const std::size_t taken = std::mbrtowc(&wide, character.data(), character.size(), &state);
  const int width = taken == character.size() ? wcwidth(wide) : 1;
  return width < 0 ? 1 : static_cast<std::size_t>(width);
}

// The bytes that fit in `width` cells, and the cells they take.
struct Fitting {
  std::size_t bytes = 0;
  std::size_t cells = 0;
};
Fitting fitting(std::string_view text, std::size_t width) {
  const Utf8Locale locale;
  Fitting fit;
  while (fit.bytes < text.size()) {
    const std::size_t length = std::max<std::size_t>(shown_character(text.substr(fit.bytes)), 1);
    const std::size_t cells = character_width(text.substr(fit.bytes, length));
    if (fit.cells + cells > width) break;
    fit.bytes += length;
    fit.cells += cells;
  }
  return fit;
}

}  // namespace

std::string shown_text(std::string_view text) {
  for (std::string_view rest = text; !rest.empty();) {
    const std::size_t length = shown_character(rest);
    if (length == 0) return as_quoted_word(text);
    rest.remove_prefix(length);
  }
  return std::string(text);
}

std::size_t text_width(std::string_view text) {
  if (is_ascii(text)) return text.size();
  return fitting(text, std::string_view::npos).cells;
}

std::string cut_text(std::string_view text, std::size_t width) {
  if (text_width(text) <= width) return std::string(text);
  if (width == 0) return {};
  return std::string(text.substr(0, fitting(text, width - 1).bytes)).append(ELLIPSIS);
}
