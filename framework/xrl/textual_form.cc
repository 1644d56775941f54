#include "framework/xrl/textual_form.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "framework/base/decimal.h"
#include "framework/base/hex.h"
#include "framework/xrl/limits.h"

namespace textual_form {

namespace {

constexpr std::string_view SCHEME = "finder://";
constexpr char HEX_DIGITS[] = "0123456789ABCDEF";

bool is_plain(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' ||
         c == '_' || c == '.' || c == '~' || c == '/';
}

void print_escaped(std::string& to, char c) {
  const auto byte = static_cast<unsigned char>(c);
  to.push_back('%');
  to.push_back(HEX_DIGITS[byte >> 4U]);
  to.push_back(HEX_DIGITS[byte & 15U]);
}

void print_text(std::string& to, std::string_view text) {
  for (const char c : text) {
    if (is_plain(c)) {
      to.push_back(c);
    } else {
      print_escaped(to, c);
    }
  }
}

std::string bare_value(const XrlAtom& atom) {
  switch (atom.type()) {
    case XrlAtomType::U32:
      return std::to_string(atom.uint32());
    case XrlAtomType::I32:
      return std::to_string(atom.int32());
    case XrlAtomType::U64:
      return std::to_string(atom.uint64());
    case XrlAtomType::I64:
      return std::to_string(atom.int64());
    case XrlAtomType::BOOLEAN:
      return atom.boolean() ? "true" : "false";
    case XrlAtomType::TEXT:
      return atom.text();
    case XrlAtomType::IPV4:
      return atom.ipv4().str();
    case XrlAtomType::IPV6:
      return atom.ipv6().str();
    case XrlAtomType::MAC:
      return atom.mac().str();
    case XrlAtomType::BINARY:
      return {atom.binary().begin(), atom.binary().end()};
    case XrlAtomType::LIST:
      return print_list(atom.list());
    case XrlAtomType::NONE:
      break;
  }
  return {};
}

void print_head(std::string& to, const XrlAtom& atom) {
  print_text(to, atom.name());
  to.push_back(':');
  to.append(xrl_atom_type_name(atom.type()));
  to.push_back('=');
}

// What is wrong with a text, and where within the part that is being parsed;
// each part that contains it adds where it begins itself.
struct Damage {
  std::string problem;
  std::size_t position;
};

[[noreturn]] void refuse(std::string problem, std::size_t position) {
  throw Damage{std::move(problem), position};
}

constexpr std::size_t LONGEST_QUOTE = 32;

// Runs `parse` on a part that begins at `offset`.
template <typename Parse>
auto within(std::size_t offset, Parse parse) {
  try {
    return parse();
  } catch (Damage& damage) {
    damage.position += offset;
    throw;
  }
}

// Calls `each(part, offset)` for the parts of `text` between separators; an
// empty text has none.
template <typename Each>
void split(std::string_view text, char separator, Each each) {
  if (text.empty()) return;
  for (std::size_t begin = 0;;) {
    const std::size_t end = std::min(text.find(separator, begin), text.size());
    each(text.substr(begin, end - begin), begin);
    if (end == text.size()) return;
    begin = end + 1;
  }
}

// Length in the text of the escaped or plain byte at `at`.
std::size_t unit_bytes(std::string_view text, std::size_t at) {
  return text[at] == '%' ? 3 : 1;
}

std::string parse_text(std::string_view text, std::size_t longest) {
  std::string bytes;
  for (std::size_t at = 0; at < text.size(); at += unit_bytes(text, at)) {
    if (bytes.size() == longest) {
      refuse("more than " + std::to_string(longest) + " bytes of text", at);
    }
    const char c = text[at];
    if (is_plain(c)) {
      bytes.push_back(c);
      continue;
    }
    if (c != '%') {
      refuse("a byte to be written " + escaped(text.substr(at, 1)), at);
    }
    const int high = at + 2 < text.size() ? hex_digit(text[at + 1]) : -1;
    const int low = at + 2 < text.size() ? hex_digit(text[at + 2]) : -1;
    if (high < 0 || low < 0) refuse("'%' without two hexadecimal digits", at);
    bytes.push_back(static_cast<char>(high * 16 + low));
  }
  return bytes;
}

// Where in `text` the byte `index` of what it decodes to is written.
std::size_t position_of(std::string_view text, std::size_t index) {
  std::size_t at = 0;
  for (; index != 0 && at < text.size(); --index) at += unit_bytes(text, at);
  return at;
}

[[noreturn]] void refuse_value(XrlAtomType type, std::string_view text) {
  refuse(quoted(text, LONGEST_QUOTE) + " is no " + std::string(xrl_atom_type_name(type)), 0);
}

template <typename Number>
Number parse_number(XrlAtomType type, std::string_view text) {
  Number value = 0;
  if (!parse_decimal(text, value)) refuse_value(type, text);
  return value;
}

bool parse_bool(std::string_view text) {
  if (text != "true" && text != "false") refuse_value(XrlAtomType::BOOLEAN, text);
  return text == "true";
}

// The longest text of an address, each byte escaped, is much shorter.
constexpr std::size_t LONGEST_ADDRESS = 64;

template <typename Address>
Address parse_address(XrlAtomType type, std::string_view text) {
  Address address;
  if (!Address::parse(parse_text(text, LONGEST_ADDRESS), address)) refuse_value(type, text);
  return address;
}

enum class Where { OUTSIDE_LISTS, IN_LIST };

XrlAtomList parse_elements(std::string_view text, std::size_t depth);

// The value of a list; within a list it is escaped as a whole.
XrlAtomList parse_list_value(std::string_view text, Where where, std::size_t depth) {
  if (where == Where::OUTSIDE_LISTS) return parse_elements(text, depth);
  if (depth > xrl_limits::MAX_LIST_DEPTH) {
    refuse("more than " + std::to_string(xrl_limits::MAX_LIST_DEPTH) + " lists in each other", 0);
  }
  const std::string elements = parse_text(text, text.size());
  try {
    return parse_elements(elements, depth);
  } catch (Damage& damage) {
    damage.position = position_of(text, damage.position);
    throw;
  }
}

XrlAtom parse_value(std::string name, XrlAtomType type, std::string_view text, Where where,
                    std::size_t depth) {
  switch (type) {
    case XrlAtomType::U32:
      return {std::move(name), parse_number<std::uint32_t>(type, text)};
    case XrlAtomType::I32:
      return {std::move(name), parse_number<std::int32_t>(type, text)};
    case XrlAtomType::U64:
      return {std::move(name), parse_number<std::uint64_t>(type, text)};
    case XrlAtomType::I64:
      return {std::move(name), parse_number<std::int64_t>(type, text)};
    case XrlAtomType::BOOLEAN:
      return {std::move(name), parse_bool(text)};
    case XrlAtomType::TEXT:
      return {std::move(name), parse_text(text, xrl_limits::MAX_TEXT_BYTES)};
    case XrlAtomType::IPV4:
      return {std::move(name), parse_address<IPv4>(type, text)};
    case XrlAtomType::IPV6:
      return {std::move(name), parse_address<IPv6>(type, text)};
    case XrlAtomType::MAC:
      return {std::move(name), parse_address<Mac>(type, text)};
    case XrlAtomType::BINARY: {
      const std::string bytes = parse_text(text, xrl_limits::MAX_TEXT_BYTES);
      return {std::move(name), XrlAtom::Binary(bytes.begin(), bytes.end())};
    }
    case XrlAtomType::LIST:
      return {std::move(name), parse_list_value(text, where, depth + 1)};
    case XrlAtomType::NONE:
      break;
  }
  return {};
}

// `depth` counts the lists around the atom.
XrlAtom parse_one(std::string_view text, Where where, std::size_t depth) {
  const std::size_t colon = text.find(':');
  if (colon == std::string_view::npos) refuse("no ':' after the name", text.size());
  const std::size_t equals = text.find('=', colon);
  if (equals == std::string_view::npos) refuse("no '=' after the type", text.size());

  std::string name = parse_text(text.substr(0, colon), xrl_limits::MAX_NAME_BYTES);
  const std::string_view type_name = text.substr(colon + 1, equals - colon - 1);
  const XrlAtomType type = xrl_atom_type_from_name(type_name);
  if (type == XrlAtomType::NONE)
    refuse(quoted(type_name, LONGEST_QUOTE) + " is no type", colon + 1);
  return within(equals + 1, [&] {
    return parse_value(std::move(name), type, text.substr(equals + 1), where, depth);
  });
}

XrlAtomList parse_elements(std::string_view text, std::size_t depth) {
  XrlAtomList list;
  split(text, ',', [&](std::string_view part, std::size_t begin) {
    if (list.size() == xrl_limits::MAX_LIST_ELEMENTS) {
      refuse("more than " + std::to_string(xrl_limits::MAX_LIST_ELEMENTS) + " elements", begin);
    }
    within(begin, [&] { list.append(parse_one(part, Where::IN_LIST, depth)); });
  });
  return list;
}

XrlArgs parse_atoms(std::string_view text) {
  XrlArgs args;
  split(text, '&', [&](std::string_view part, std::size_t begin) {
    if (args.size() == xrl_limits::MAX_ARGUMENTS) {
      refuse("more than " + std::to_string(xrl_limits::MAX_ARGUMENTS) + " arguments", begin);
    }
    within(begin, [&] { args.add(parse_one(part, Where::OUTSIDE_LISTS, 0)); });
  });
  return args;
}

// True for three parts, none empty.
bool is_method(std::string_view text) {
  std::size_t parts = 0;
  bool empty_part = false;
  split(text, '/', [&](std::string_view part, std::size_t /*begin*/) {
    ++parts;
    empty_part = empty_part || part.empty();
  });
  return parts == 3 && !empty_part;
}

Xrl parse_whole(std::string_view text) {
  if (!text.starts_with(SCHEME)) refuse("no '" + std::string(SCHEME) + "' in front", 0);
  const std::size_t slash = text.find('/', SCHEME.size());
  const std::size_t question = std::min(text.find('?'), text.size());
  if (slash >= question) refuse("no '/' after the target", question);
  if (slash == SCHEME.size()) refuse("no target", slash);

  Xrl request;
  request.target = within(SCHEME.size(), [&] {
    const std::string_view target = text.substr(SCHEME.size(), slash - SCHEME.size());
    return parse_text(target, xrl_limits::MAX_NAME_BYTES);
  });
  request.method = within(slash + 1, [&] {
    const std::string_view method = text.substr(slash + 1, question - slash - 1);
    std::string decoded = parse_text(method, method.size());
    if (!is_method(decoded))
      refuse(quoted(method, LONGEST_QUOTE) + " is no INTERFACE/VERSION/METHOD", 0);
    return decoded;
  });
  if (question == text.size()) return request;
  request.args = within(question + 1, [&] { return parse_atoms(text.substr(question + 1)); });
  return request;
}

// The outermost: what callers see of Damage.
template <typename Parse>
auto parse_outermost(Parse parse) {
  try {
    return parse();
  } catch (const Damage& damage) {
    throw XrlParseError(damage.problem, damage.position);
  }
}

}  // namespace

std::string escaped(std::string_view text) {
  std::string printed;
  print_text(printed, text);
  return printed;
}

std::string quoted(std::string_view text, std::size_t longest) {
  return "'" + escaped(text.substr(0, longest)) + (text.size() > longest ? "...'" : "'");
}

std::string print_atom(const XrlAtom& atom) {
  std::string text;
  print_head(text, atom);
  const std::string value = bare_value(atom);
  return text + (atom.type() == XrlAtomType::LIST ? value : escaped(value));
}

std::string print_list(const XrlAtomList& list) {
  std::string text;
  for (const XrlAtom& atom : list.atoms()) {
    if (!text.empty()) text.push_back(',');
    print_head(text, atom);
    print_text(text, bare_value(atom));
  }
  return text;
}

std::string print_args(const XrlArgs& args) {
  std::string text;
  for (const XrlAtom& atom : args) {
    if (!text.empty()) text.push_back('&');
    text += print_atom(atom);
  }
  return text;
}

std::string print_request(const Xrl& request) {
  std::string text(SCHEME);
  for (const char c : request.target) {
    if (is_plain(c) && c != '/') {
      text.push_back(c);
    } else {
      print_escaped(text, c);
    }
  }
  text.push_back('/');
  print_text(text, request.method);
  if (request.args.empty()) return text;
  text.push_back('?');
  return text + print_args(request.args);
}

XrlAtom parse_atom(std::string_view text) {
  return parse_outermost([&] { return parse_one(text, Where::OUTSIDE_LISTS, 0); });
}

XrlAtomList parse_list(std::string_view text) {
  return parse_outermost([&] { return parse_elements(text, 1); });
}

XrlArgs parse_args(std::string_view text) {
  return parse_outermost([&] { return parse_atoms(text); });
}

Xrl parse_request(std::string_view text) {
  return parse_outermost([&] { return parse_whole(text); });
}

}  // namespace textual_form
