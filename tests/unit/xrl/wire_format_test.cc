// The worked message of docs/wire-format.md is what the code writes and reads.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "framework/xrl/router/xrl_frame.h"
#include "framework/xrl/xrl.h"
#include "framework/xrl/xrl_args_codec.h"

namespace {

// The bytes of the fenced block "```hex NAME": pairs of hexadecimal digits; what
// stands behind two blanks is a remark.
std::vector<std::uint8_t> hex_block(const std::string& name) {
  std::ifstream page(WIRE_FORMAT_PAGE);
  std::vector<std::uint8_t> bytes;
  std::string line;
  while (std::getline(page, line) && line != "```hex " + name) {
  }
  while (std::getline(page, line) && line != "```") {
    std::istringstream pairs(line.substr(0, line.find("  ")));
    std::string pair;
    while (pairs >> pair) bytes.push_back(static_cast<std::uint8_t>(std::stoul(pair, nullptr, 16)));
  }
  return bytes;
}

std::vector<std::uint8_t> bytes_of(const ByteBuffer& buffer) {
  return {buffer.data(), buffer.data() + buffer.size()};
}

// What follows length and kind.
std::span<const std::uint8_t> body_of(const std::vector<std::uint8_t>& frame) {
  return std::span(frame).subspan(5);
}

XrlKey worked_key() {
  XrlKey key;
  for (std::size_t i = 0; i < key.size(); ++i) key[i] = static_cast<std::uint8_t>(0xa0 + i);
  return key;
}

TEST(WireFormatPage, TheLengthFieldsOfTheWorkedMessageAreRight) {
  for (const char* name : {"hello", "request", "reply"}) {
    const auto frame = hex_block(name);
    ASSERT_GT(frame.size(), 5U) << name;
    EXPECT_EQ(load_u32(frame.data()), frame.size() - 4) << name;
  }
}

TEST(WireFormatPage, TheWorkedHelloIsWhatTheCodeWritesAndReads) {
  const auto frame = hex_block("hello");
  ByteBuffer written;
  xrl_frame::append_hello(written, {"call_xrl-0123456789abcdef", ""});
  EXPECT_EQ(bytes_of(written), frame);
  xrl_frame::Hello hello;
  EXPECT_EQ(xrl_frame::parse_hello(body_of(frame), hello), "");
  EXPECT_EQ(hello.instance, "call_xrl-0123456789abcdef");
  EXPECT_EQ(hello.cookie, "");
}

TEST(WireFormatPage, TheWorkedRequestIsWhatTheCodeWritesAndReads) {
  const auto frame = hex_block("request");
  const Xrl xrl = Xrl::parse(
      "finder://policy/policy_config/0.1/create_rule?acl:u32=10&rule:u32=1&action:u32=1"
      "&flags:list=:u32=7&values:list=:txt=10.0.0.0/8");
  ByteBuffer args;
  XrlArgsWriter writer(args);
  for (const XrlAtom& atom : xrl.args) writer.atom(atom);
  ByteBuffer written;
  xrl_frame::append_request(written, 7, worked_key(), args.bytes());
  EXPECT_EQ(bytes_of(written), frame);

  xrl_frame::Request request{};
  ASSERT_TRUE(xrl_frame::parse_request(body_of(frame), request));
  EXPECT_EQ(request.sequence, 7U);
  EXPECT_EQ(std::memcmp(request.key, worked_key().data(), sizeof(XrlKey)), 0);
  XrlArgs read;
  ASSERT_TRUE(XrlArgsReader(request.args).all(read));
  EXPECT_EQ(read, xrl.args);
}

TEST(WireFormatPage, TheWorkedReplyIsWhatTheCodeWritesAndReads) {
  const auto frame = hex_block("reply");
  ByteBuffer written;
  xrl_frame::append_error_reply(written, 7, XrlError::COMMAND_FAILED("the acl does not exist."));
  EXPECT_EQ(bytes_of(written), frame);
  xrl_frame::Reply reply{};
  ASSERT_TRUE(xrl_frame::parse_reply(body_of(frame), reply));
  EXPECT_EQ(reply.sequence, 7U);
  EXPECT_EQ(reply.code, 102U);
  EXPECT_EQ(std::string(reply.rest.begin(), reply.rest.end()), "the acl does not exist.");
}

TEST(Frames, AHelloWithAWrongMagicAnotherVersionOrLeftOverBytesIsRefused) {
  const auto frame = hex_block("hello");
  xrl_frame::Hello hello;
  auto damaged = frame;
  damaged[5] = 'Y';
  EXPECT_EQ(xrl_frame::parse_hello(body_of(damaged), hello), "not an XRL peer");
  damaged = frame;
  damaged[10] = 2;
  EXPECT_EQ(xrl_frame::parse_hello(body_of(damaged), hello), "unknown wire version 2");
  damaged = frame;
  damaged.push_back(0);
  EXPECT_EQ(xrl_frame::parse_hello(body_of(damaged), hello), "damaged handshake");
}

TEST(Frames, EveryTruncationOfAHelloIsRefused) {
  const auto frame = hex_block("hello");
  for (std::size_t size = 5; size < frame.size(); ++size) {
    xrl_frame::Hello hello;
    EXPECT_NE(xrl_frame::parse_hello(std::span(frame).subspan(5, size - 5), hello), "") << size;
  }
}

TEST(Frames, ARequestOrReplyShorterThanItsHeadIsRefused) {
  const std::vector<std::uint8_t> bytes(32);
  xrl_frame::Request request{};
  xrl_frame::Reply reply{};
  for (std::size_t size = 0; size < 20; ++size) {
    EXPECT_FALSE(xrl_frame::parse_request(std::span(bytes).first(size), request)) << size;
    EXPECT_EQ(xrl_frame::parse_reply(std::span(bytes).first(size), reply), size >= 8) << size;
  }
  EXPECT_TRUE(xrl_frame::parse_request(std::span(bytes).first(20), request));
}

}  // namespace
