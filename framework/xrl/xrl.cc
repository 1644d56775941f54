#include "framework/xrl/xrl.h"

#include "framework/xrl/textual_form.h"

std::string Xrl::str() const {
  return textual_form::print_request(*this);
}
Xrl Xrl::parse(std::string_view text) {
  return textual_form::parse_request(text);
}
