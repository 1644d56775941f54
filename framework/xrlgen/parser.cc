#include "framework/xrlgen/parser.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <utility>

#include "framework/xrlgen/lexer.h"

namespace xrlgen {
namespace {

constexpr std::uint32_t MAX_VERSION_NUMBER = 65535;

struct MethodKindName {
  std::string_view text;
  MethodKind kind;
};

constexpr std::array METHOD_KINDS{
    MethodKindName{"read", MethodKind::READ},
    MethodKindName{"change", MethodKind::CHANGE},
    MethodKindName{"control", MethodKind::CONTROL},
    MethodKindName{"admin", MethodKind::ADMIN},
};

bool is_number(const Token& token) {
  return token.kind == Token::Kind::WORD &&
         std::all_of(token.text.begin(), token.text.end(),
                     [](unsigned char c) { return std::isdigit(c) != 0; });
}

class Parser {
 public:
  Parser(const std::string& file, std::string_view text)
      : _file(file), _tokens(tokenize(file, text)) {}

  Interface interface() {
    Interface result;
    result.file = _file;
    result.comment = current().comment;
    expect("interface", "");
    result.name = interface_name();
    expect("{", "after interface '" + result.name.str() + "'");
    while (!take("}")) result.methods.push_back(method());
    expect_end("interface");
    return result;
  }

  Target target() {
    Target result;
    result.file = _file;
    result.comment = current().comment;
    expect("target", "");
    result.name = name("a target name");
    expect("{", "after target '" + result.name.text + "'");
    while (!take("}")) {
      expect("implements", "or '}'");
      result.implements.push_back(interface_name());
      expect(";", "after '" + result.implements.back().str() + "'");
    }
    expect_end("target");
    return result;
  }

 private:
  [[nodiscard]] const Token& current() const { return _tokens[_next]; }

  // Not to be called at the last token, END.
  const Token& step() { return _tokens[_next++]; }

  [[noreturn]] void fail(Location at, const std::string& problem) const {
    throw SourceError(_file, at, problem);
  }
  [[noreturn]] void fail_expecting(const std::string& expected) const {
    fail(current().at, "expected " + expected + ", found " + current().str());
  }

  bool take(std::string_view text) {
    if (current().kind == Token::Kind::END || current().text != text) return false;
    step();
    return true;
  }

  void expect(const std::string& text, const std::string& where) {
    if (!take(text)) fail_expecting("'" + text + "'" + (where.empty() ? "" : " " + where));
  }

  void expect_end(const std::string& kind) {
    if (current().kind != Token::Kind::END) fail_expecting("end of file (one " + kind + " a file)");
  }

  Name name(const std::string& expected) {
    if (current().kind != Token::Kind::WORD) fail_expecting(expected);
    const Token& token = step();
    return {token.text, token.at};
  }

  InterfaceName interface_name() {
    InterfaceName result;
    result.name = name("an interface name");
    expect("/", "and a version after '" + result.name.text + "'");
    result.major = version_number("a major version number");
    expect(".", "and a minor version number");
    result.minor = version_number("a minor version number");
    return result;
  }

  std::uint32_t version_number(const std::string& expected) {
    if (!is_number(current())) fail_expecting(expected);
    const Token& token = step();
    if (token.text.size() > 1 && token.text.front() == '0')
      fail(token.at, "version number '" + token.text + "' begins with a zero");
    std::uint32_t value = 0;
    for (const char digit : token.text) {
      value = value * 10 + static_cast<std::uint32_t>(digit - '0');
      if (value > MAX_VERSION_NUMBER)
        fail(token.at, "version number '" + token.text + "' is larger than " +
                           std::to_string(MAX_VERSION_NUMBER));
    }
    return value;
  }

  Method method() {
    Method result;
    result.comment = current().comment;
    result.kind = method_kind();
    result.name = name("a method name");
    if (take("?")) result.arguments = values("an argument name");
    if (take("->")) result.results = values("a result name");
    expect(";", "after method '" + result.name.text + "'");
    return result;
  }

  // A method may be called like a kind: the kind stands first.
  MethodKind method_kind() {
    for (const MethodKindName& known : METHOD_KINDS) {
      if (take(known.text)) return known.kind;
    }
    fail_expecting("'read', 'change', 'control', 'admin' or '}'");
  }

  std::vector<Value> values(const std::string& expected) {
    std::vector<Value> result;
    do {
      result.push_back(value(expected));
    } while (take("&"));
    return result;
  }

  Value value(const std::string& expected) {
    Value result;
    result.name = name(expected);
    expect(":", "and a type after '" + result.name.text + "'");
    result.type = type();
    if (result.type->name == LIST_TYPE_NAME && take("<")) {
      result.element = type();
      expect(">", "after '" + std::string(LIST_TYPE_NAME) + "<" +
                      std::string(result.element->name) + "'");
    }
    return result;
  }

  const Type* type() {
    const Name word = name("a type");
    const Type* found = find_type(word.text);
    if (found == nullptr)
      fail(word.at, "unknown type '" + word.text + "', none of " + std::string(TYPE_NAMES));
    return found;
  }

  const std::string& _file;
  std::vector<Token> _tokens;
  std::size_t _next = 0;
};

}  // namespace

Interface parse_interface(const std::string& file, std::string_view text) {
  return Parser(file, text).interface();
}

Target parse_target(const std::string& file, std::string_view text) {
  return Parser(file, text).target();
}

}  // namespace xrlgen
