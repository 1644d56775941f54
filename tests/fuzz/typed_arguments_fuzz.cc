// Any bytes as the arguments of a method are taken by its generated code exactly when
// they are well-formed and what the method asks for, in any order; every value that a
// handler gets lies within them.
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "framework/xrl/xrl_args.h"
#include "framework/xrl/xrl_args_codec.h"
#include "framework/xrl/xrl_cmd_map.h"
#include "tests/fuzz/fuzz_check.h"
#include "tests/fuzz/interfaces/typed_tgt.h"

namespace {

using Bytes = std::span<const std::uint8_t>;

// Looks at every byte of what it is given.
class Target final : public XrlTypedTargetBase {
 public:
  using XrlTypedTargetBase::XrlTypedTargetBase;

  [[nodiscard]] std::uint64_t sum() const { return _sum; }

  XrlCmdError typed_0_1_take_u32(std::uint32_t a) override { return take(a); }
  XrlCmdError typed_0_1_take_i32(std::int32_t a) override { return take(a); }
  XrlCmdError typed_0_1_take_u64(std::uint64_t a) override { return take(a); }
  XrlCmdError typed_0_1_take_i64(std::int64_t a) override { return take(a); }
  XrlCmdError typed_0_1_take_bool(bool a) override { return take(a); }
  XrlCmdError typed_0_1_take_txt(std::string_view a) override { return take(a); }
  XrlCmdError typed_0_1_take_ipv4(IPv4 a) override { return take(a); }
  XrlCmdError typed_0_1_take_ipv6(const IPv6& a) override { return take(a); }
  XrlCmdError typed_0_1_take_mac(const Mac& a) override { return take(a); }
  XrlCmdError typed_0_1_take_binary(Bytes a) override { return take(a); }
  XrlCmdError typed_0_1_take_list(const XrlAtomList& a) override { return take(a); }
  XrlCmdError typed_0_1_take_numbers(const XrlAtomList& a) override { return take(a); }
  XrlCmdError typed_0_1_take_texts(const XrlAtomList& a) override { return take(a); }
  XrlCmdError typed_0_1_take_several(std::string_view a, const XrlAtomList& b, const XrlAtomList& c,
                                     bool d, const Mac& e, std::uint64_t f) override {
    look(a), look(b), look(c), look(d), look(e), look(f);
    return XrlCmdError::OKAY();
  }

 private:
  template <typename T>
  XrlCmdError take(const T& value) {
    look(value);
    return XrlCmdError::OKAY();
  }
  template <typename T>
  requires std::is_arithmetic_v<T>
  void look(T value) { _sum += static_cast<std::uint64_t>(value); }
  template <typename Range>
  void look_at_each(const Range& bytes) {
    for (const auto byte : bytes) look(byte);
  }
  void look(std::string_view text) { look_at_each(text); }
  void look(Bytes bytes) { look_at_each(bytes); }
  void look(IPv4 address) { look(address.host_order()); }
  void look(const IPv6& address) { look_at_each(address.bytes); }
  void look(const Mac& address) { look_at_each(address.bytes); }
  void look(const XrlAtomList& list) {
    if (list.holds_only(XrlAtomType::U32)) return look_at_each(list.u32s());
    if (list.holds_only(XrlAtomType::TEXT)) {
      for (const std::string_view text : list.texts()) look(text);
      return;
    }
    for (const XrlAtom& element : list.atoms()) look(element.str());
  }

  std::uint64_t _sum = 0;
};

struct Argument {
  const char* name;
  XrlAtomType type;
  XrlAtomType element = XrlAtomType::NONE;
};

struct Method {
  const char* name;
  std::vector<Argument> arguments;
};

const std::vector<Method>& methods() {
  using enum XrlAtomType;
  static const std::vector<Method> all = {
      {"take_u32", {{"a", U32}}},
      {"take_i32", {{"a", I32}}},
      {"take_u64", {{"a", U64}}},
      {"take_i64", {{"a", I64}}},
      {"take_bool", {{"a", BOOLEAN}}},
      {"take_txt", {{"a", TEXT}}},
      {"take_ipv4", {{"a", IPV4}}},
      {"take_ipv6", {{"a", IPV6}}},
      {"take_mac", {{"a", MAC}}},
      {"take_binary", {{"a", BINARY}}},
      {"take_list", {{"a", LIST}}},
      {"take_numbers", {{"a", LIST, U32}}},
      {"take_texts", {{"a", LIST, TEXT}}},
      {"take_several",
       {{"a", TEXT}, {"b", LIST}, {"c", LIST, U32}, {"d", BOOLEAN}, {"e", MAC}, {"f", U64}}},
  };
  return all;
}

// What the generated code is to say, found out without it.
bool is_asked_for(const Method& method, Bytes input) {
  XrlArgs args;
  if (!XrlArgsReader(input).all(args) || args.size() != method.arguments.size()) return false;
  for (const Argument& argument : method.arguments) {
    const XrlAtom* const atom = args.find(argument.name);
    if (atom == nullptr || atom->type() != argument.type) return false;
    if (argument.element != XrlAtomType::NONE && !atom->list().holds_only(argument.element))
      return false;
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 1) return 0;
  static XrlCmdMap commands("typed");
  static Target target(&commands);
  const Method& method = methods()[data[0] % methods().size()];
  const Bytes input(data + 1, size - 1);

  XrlArgsReader in(input);
  ByteBuffer answers;
  XrlArgsWriter out(answers);
  const XrlCmdMap::Command* const command = commands.find(std::string("typed/0.1/") + method.name);
  const XrlCmdError answer = command->handler(command->target, in, out);
  FUZZ_CHECK(answer.is_okay() == is_asked_for(method, input));
  FUZZ_CHECK(answer.is_okay() || answer.error().code() == XrlErrorCode::BAD_ARGS);
  FUZZ_CHECK(answer.is_okay() || !answer.note().empty());
  return 0;
}
