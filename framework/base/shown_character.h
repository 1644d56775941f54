// What of a text can be shown on a terminal as it is.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// The bytes that the UTF-8 character at the start of `text` takes; 0 when there is none
// that is well formed and seen. A terminal obeys control characters, and those that
// turn the direction of writing or have no width make a text look like another.
[[nodiscard]] std::size_t shown_character(std::string_view text);

// The text in single quotes for a message: cut when it is long, with '?' for each byte
// that cannot be shown.
[[nodiscard]] std::string shown_in_quotes(std::string_view text);
