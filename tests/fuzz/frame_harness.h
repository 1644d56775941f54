// What a stream of frames is to be answered, and a listener that it is said to.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "framework/xrl/limits.h"
#include "framework/xrl/router/xrl_frame.h"
#include "framework/xrl/well_known_cmd_map.h"
#include "framework/xrl/xrl_args.h"
#include "tests/fuzz/fuzz_check.h"
#include "tests/fuzz/wire_harness.h"
#include "tests/support/interfaces/echo_tgt.h"

namespace frame_fuzz {

using Bytes = std::span<const std::uint8_t>;

class Target final : public XrlEchoTargetBase {
 public:
  // The longest text that it fills is shorter than that.
  Target(XrlCmdMap* commands, std::uint32_t fills_below)
      : XrlEchoTargetBase(commands), _fills_below(fills_below) {}
  XrlCmdError echo_0_1_say(std::string_view text, std::string& said) override {
    said = text;
    return XrlCmdError::OKAY();
  }
  XrlCmdError echo_0_1_sum(const XrlAtomList& numbers, std::uint64_t& sum) override {
    for (const std::uint32_t number : numbers.u32s()) sum += number;
    return XrlCmdError::OKAY();
  }
  XrlCmdError echo_0_1_refuse(std::string_view text) override {
    return XrlCmdError::COMMAND_FAILED(std::string(text));
  }
  XrlCmdError echo_0_1_fill(std::uint32_t bytes, std::string& text) override {
    text.assign(bytes % _fills_below, 'x');
    return XrlCmdError::OKAY();
  }

 private:
  std::uint32_t _fills_below;
};

inline std::uint32_t number_at(Bytes bytes, std::size_t at) {
  std::uint32_t number = 0;
  for (std::size_t i = 0; i < 4; ++i) number = number << 8U | bytes[at + i];
  return number;
}

// What the page about the wire format says of a stream, in its plainest form.
struct Expected {
  std::vector<std::uint32_t> requests;
  bool damaged = false;
};

inline Expected expected_of(Bytes stream) {
  Expected expected;
  while (stream.size() >= 4) {
    const std::uint32_t length = number_at(stream, 0);
    const bool may_be_reply = stream.size() == 4 || stream[4] == 3;
    if (length == 0 || length > (may_be_reply ? 24U << 20U : 16U << 20U)) {
      expected.damaged = true;
      return expected;
    }
    if (stream.size() - 4 < length) return expected;
    const Bytes frame = stream.subspan(4, length);
    if (frame[0] == 2 && frame.size() >= 21) {
      expected.requests.push_back(number_at(frame, 1));
    } else if (frame[0] != 3 || frame.size() < 9) {
      expected.damaged = true;
      return expected;
    }
    stream = stream.subspan(4 + std::size_t{length});
  }
  return expected;
}

inline void check_reply(Bytes frame, std::uint32_t sequence) {
  FUZZ_CHECK(frame.size() >= 9 && frame[0] == 3);
  FUZZ_CHECK(number_at(frame, 1) == sequence);
  const std::uint32_t code = number_at(frame, 5);
  FUZZ_CHECK(code == 100 || code == 101 || code == 102 || code == 202);
  XrlArgs results;
  if (code == 100) FUZZ_CHECK(XrlArgsReader(frame.subspan(9)).all(results));
  if (code == 101) FUZZ_CHECK(frame.size() > 9);
}

inline void check_replies(const std::string& heard, const std::vector<std::uint32_t>& requests) {
  Bytes stream(reinterpret_cast<const std::uint8_t*>(heard.data()), heard.size());
  stream = stream.subspan(4 + std::size_t{number_at(stream, 0)});  // the hello
  for (const std::uint32_t sequence : requests) {
    FUZZ_CHECK(stream.size() >= 4 && number_at(stream, 0) <= stream.size() - 4);
    check_reply(stream.subspan(4, number_at(stream, 0)), sequence);
    stream = stream.subspan(4 + std::size_t{number_at(stream, 0)});
  }
  FUZZ_CHECK(stream.empty());
}

class FrameHarness {
 public:
  explicit FrameHarness(std::uint32_t fills_below) : _target(&_commands, fills_below) {
    xrl_frame::append_hello(_hello, {"peer", ""});
    _harness.emplace(_commands, "");
  }

  // Answers what is heard when the stream is said at once, behind the hello.
  const std::string& run_whole(Bytes stream, const Expected& expected) {
    _said.assign(_hello.bytes().begin(), _hello.bytes().end());
    _said.insert(_said.end(), stream.begin(), stream.end());
    _harness->begin({});
    _harness->say(_said);
    end(stream, expected);
    if (!expected.damaged) check_replies(_harness->heard(), expected.requests);
    return _harness->heard();
  }
  // The same when it is said in pieces of so many bytes.
  const std::string& run_in_pieces(Bytes stream, const Expected& expected,
                                   OneStream::Manners manners, std::size_t piece) {
    _harness->begin(manners);
    _harness->say(_hello.bytes());
    for (Bytes rest = stream; !rest.empty(); rest = rest.subspan(std::min(piece, rest.size()))) {
      _harness->say(rest.first(std::min(piece, rest.size())));
    }
    end(stream, expected);
    return _harness->heard();
  }

 private:
  // Damage closes at once, so that replies may be lost: those that were heard are then
  // the first of those that are due.
  void end(Bytes stream, const Expected& expected) {
    FUZZ_CHECK(_harness->was_up());
    FUZZ_CHECK(_harness->is_open() != expected.damaged);
    FUZZ_CHECK(_harness->log_lines() == (expected.damaged ? 1 : 0));
    FUZZ_CHECK(_harness->held() <= 2 * stream.size() + 64 * 1024);
    _harness->leave();
    FUZZ_CHECK(!_harness->is_open());
    FUZZ_CHECK(_harness->held() == 0);
  }

  WellKnownCmdMap _commands{"echo"};
  Target _target;
  ByteBuffer _hello;
  std::vector<std::uint8_t> _said;
  std::optional<WireHarness> _harness;
};

}  // namespace frame_fuzz
