#include "common/match_values.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "framework/base/decimal.h"
#include "framework/base/shown_character.h"

namespace {

constexpr std::size_t HEX_DIGITS = 4;

std::string rather(const std::string& spelling) {
  return "written " + spelling + ".";
}

// What is before and after a separator; `after` is empty when there is none.
struct Halves {
  std::string_view before;
  std::optional<std::string_view> after;
};

Halves split(std::string_view text, char separator) {
  const std::size_t at = text.find(separator);
  if (at == std::string_view::npos) return {text, std::nullopt};
  return {text.substr(0, at), text.substr(at + 1)};
}

std::optional<std::uint32_t> decimal(std::string_view text) {
  std::uint32_t number = 0;
  return parse_plain_decimal(text, number) ? std::optional(number) : std::nullopt;
}

std::string number_problem(const MatchField& field, std::string_view text) {
  const std::optional<std::uint32_t> number = decimal(text);
  if (number && *number >= field.lowest && *number <= field.highest) return {};
  return shown_in_quotes(text) + " is no number " + std::to_string(field.lowest) + ".." +
         std::to_string(field.highest) + ".";
}

std::string range_problem(const MatchField& field, std::string_view text) {
  const Halves halves = split(text, '-');
  std::string problem = number_problem(field, halves.before);
  if (!problem.empty() || !halves.after) return problem;
  problem = number_problem(field, *halves.after);
  if (!problem.empty()) return problem;
  const std::uint32_t low = *decimal(halves.before);
  const std::uint32_t high = *decimal(*halves.after);
  if (low == high) return "a range of one number is " + rather(std::to_string(low));
  if (low > high) return "the range " + shown_in_quotes(text) + " ends before it begins.";
  return {};
}

std::optional<std::uint32_t> hexadecimal(std::string_view text) {
  std::uint32_t number = 0;
  const char* const end = text.data() + text.size();
  if (text.size() != 2 + HEX_DIGITS || !text.starts_with("0x")) return std::nullopt;
  const auto [last, problem] = std::from_chars(text.data() + 2, end, number, 16);
  const bool has_upper =
      std::any_of(text.begin(), text.end(), [](char c) { return c >= 'A' && c <= 'F'; });
  if (problem != std::errc() || last != end || has_upper) return std::nullopt;
  return number;
}

std::string hex_problem(std::string_view text) {
  if (hexadecimal(text)) return {};
  return shown_in_quotes(text) + " is not 0x and four digits 0-9a-f.";
}

std::string bits_problem(std::string_view text) {
  const Halves halves = split(text, '/');
  if (!halves.after) return shown_in_quotes(text) + " has no /MASK.";
  for (const std::string_view half : {halves.before, *halves.after}) {
    std::string problem = hex_problem(half);
    if (!problem.empty()) return problem;
  }
  const std::uint32_t value = *hexadecimal(halves.before);
  const std::uint32_t mask = *hexadecimal(*halves.after);
  if ((value & ~mask) == 0) return {};
  return "bits outside of the mask must be zero, " +
         rather(match_hex(value & mask) + "/" + match_hex(mask));
}

// Only addresses that have several spellings need printing to find theirs.
bool is_own_spelling(const IPv4& /*address*/, std::string_view /*text*/) {
  return true;
}
template <typename Address>
bool is_own_spelling(const Address& address, std::string_view text) {
  return address.str() == text;
}

// Empty, or the only spelling of `address`, when `text` is another.
template <typename Address>
std::string address_problem(std::string_view text, std::string_view kind, Address& address) {
  if (!Address::parse(text, address))
    return shown_in_quotes(text) + " is no " + std::string(kind) + ".";
  if (!is_own_spelling(address, text))
    return shown_in_quotes(text) + " is " + rather(address.str());
  return {};
}

std::string mac_problem(std::string_view text) {
  const Halves halves = split(text, '/');
  Mac address;
  std::string problem = address_problem(halves.before, "MAC address", address);
  if (!problem.empty() || !halves.after) return problem;
  Mac mask;
  problem = address_problem(*halves.after, "mask of a MAC address", mask);
  if (!problem.empty()) return problem;
  Mac masked;
  std::transform(address.bytes.begin(), address.bytes.end(), mask.bytes.begin(),
                 masked.bytes.begin(),
                 [](std::uint8_t a, std::uint8_t m) { return static_cast<std::uint8_t>(a & m); });
  if (masked != address) {
    return "bits outside of the mask must be zero, " + rather(masked.str() + "/" + mask.str());
  }
  const bool is_whole = std::all_of(mask.bytes.begin(), mask.bytes.end(),
                                    [](std::uint8_t byte) { return byte == 0xff; });
  return is_whole ? "a whole address is " + rather(address.str()) : std::string();
}

template <typename Address>
std::string prefix_problem(std::string_view text, std::string_view kind, std::uint32_t longest) {
  const Halves halves = split(text, '/');
  Address address;
  std::string problem = address_problem(halves.before, kind, address);
  if (!problem.empty()) return problem;
  if (!halves.after) return shown_in_quotes(text) + " has no /LENGTH.";
  const std::optional<std::uint32_t> length = decimal(*halves.after);
  if (!length || *length > longest) {
    return shown_in_quotes(*halves.after) + " is no prefix length 0.." + std::to_string(longest) +
           ".";
  }
  const Address network = network_of(address, *length);
  if (network == address) return {};
  return "host bits must be zero, " + rather(network.str() + "/" + std::string(*halves.after));
}

std::string word_problem(const MatchField& field, std::string_view text) {
  for (Halves rest{{}, field.words}; rest.after;) {
    rest = split(*rest.after, '|');
    if (rest.before == text) return {};
  }
  return shown_in_quotes(text) + " is none of " + match_value_syntax(field) + ".";
}

std::string name_problem(std::string_view text) {
  if (text.empty()) return "a name is missing.";
  const bool is_printable =
      std::all_of(text.begin(), text.end(), [](unsigned char c) { return c >= 0x20 && c != 0x7f; });
  return is_printable ? std::string() : shown_in_quotes(text) + " has control characters.";
}

std::string interfaces_problem(std::string_view text) {
  std::string_view previous;
  for (Halves rest{{}, text}; rest.after;) {
    rest = split(*rest.after, ',');
    std::string problem = name_problem(rest.before);
    if (!problem.empty()) return problem;
    if (rest.before <= previous) {
      return shown_in_quotes(rest.before) + " must not stand behind " + shown_in_quotes(previous) +
             ": each interface once, in ascending order of bytes.";
    }
    previous = rest.before;
  }
  return {};
}

constexpr std::uint32_t IPV4_BITS = 32;
constexpr std::uint32_t IPV6_BITS = 128;

struct Bounds {
  std::uint32_t lowest;
  std::uint32_t highest;
};

// Whether `text` is a number within the bounds, and which.
bool is_number_within(const Bounds& bounds, std::string_view text, std::uint32_t& number) {
  constexpr std::size_t MOST_DIGITS = 9;  // fewer than any overflow takes
  if (text.empty() || text.size() > MOST_DIGITS || (text.size() > 1 && text[0] == '0'))
    return false;
  number = 0;
  for (const char c : text) {
    if (c < '0' || c > '9') return false;
    number = 10 * number + static_cast<std::uint32_t>(c - '0');
  }
  return number >= bounds.lowest && number <= bounds.highest;
}

bool is_ipv4_prefix(std::string_view text) {
  // The length has one digit, or two.
  const std::size_t size = text.size();
  if (size < 3) return false;
  const std::size_t slash = text[size - 2] == '/' ? size - 2 : size - 3;
  IPv4 address;
  std::uint32_t length = 0;
  return text[slash] == '/' && IPv4::parse(text.substr(0, slash), address) &&
         is_number_within({0, IPV4_BITS}, text.substr(slash + 1), length) &&
         network_of(address, length) == address;
}

// The four digits from `at` on, which there must be; none when they are no such.
std::optional<std::uint32_t> four_digits(std::string_view text, std::size_t at) {
  std::uint32_t number = 0;
  for (const char c : text.substr(at, HEX_DIGITS)) {
    if (c >= '0' && c <= '9') {
      number = 16 * number + static_cast<std::uint32_t>(c - '0');
    } else if (c >= 'a' && c <= 'f') {
      number = 16 * number + static_cast<std::uint32_t>(c - 'a' + 10);
    } else {
      return std::nullopt;
    }
  }
  return number;
}

bool is_bits(std::string_view text) {
  constexpr std::size_t MASK_AT = 7;  // in "0x0000/0x0000"
  if (text.size() != 2 * MASK_AT - 1 || !text.starts_with("0x") ||
      text.substr(MASK_AT - 1, 3) != "/0x") {
    return false;
  }
  const std::optional<std::uint32_t> value = four_digits(text, 2);
  const std::optional<std::uint32_t> mask = four_digits(text, MASK_AT + 2);
  return value && mask && (*value & ~*mask) == 0;
}

// Nearly all values that there are, in little time: large configurations have millions,
// and nothing is to be said of them. False: it is to be looked at closely.
bool is_plainly_right(const MatchField& field, std::string_view value) {
  const Bounds bounds{field.lowest, field.highest};
  std::uint32_t low = 0;
  std::uint32_t high = 0;
  switch (field.syntax) {
    case MatchSyntax::NUMBER:
      return is_number_within(bounds, value, low);
    case MatchSyntax::RANGE: {
      const std::size_t dash = value.find('-');
      if (dash == std::string_view::npos) return is_number_within(bounds, value, low);
      return is_number_within(bounds, value.substr(0, dash), low) &&
             is_number_within(bounds, value.substr(dash + 1), high) && low < high;
    }
    case MatchSyntax::IPV4_PREFIX:
      return is_ipv4_prefix(value);
    case MatchSyntax::BITS:
      return is_bits(value);
    default:
      return false;
  }
}

}  // namespace

bool is_match_value(const MatchField& field, std::string_view value) {
  return is_plainly_right(field, value) || match_value_problem(field, value).empty();
}

std::string match_value_problem(const MatchField& field, std::string_view value) {
  if (is_plainly_right(field, value)) return {};
  switch (field.syntax) {
    case MatchSyntax::MAC:
      return mac_problem(value);
    case MatchSyntax::IPV4_PREFIX:
      return prefix_problem<IPv4>(value, "IPv4 address", IPV4_BITS);
    case MatchSyntax::IPV6_PREFIX:
      return prefix_problem<IPv6>(value, "IPv6 address", IPV6_BITS);
    case MatchSyntax::NUMBER:
      return number_problem(field, value);
    case MatchSyntax::RANGE:
      return range_problem(field, value);
    case MatchSyntax::HEX:
      return hex_problem(value);
    case MatchSyntax::BITS:
      return bits_problem(value);
    case MatchSyntax::WORD:
      return word_problem(field, value);
    case MatchSyntax::NAME:
      return name_problem(value);
    case MatchSyntax::INTERFACES:
      return interfaces_problem(value);
  }
  return {};
}

std::string match_hex(std::uint32_t number) {
  std::array<char, HEX_DIGITS> digits{};
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number, 16).ptr;
  const std::string_view text(digits.data(), static_cast<std::size_t>(end - digits.data()));
  return "0x" + std::string(HEX_DIGITS - text.size(), '0') + std::string(text);
}

IPv4 network_of(IPv4 address, std::uint32_t length) {
  return IPv4(length == 0 ? 0 : address.host_order() & (~0U << (32 - length)));
}

IPv6 network_of(IPv6 address, std::uint32_t length) {
  for (std::uint32_t bit = length; bit < 8 * address.bytes.size(); ++bit) {
    std::uint8_t& byte = address.bytes[bit / 8];
    byte = static_cast<std::uint8_t>(byte & ~(0x80U >> (bit % 8)));
  }
  return address;
}
