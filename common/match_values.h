// Whether a text is a value of a match field.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "common/match_fields.h"
#include "framework/base/ipv4.h"

// What is wrong with `value`, as a sentence; empty when nothing is.
//
// Every match has one spelling, so that rules with equal texts are rules that
// match alike: a value in another spelling of the same match is refused, and
// the sentence shows the right one:
//   "host bits must be zero, written 10.0.0.0/8."
//   "'70000' is no number 0..65535."
[[nodiscard]] std::string match_value_problem(const MatchField& field, std::string_view value);

// Whether nothing is wrong with `value`.
[[nodiscard]] bool is_match_value(const MatchField& field, std::string_view value);

// `number`, at most 0xffff, as HEX and BITS write it: "0x0800".
[[nodiscard]] std::string match_hex(std::uint32_t number);

// The address without the bits beyond the first `length`, at most 32 or 128.
[[nodiscard]] IPv4 network_of(IPv4 address, std::uint32_t length);
[[nodiscard]] IPv6 network_of(IPv6 address, std::uint32_t length);
