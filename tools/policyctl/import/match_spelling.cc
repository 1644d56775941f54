#include "tools/policyctl/import/match_spelling.h"

#include <charconv>
#include <set>
#include <utility>

#include "common/match_values.h"

namespace {

constexpr std::uint32_t LAST_U16 = 0xffff;

// A number as the field writes it; as it is when it is none.
std::string decimal(std::string_view text) {
  const std::optional<std::uint32_t> number = foreign_number(text);
  return number ? std::to_string(*number) : std::string(text);
}

std::string hex(std::string_view text) {
  const std::optional<std::uint32_t> number = foreign_number(text);
  return number && *number <= LAST_U16 ? match_hex(*number) : std::string(text);
}

std::string range(std::string_view text) {
  std::size_t at = text.find("..");
  const std::size_t width = at == std::string_view::npos ? 1 : 2;
  if (width == 1) at = text.find('-');
  if (at == std::string_view::npos) return decimal(text);
  const std::string low = decimal(text.substr(0, at));
  const std::string high = decimal(text.substr(at + width));
  return low == high ? low : low + "-" + high;
}

std::string bits(std::string_view text) {
  const std::size_t at = text.find('/');
  if (at == std::string_view::npos) return std::string(text);
  return hex(text.substr(0, at)) + "/" + hex(text.substr(at + 1));
}

template <typename Address>
std::string prefix(std::string_view text, std::uint32_t longest) {
  const std::size_t at = text.find('/');
  const std::string_view length_text = at == std::string_view::npos ? "" : text.substr(at + 1);
  const std::optional<std::uint32_t> length =
      at == std::string_view::npos ? longest : foreign_number(length_text);
  Address address;
  if (!Address::parse(text.substr(0, at), address) || !length || *length > longest) {
    return std::string(text);
  }
  return network_of(address, *length).str() + "/" + std::to_string(*length);
}

std::string mac(std::string_view text) {
  Mac address;
  return Mac::parse(text, address) ? address.str() : std::string(text);
}

std::string interfaces(std::string_view text) {
  std::set<std::string_view> names;
  for (const std::string_view name : split_list(text)) names.insert(name);
  std::string joined;
  for (const std::string_view name : names) {
    if (!joined.empty()) joined += ',';
    joined += name;
  }
  return joined;
}

std::string spelled(const MatchField& field, std::string_view text) {
  constexpr std::uint32_t IPV4_BITS = 32;
  constexpr std::uint32_t IPV6_BITS = 128;
  switch (field.syntax) {
    case MatchSyntax::MAC:
      return mac(text);
    case MatchSyntax::IPV4_PREFIX:
      return prefix<IPv4>(text, IPV4_BITS);
    case MatchSyntax::IPV6_PREFIX:
      return prefix<IPv6>(text, IPV6_BITS);
    case MatchSyntax::NUMBER:
      return decimal(text);
    case MatchSyntax::RANGE:
      return range(text);
    case MatchSyntax::HEX:
      return hex(text);
    case MatchSyntax::BITS:
      return bits(text);
    case MatchSyntax::INTERFACES:
      return interfaces(text);
    case MatchSyntax::WORD:
    case MatchSyntax::NAME:
      break;
  }
  return std::string(text);
}

}  // namespace

std::optional<std::uint32_t> foreign_number(std::string_view text) {
  int base = 10;
  if (text.starts_with("0x") || text.starts_with("0X")) {
    base = 16;
    text.remove_prefix(2);
  }
  std::uint32_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [last, problem] = std::from_chars(text.data(), end, number, base);
  if (problem != std::errc() || last != end) return std::nullopt;
  return number;
}

MatchSpelling spell_match(const MatchField& field, std::string_view text) {
  MatchSpelling spelling{spelled(field, text), {}};
  spelling.problem = match_value_problem(field, spelling.text);
  return spelling;
}
