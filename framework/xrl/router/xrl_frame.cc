#include "framework/xrl/router/xrl_frame.h"

#include <algorithm>

namespace xrl_frame {
namespace {

// Of the body of a hello: the magic, the version, and then the texts.
constexpr std::size_t VERSION_AT = 4;
constexpr std::size_t HELLO_FIXED_BYTES = VERSION_AT + 2;

void append_short_text(ByteBuffer& out, std::string_view text) {
  text = text.substr(0, MAX_HELLO_TEXT);
  const auto length = static_cast<std::uint8_t>(text.size());
  out.append(&length, 1);
  out.append(text.data(), text.size());
}

// Takes a text of u8 length off the front of `bytes`.
bool take_short_text(std::span<const std::uint8_t>& bytes, std::string& text) {
  if (bytes.empty() || bytes.size() - 1 < bytes[0]) return false;
  text.assign(reinterpret_cast<const char*>(bytes.data() + 1), bytes[0]);
  bytes = bytes.subspan(1U + bytes[0]);
  return true;
}

}  // namespace

void append_hello(ByteBuffer& out, const Hello& hello) {
  const std::size_t start = out.size();
  std::uint8_t head[BODY_AT + HELLO_FIXED_BYTES];
  head[KIND_AT] = static_cast<std::uint8_t>(Kind::HELLO);
  store_u32(head + BODY_AT, MAGIC);
  store_u16(head + BODY_AT + VERSION_AT, VERSION);
  out.append(head, sizeof head);
  append_short_text(out, hello.instance);
  append_short_text(out, hello.cookie);
  store_u32(out.data() + start, static_cast<std::uint32_t>(out.size() - start - LENGTH_BYTES));
}

std::string parse_hello(std::span<const std::uint8_t> body, Hello& hello) {
  if (body.size() < HELLO_FIXED_BYTES || load_u32(body.data()) != MAGIC) return "not an XRL peer";
  const std::uint16_t version = load_u16(body.data() + VERSION_AT);
  if (version != VERSION) return "unknown wire version " + std::to_string(version);
  body = body.subspan(HELLO_FIXED_BYTES);
  if (!take_short_text(body, hello.instance) || !take_short_text(body, hello.cookie) ||
      !body.empty()) {
    return "damaged handshake";
  }
  return {};
}

void append_error_reply(ByteBuffer& out, std::uint32_t sequence, const XrlError& error) {
  const std::size_t start = begin_reply(out);
  out.append(error.note().data(), error.note().size());
  end_reply(out, start, sequence, error.code());
}

}  // namespace xrl_frame
