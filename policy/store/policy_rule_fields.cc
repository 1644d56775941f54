#include "policy/store/policy_rule_fields.h"

#include <algorithm>

namespace {

std::uint8_t* write_length(std::uint8_t* at, std::size_t length) {
  while (length >= 0x80) {
    *at++ = static_cast<std::uint8_t>((length & 0x7fU) | 0x80U);
    length >>= 7U;
  }
  *at++ = static_cast<std::uint8_t>(length);
  return at;
}

std::uint8_t* write_text(std::uint8_t* at, std::string_view text) {
  return std::copy(text.begin(), text.end(), at);
}

}  // namespace

PolicyRuleFields::PolicyRuleFields(const PolicyFieldValues& values) {
  if (values.count() == 0) return;

  _block = std::make_unique_for_overwrite<std::uint8_t[]>(values.bytes());
  std::uint8_t* at = _block.get();
  *at++ = values.count();
  values.for_each([&](std::uint32_t number, std::string_view value) {
    *at++ = static_cast<std::uint8_t>(number);
    at = write_length(at, value.size());
    at = write_text(at, value);
  });
}

void PolicyRuleFields::const_iterator::read() {
  if (_left == 0) return;
  _field.number = *_at++;
  std::size_t length = 0;
  unsigned shift = 0;
  std::uint8_t byte = 0;
  do {
    byte = *_at++;
    length |= static_cast<std::size_t>(byte & 0x7fU) << shift;
    shift += 7;
  } while ((byte & 0x80U) != 0);
  _field.value = {reinterpret_cast<const char*>(_at), length};
  _at += length;
}
