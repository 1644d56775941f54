#include "tools/classbench/classbench_rule.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "common/match_values.h"
#include "framework/base/decimal.h"
#include "framework/base/xlog.h"

namespace {

constexpr std::uint32_t IPV4_BITS = 32;
constexpr std::uint32_t LAST_U8 = 0xff;
constexpr std::uint32_t LAST_U16 = 0xffff;
constexpr std::size_t U8_DIGITS = 2;
constexpr std::size_t U16_DIGITS = 4;

struct Masked {
  std::uint32_t value;
  std::uint32_t mask;
};

// Reads a line from left to right.
class Cursor {
 public:
  explicit Cursor(std::string_view line) : _line(line) {}

  void expect(std::string_view text, std::string_view name) {
    if (!_line.substr(_at).starts_with(text)) fail(_at, std::string(name) + " expected");
    _at += text.size();
  }
  void expect_end() const {
    if (_at != _line.size()) fail(_at, "end of line expected");
  }

  ClassbenchRule::Prefix prefix() {
    const std::size_t begin = _at;
    ClassbenchRule::Prefix prefix;
    const std::size_t end = std::min(_line.find_first_not_of("0123456789.", _at), _line.size());
    if (!IPv4::parse(_line.substr(_at, end - _at), prefix.address)) {
      fail(begin, "IPv4 address expected");
    }
    _at = end;
    expect("/", "'/'");
    prefix.length = decimal(IPV4_BITS);
    const std::uint64_t host_bits = std::uint64_t{0xffffffff} >> prefix.length;
    if ((prefix.address.host_order() & host_bits) != 0) fail(begin, "host bits must be zero");
    return prefix;
  }

  ClassbenchRule::Ports ports() {
    const std::size_t begin = _at;
    const std::uint32_t low = decimal(LAST_U16);
    expect(" : ", "' : '");
    const std::uint32_t high = decimal(LAST_U16);
    if (low > high) fail(begin, "the range ends before it begins");
    return {static_cast<std::uint16_t>(low), static_cast<std::uint16_t>(high)};
  }

  std::optional<std::uint8_t> protocol() {
    const std::size_t begin = _at;
    const Masked masked = this->masked(U8_DIGITS);
    if (masked.mask == 0) return std::nullopt;
    if (masked.mask != LAST_U8) fail(begin, "the mask of a protocol must be 0x00 or 0xFF");
    return static_cast<std::uint8_t>(masked.value);
  }

  // 0xVALUE/0xMASK, each of so many digits.
  Masked masked(std::size_t digits) {
    const std::size_t begin = _at;
    const std::uint32_t value = hexadecimal(digits);
    expect("/", "'/'");
    const std::uint32_t mask = hexadecimal(digits);
    if ((value & ~mask) != 0) fail(begin, "bits outside of the mask must be zero");
    return {value, mask};
  }

 private:
  [[noreturn]] static void fail(std::size_t at, const std::string& problem) {
    throw ClassbenchLineError(at + 1, problem);
  }

  std::uint32_t decimal(std::uint32_t highest) {
    const std::string_view digits = take_digits("0123456789");
    std::uint32_t number = 0;
    if (!parse_plain_decimal(digits, number) || number > highest) {
      fail(_at - digits.size(), "number 0.." + std::to_string(highest) + " expected");
    }
    return number;
  }

  std::uint32_t hexadecimal(std::size_t wanted) {
    const std::size_t begin = _at;
    const std::string name = "0x and " + std::to_string(wanted) + " hexadecimal digits";
    expect("0x", name);
    const std::string_view digits = take_digits("0123456789abcdefABCDEF");
    if (digits.size() != wanted) fail(begin, name + " expected");
    std::uint32_t number = 0;
    std::from_chars(digits.data(), digits.data() + digits.size(), number, 16);
    return number;
  }

  std::string_view take_digits(std::string_view digits) {
    const std::size_t begin = _at;
    _at = std::min(_line.find_first_not_of(digits, _at), _line.size());
    return _line.substr(begin, _at - begin);
  }

  std::string_view _line;
  std::size_t _at = 0;
};

std::string text_of(const ClassbenchRule::Prefix& prefix) {
  return prefix.address.str() + "/" + std::to_string(prefix.length);
}

std::string text_of(const ClassbenchRule::Ports& ports) {
  std::string text = std::to_string(ports.low);
  if (ports.high != ports.low) text += "-" + std::to_string(ports.high);
  return text;
}

MatchValue match_value(std::string_view name, std::string text) {
  const MatchField* const field = find_match_field(name);
  XLOG_ASSERT(field != nullptr, std::string(name));
  return {field, std::move(text)};
}

}  // namespace

ClassbenchRule parse_classbench_line(std::string_view line) {
  Cursor cursor(line);
  const auto end_field = [&cursor] { cursor.expect("\t", "tab"); };
  ClassbenchRule rule;
  cursor.expect("@", "'@'");
  rule.src = cursor.prefix();
  end_field();
  rule.dst = cursor.prefix();
  end_field();
  rule.src_ports = cursor.ports();
  end_field();
  rule.dst_ports = cursor.ports();
  end_field();
  rule.protocol = cursor.protocol();
  end_field();
  const Masked flags = cursor.masked(U16_DIGITS);
  rule.flags = static_cast<std::uint16_t>(flags.value);
  rule.flags_mask = static_cast<std::uint16_t>(flags.mask);
  end_field();
  cursor.expect_end();
  return rule;
}

std::vector<MatchValue> match_values(const ClassbenchRule& rule) {
  constexpr ClassbenchRule::Prefix ANY_ADDRESS;
  constexpr ClassbenchRule::Ports ANY_PORT;
  std::vector<MatchValue> values;
  if (rule.src != ANY_ADDRESS) values.push_back(match_value("src-ip", text_of(rule.src)));
  if (rule.dst != ANY_ADDRESS) values.push_back(match_value("dst-ip", text_of(rule.dst)));
  if (rule.protocol) values.push_back(match_value("protocol", std::to_string(*rule.protocol)));
  if (rule.src_ports != ANY_PORT)
    values.push_back(match_value("src-port", text_of(rule.src_ports)));
  if (rule.dst_ports != ANY_PORT)
    values.push_back(match_value("dst-port", text_of(rule.dst_ports)));
  if (rule.flags_mask != 0) {
    values.push_back(
        match_value("tcp-flags", match_hex(rule.flags) + "/" + match_hex(rule.flags_mask)));
  }
  return values;
}
