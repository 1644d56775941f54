// Texts as they stand in the cells of a terminal.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// The text, or, when something of it cannot be shown, in quotes and escaped as
// configurations write it: a terminal obeys some bytes.
[[nodiscard]] std::string shown_text(std::string_view text);

// How many cells a text that can be shown takes.
[[nodiscard]] std::size_t text_width(std::string_view text);

// As much of it as `width` cells take, with an ellipsis at the end when that is
// not all.
[[nodiscard]] std::string cut_text(std::string_view text, std::size_t width);
