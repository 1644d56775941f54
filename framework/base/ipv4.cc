#include "framework/base/ipv4.h"

#include <arpa/inet.h>

#include <algorithm>
#include <charconv>
#include <span>

#include "framework/base/hex.h"

namespace {

// As the C library wants it; false when it is too long to be an address or
// would end early.
bool terminated(std::string_view text, std::array<char, INET6_ADDRSTRLEN>& out) {
  if (text.size() >= out.size() || text.find('\0') != std::string_view::npos) return false;
  *std::copy(text.begin(), text.end(), out.begin()) = '\0';
  return true;
}

bool parse_address(int family, std::string_view text, void* out) {
  std::array<char, INET6_ADDRSTRLEN> copy{};
  return terminated(text, copy) && ::inet_pton(family, copy.data(), out) == 1;
}

void append_number(std::string& out, unsigned value, int base) {
  std::array<char, 8> digits{};
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value, base).ptr;
  out.append(digits.data(), end);
}

std::string dotted(std::span<const std::uint8_t, 4> bytes) {
  std::string text;
  for (const std::uint8_t byte : bytes) {
    if (!text.empty()) text += '.';
    append_number(text, byte, 10);
  }
  return text;
}

constexpr std::size_t IPV6_GROUPS = 8;
using Groups = std::array<unsigned, IPV6_GROUPS>;

struct Run {
  std::size_t begin = 0;
  std::size_t length = 0;
};

// What "::" stands for: the first of the longest runs of zero groups, if it
// has more than one group.
Run longest_zero_run(const Groups& groups) {
  Run longest;
  Run run;
  for (std::size_t i = 0; i < groups.size(); ++i) {
    if (groups[i] != 0) {
      run = {i + 1, 0};
      continue;
    }
    ++run.length;
    if (run.length > longest.length) longest = run;
  }
  return longest.length > 1 ? longest : Run{};
}

void append_groups(std::string& out, std::span<const unsigned> groups) {
  bool first = true;
  for (const unsigned group : groups) {
    if (!first) out += ':';
    first = false;
    append_number(out, group, 16);
  }
}

}  // namespace

std::string IPv4::str() const {
  const std::array<std::uint8_t, 4> bytes{
      static_cast<std::uint8_t>(_addr >> 24U), static_cast<std::uint8_t>(_addr >> 16U),
      static_cast<std::uint8_t>(_addr >> 8U), static_cast<std::uint8_t>(_addr)};
  return dotted(bytes);
}

// By itself, unlike the others: a large configuration has hundreds of thousands.
bool IPv4::parse(std::string_view text, IPv4& out) {
  const char* at = text.data();
  const char* const end = at + text.size();
  const auto digit = [&] {
    return at == end ? 10U : static_cast<unsigned char>(*at) - unsigned{'0'};
  };
  std::uint32_t address = 0;
  for (int part = 0; part < 4; ++part) {
    if (part > 0 && (at == end || *at++ != '.')) return false;
    std::uint32_t byte = digit();
    if (byte > 9) return false;
    ++at;
    // Behind a leading zero there must be none.
    for (; byte > 0 && digit() <= 9; ++at) {
      byte = 10 * byte + digit();
      if (byte > 255) return false;
    }
    address = address << 8U | byte;
  }
  if (at != end) return false;
  out = IPv4(address);
  return true;
}

std::string IPv6::str() const {
  Groups groups{};
  for (std::size_t i = 0; i < groups.size(); ++i) {
    groups[i] = (static_cast<unsigned>(bytes[2 * i]) << 8U) | bytes[2 * i + 1];
  }
  const std::span<const unsigned> all(groups);
  const Run zeros = longest_zero_run(groups);
  const bool is_mapped_ipv4 = zeros.begin == 0 && zeros.length == 5 && groups[5] == 0xffff;
  if (is_mapped_ipv4) {
    return "::ffff:" + dotted(std::span<const std::uint8_t, 16>(bytes).last<4>());
  }
  std::string text;
  if (zeros.length == 0) {
    append_groups(text, all);
    return text;
  }
  append_groups(text, all.first(zeros.begin));
  text += "::";
  append_groups(text, all.subspan(zeros.begin + zeros.length));
  return text;
}

bool IPv6::parse(std::string_view text, IPv6& out) {
  in6_addr address{};
  if (!parse_address(AF_INET6, text, &address)) return false;
  std::copy(std::begin(address.s6_addr), std::end(address.s6_addr), out.bytes.begin());
  return true;
}

std::string Mac::str() const {
  static constexpr std::string_view DIGITS = "0123456789abcdef";
  std::string text;
  for (const std::uint8_t byte : bytes) {
    if (!text.empty()) text += ':';
    text += DIGITS[byte >> 4U];
    text += DIGITS[byte & 0xfU];
  }
  return text;
}

bool Mac::parse(std::string_view text, Mac& out) {
  Mac mac;
  if (text.size() != 3 * mac.bytes.size() - 1) return false;
  for (std::size_t i = 0; i < mac.bytes.size(); ++i) {
    const int high = hex_digit(text[3 * i]);
    const int low = hex_digit(text[3 * i + 1]);
    if (high < 0 || low < 0) return false;
    if (i > 0 && text[3 * i - 1] != ':') return false;
    mac.bytes[i] = static_cast<std::uint8_t>(16 * high + low);
  }
  out = mac;
  return true;
}
