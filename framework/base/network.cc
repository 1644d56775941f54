#include "framework/base/network.h"

#include <string_view>

#include "framework/base/decimal.h"

namespace {

constexpr std::string_view UNIX_PREFIX = "unix:";

}  // namespace

std::string NetAddress::str() const {
  if (family == Family::UNIX) return std::string(UNIX_PREFIX) + path;
  return host.str() + ":" + std::to_string(port);
}

bool NetAddress::parse(const std::string& text, NetAddress& out) {
  if (text.starts_with(UNIX_PREFIX)) {
    out = unix_path(text.substr(UNIX_PREFIX.size()));
    return true;
  }
  const std::string_view view = text;
  const std::size_t colon = view.find(':');
  if (colon == std::string_view::npos) return false;
  IPv4 host;
  std::uint16_t port = 0;
  if (!IPv4::parse(view.substr(0, colon), host)) return false;
  if (!parse_plain_decimal(view.substr(colon + 1), port)) return false;
  out = tcp(host, port);
  return true;
}
