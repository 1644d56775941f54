#include "tools/policyctl/language/entry.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace {

constexpr std::size_t WORD = sizeof(std::uint32_t);
constexpr std::size_t HEAD_WORDS = 2;

}  // namespace

EntryValue::EntryValue(std::span<const std::uint32_t> numbers, std::string_view text,
                       std::string_view fields) {
  if (numbers.empty() && text.empty() && fields.empty()) return;
  const std::uint32_t head[HEAD_WORDS] = {static_cast<std::uint32_t>(numbers.size()),
                                          static_cast<std::uint32_t>(text.size())};
  _packed = Bytes(sizeof head + numbers.size_bytes() + text.size() + fields.size());
  char* to = _packed.data();
  const auto put = [&to](const void* from, std::size_t size) {
    if (size > 0) std::memcpy(to, from, size);
    to += size;
  };
  put(head, sizeof head);
  put(numbers.data(), numbers.size_bytes());
  put(text.data(), text.size());
  put(fields.data(), fields.size());
}

std::uint32_t EntryValue::word(std::size_t i) const {
  std::uint32_t word = 0;
  if (!_packed.empty()) std::memcpy(&word, _packed.view().data() + i * WORD, WORD);
  return word;
}

std::size_t EntryValue::count() const {
  return word(0);
}

std::uint32_t EntryValue::number(std::size_t i) const {
  return i < count() ? word(HEAD_WORDS + i) : 0;
}

std::string_view EntryValue::text() const {
  if (_packed.empty()) return {};
  return _packed.view().substr((HEAD_WORDS + count()) * WORD, word(1));
}

std::string_view EntryValue::fields() const {
  if (_packed.empty()) return {};
  return _packed.view().substr((HEAD_WORDS + count()) * WORD + word(1));
}

EntryValue EntryValue::with_text(std::string_view text) const {
  std::uint32_t numbers[16];
  const std::size_t size = std::min<std::size_t>(count(), std::size(numbers));
  for (std::size_t i = 0; i < size; ++i) numbers[i] = number(i);
  return EntryValue(std::span(numbers, size), text, fields());
}

bool EntryValue::acts_like(const EntryValue& other) const {
  if (_packed == other._packed) return true;
  if (count() != other.count() || fields() != other.fields()) return false;
  for (std::size_t i = 0; i < count(); ++i) {
    if (number(i) != other.number(i)) return false;
  }
  return true;
}
