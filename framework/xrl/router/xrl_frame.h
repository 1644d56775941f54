// Frames: how requests and replies lie on a stream. docs/wire-format.md has
// the whole layout with a worked message.
//
//   every frame   u32 length of what follows, u8 kind
//   HELLO         u32 magic "XRLW", u16 version, then two texts of u8 length:
//                 instance name of the sender, cookie
//   REQUEST       u32 sequence number, 16 bytes key, arguments
//   REPLY         u32 sequence number, u32 code, then the results (code 100)
//                 or the text of the error
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "framework/xrl/byte_buffer.h"
#include "framework/xrl/byte_order.h"
#include "framework/xrl/limits.h"
#include "framework/xrl/xrl_error.h"
#include "framework/xrl/xrl_key.h"

namespace xrl_frame {

enum class Kind : std::uint8_t { HELLO = 1, REQUEST = 2, REPLY = 3 };

inline constexpr std::uint32_t MAGIC = 0x58524c57;  // "XRLW"
inline constexpr std::uint16_t VERSION = 1;

inline constexpr std::size_t LENGTH_BYTES = 4;
// Where the fields of a frame lie.
inline constexpr std::size_t KIND_AT = LENGTH_BYTES;
inline constexpr std::size_t BODY_AT = KIND_AT + 1;
inline constexpr std::size_t SEQUENCE_BYTES = 4;
inline constexpr std::size_t KEY_AT = BODY_AT + SEQUENCE_BYTES;
inline constexpr std::size_t CODE_AT = BODY_AT + SEQUENCE_BYTES;
inline constexpr std::size_t REQUEST_HEAD = KEY_AT + sizeof(XrlKey);
inline constexpr std::size_t REPLY_HEAD = CODE_AT + 4;
inline constexpr std::size_t MAX_HELLO_TEXT = 255;

struct Hello {
  std::string instance;
  std::string cookie;
};

// What a reader makes of the bytes after the length field. Views point into
// those bytes.
struct Request {
  std::uint32_t sequence = 0;
  const std::uint8_t* key = nullptr;  // 16 bytes
  std::span<const std::uint8_t> args;
};
struct Reply {
  std::uint32_t sequence = 0;
  std::uint32_t code = 0;
  std::span<const std::uint8_t> rest;
};

void append_hello(ByteBuffer& out, const Hello& hello);
// Answers what is wrong with it, or an empty text. `body` is what follows the
// kind.
[[nodiscard]] std::string parse_hello(std::span<const std::uint8_t> body, Hello& hello);

// False when the body is too short to be one.
[[nodiscard]] inline bool parse_request(std::span<const std::uint8_t> body, Request& request) {
  if (body.size() < REQUEST_HEAD - BODY_AT) return false;
  request = {load_u32(body.data()), body.data() + (KEY_AT - BODY_AT),
             body.subspan(REQUEST_HEAD - BODY_AT)};
  return true;
}
[[nodiscard]] inline bool parse_reply(std::span<const std::uint8_t> body, Reply& reply) {
  if (body.size() < REPLY_HEAD - BODY_AT) return false;
  reply = {load_u32(body.data()), load_u32(body.data() + (CODE_AT - BODY_AT)),
           body.subspan(REPLY_HEAD - BODY_AT)};
  return true;
}

// Whether a request with so many bytes of arguments is no longer than a frame
// may be.
[[nodiscard]] inline bool fits_request(std::size_t args) {
  return args <= xrl_limits::MAX_FRAME_BYTES - (REQUEST_HEAD - LENGTH_BYTES);
}

// Only what fits.
inline void append_request(ByteBuffer& out, std::uint32_t sequence, const XrlKey& key,
                           std::span<const std::uint8_t> args) {
  const std::size_t size = REQUEST_HEAD + args.size();
  std::uint8_t* at = out.reserve(size);
  store_u32(at, static_cast<std::uint32_t>(size - LENGTH_BYTES));
  at[KIND_AT] = static_cast<std::uint8_t>(Kind::REQUEST);
  store_u32(at + BODY_AT, sequence);
  std::memcpy(at + KEY_AT, key.data(), key.size());
  if (!args.empty()) std::memcpy(at + REQUEST_HEAD, args.data(), args.size());
  out.commit(size);
}

// A reply in two steps: the results are written behind the head that
// begin_reply() left room for. `start` is the buffer's size before.
inline std::size_t begin_reply(ByteBuffer& out) {
  const std::size_t start = out.size();
  static_cast<void>(out.reserve(REPLY_HEAD));
  out.commit(REPLY_HEAD);
  return start;
}
inline void end_reply(ByteBuffer& out, std::size_t start, std::uint32_t sequence,
                      XrlErrorCode code) {
  std::uint8_t* at = out.data() + start;
  store_u32(at, static_cast<std::uint32_t>(out.size() - start - LENGTH_BYTES));
  at[KIND_AT] = static_cast<std::uint8_t>(Kind::REPLY);
  store_u32(at + BODY_AT, sequence);
  store_u32(at + CODE_AT, static_cast<std::uint32_t>(code));
}
void append_error_reply(ByteBuffer& out, std::uint32_t sequence, const XrlError& error);

}  // namespace xrl_frame
