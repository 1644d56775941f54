// The description of an ACL or of a rule: a text that most do not have, so
// that having none costs no more than a pointer.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "policy/store/memory_reserve.h"
#include "policy/store/store_bounds.h"

class PolicyDescription {
 public:
  // Empty at first. Holds until it is set.
  [[nodiscard]] std::string_view text() const {
    return _text ? std::string_view(*_text) : std::string_view();
  }
  [[nodiscard]] static std::size_t bytes_of(std::string_view text) {
    return text.empty() ? 0 : sizeof(std::string) + text.size() + 2 * store_bounds::BLOCK_BYTES;
  }
  // 0, or -1 when memory runs out; the text is then as it was. Never refused
  // for the empty text, which gives memory back.
  [[nodiscard]] int set(std::string_view text) {
    if (text.empty()) {
      _text.reset();
      return 0;
    }
    return unless_out_of_memory([&] {
      _text = std::make_unique<const std::string>(text);
      return 0;
    });
  }

 private:
  std::unique_ptr<const std::string> _text;  // null for the empty text
};
