// IPv4, IPv6 and MAC addresses: plain values that parse and print themselves.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

class IPv4 {
 public:
  // 0.0.0.0
  constexpr IPv4() = default;
  // `host_order`: 0x7f000001 is 127.0.0.1.
  explicit constexpr IPv4(std::uint32_t host_order) : _addr(host_order) {}

  static constexpr IPv4 loopback() { return IPv4(0x7f000001U); }

  [[nodiscard]] constexpr std::uint32_t host_order() const { return _addr; }
  // True for 127.0.0.0/8.
  [[nodiscard]] constexpr bool is_loopback() const { return (_addr >> 24U) == 127U; }
  // Dotted decimal.
  [[nodiscard]] std::string str() const;
  // Four decimal numbers 0..255 without leading zeros; answers false and
  // leaves `out` alone for anything else.
  [[nodiscard]] static bool parse(std::string_view text, IPv4& out);

  auto operator<=>(const IPv4&) const = default;

 private:
  std::uint32_t _addr = 0;
};

struct IPv6 {
  std::array<std::uint8_t, 16> bytes{};  // network order
  // RFC 5952 text.
  [[nodiscard]] std::string str() const;
  // Any RFC 4291 text form, without zone; answers false and leaves `out` alone for
  // anything else.
  [[nodiscard]] static bool parse(std::string_view text, IPv6& out);
  auto operator<=>(const IPv6&) const = default;
};

struct Mac {
  std::array<std::uint8_t, 6> bytes{};
  // Lower-case hexadecimal pairs joined by colons.
  [[nodiscard]] std::string str() const;
  // Six pairs of hexadecimal digits joined by colons; answers false and leaves `out`
  // alone for anything else.
  [[nodiscard]] static bool parse(std::string_view text, Mac& out);
  auto operator<=>(const Mac&) const = default;
};
