// What hostile peers say: valid messages, and the pieces to spoil them with.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "framework/xrl/xrl_args.h"

namespace hostile_bytes {

// Big-endian.
[[nodiscard]] std::string u32(std::uint32_t value);

// A frame of that kind, its length in front.
[[nodiscard]] std::string frame(std::uint8_t kind, std::string_view body);
[[nodiscard]] std::string hello(std::string_view instance, std::string_view cookie = {});
// The method has its well-known key.
[[nodiscard]] std::string request(std::uint32_t sequence, std::string_view method,
                                  std::string_view args = {});
[[nodiscard]] std::string request_with_key(std::uint32_t sequence, std::string_view key,
                                           std::string_view args = {});
[[nodiscard]] std::string reply(std::uint32_t sequence, std::uint32_t code,
                                std::string_view rest = {});

// In wire form.
[[nodiscard]] std::string args(const XrlArgs& args);
// Of the textual form, e.g. "text:txt=hello".
[[nodiscard]] std::string args(const std::string& text);
// One argument that is a list within a list within ... so many lists; the
// codec itself does not write more than it reads.
[[nodiscard]] std::string nested_lists(std::string_view name, std::size_t depth);

// The whole frames at the front of a stream, without their lengths.
[[nodiscard]] std::vector<std::string> frames_of(std::string_view stream);

// What a frame says, to compare with: "hello INSTANCE", "request N", "reply N
// CODE TEXT", where TEXT is the error's or the results in textual form.
[[nodiscard]] std::string told(std::string_view frame);
[[nodiscard]] std::vector<std::string> told(const std::vector<std::string>& frames);

}  // namespace hostile_bytes
