#include "policy/store/policy_rule_fields.h"

#include <algorithm>

namespace {

// Where a field's value is among the values given; -1 for a field that is not.
using ValuePlaces = std::array<std::ptrdiff_t, PolicyRuleFields::MAX_NUMBER + 1>;

ValuePlaces first_place_of_each(std::span<const std::uint32_t> numbers) {
  ValuePlaces places;
  places.fill(-1);
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    std::ptrdiff_t& place = places[numbers[i]];
    if (place < 0) place = static_cast<std::ptrdiff_t>(i);
  }
  return places;
}

std::size_t bytes_of_length(std::size_t length) {
  std::size_t bytes = 1;
  while (length >= 0x80) {
    length >>= 7U;
    ++bytes;
  }
  return bytes;
}

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

PolicyRuleFields::PolicyRuleFields(std::span<const std::uint32_t> numbers,
                                   std::span<const std::string_view> values) {
  if (numbers.empty()) return;
  const ValuePlaces places = first_place_of_each(numbers);
  std::size_t bytes = 1;
  std::uint8_t count = 0;
  for (const std::ptrdiff_t place : places) {
    if (place < 0) continue;
    const std::size_t length = values[static_cast<std::size_t>(place)].size();
    bytes += 1 + bytes_of_length(length) + length;
    ++count;
  }

  _block = std::make_unique_for_overwrite<std::uint8_t[]>(bytes);
  std::uint8_t* at = _block.get();
  *at++ = count;
  for (std::size_t number = 0; number < places.size(); ++number) {
    if (places[number] < 0) continue;
    const std::string_view value = values[static_cast<std::size_t>(places[number])];
    *at++ = static_cast<std::uint8_t>(number);
    at = write_length(at, value.size());
    at = write_text(at, value);
  }
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
