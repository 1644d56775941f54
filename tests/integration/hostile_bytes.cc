#include "tests/integration/hostile_bytes.h"

#include <algorithm>

#include "framework/xrl/router/xrl_frame.h"
#include "framework/xrl/xrl_args_codec.h"

namespace hostile_bytes {
namespace {

std::span<const std::uint8_t> bytes_of(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

std::string text_of(std::span<const std::uint8_t> bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

}  // namespace

std::string u32(std::uint32_t value) {
  std::string bytes(4, '\0');
  store_u32(bytes.data(), value);
  return bytes;
}

std::string frame(std::uint8_t kind, std::string_view body) {
  std::string bytes = u32(static_cast<std::uint32_t>(1 + body.size()));
  bytes += static_cast<char>(kind);
  bytes += body;
  return bytes;
}

std::string hello(std::string_view instance, std::string_view cookie) {
  ByteBuffer buffer;
  xrl_frame::append_hello(buffer, {std::string(instance), std::string(cookie)});
  return text_of(buffer.bytes());
}

std::string request(std::uint32_t sequence, std::string_view method, std::string_view args) {
  ByteBuffer buffer;
  xrl_frame::append_request(buffer, sequence, well_known_xrl_key(method), bytes_of(args));
  return text_of(buffer.bytes());
}

std::string request_with_key(std::uint32_t sequence, std::string_view key, std::string_view args) {
  return frame(2, u32(sequence) + std::string(key) + std::string(args));
}

std::string reply(std::uint32_t sequence, std::uint32_t code, std::string_view rest) {
  return frame(3, u32(sequence) + u32(code) + std::string(rest));
}

std::string args(const XrlArgs& args) {
  ByteBuffer buffer;
  XrlArgsWriter writer(buffer);
  for (const XrlAtom& atom : args) writer.atom(atom);
  return text_of(buffer.bytes());
}

std::string args(const std::string& text) {
  return args(XrlArgs::parse(text));
}

std::string nested_lists(std::string_view name, std::size_t depth) {
  constexpr char LIST = 11;
  constexpr std::size_t HEAD = 9;
  std::string bytes = std::string(1, LIST) + static_cast<char>(name.size()) + std::string(name);
  for (std::size_t inner = depth - 1; inner > 0; --inner) {
    bytes += LIST + u32(1) + u32(static_cast<std::uint32_t>(HEAD * inner));
  }
  return bytes + '\0' + u32(0) + u32(0);
}

std::vector<std::string> frames_of(std::string_view stream) {
  std::vector<std::string> frames;
  while (stream.size() >= 4) {
    const std::uint32_t length = load_u32(stream.data());
    if (stream.size() - 4 < length) break;
    frames.emplace_back(stream.substr(4, length));
    stream.remove_prefix(4 + std::size_t{length});
  }
  return frames;
}

std::string told(std::string_view frame) {
  if (frame.empty()) return "nothing";
  const auto body = bytes_of(frame.substr(1));
  xrl_frame::Hello hello;
  xrl_frame::Request request{};
  xrl_frame::Reply reply{};
  if (frame[0] == 1 && xrl_frame::parse_hello(body, hello).empty()) {
    return "hello " + hello.instance;
  }
  if (frame[0] == 2 && xrl_frame::parse_request(body, request)) {
    return "request " + std::to_string(request.sequence);
  }
  if (frame[0] != 3 || !xrl_frame::parse_reply(body, reply)) return "damage";
  std::string text = text_of(reply.rest);
  if (reply.code == static_cast<std::uint32_t>(XrlErrorCode::OKAY)) {
    XrlArgs results;
    text = XrlArgsReader(reply.rest).all(results) ? results.str() : "damage";
  }
  return "reply " + std::to_string(reply.sequence) + " " + std::to_string(reply.code) + " " + text;
}

std::vector<std::string> told(const std::vector<std::string>& frames) {
  std::vector<std::string> all;
  for (const std::string& frame : frames) all.push_back(told(frame));
  return all;
}

}  // namespace hostile_bytes
