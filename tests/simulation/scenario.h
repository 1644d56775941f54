// What a simulated system lives through: steps, one after the other, each with
// the time until the next. Drawn from a seed, or read from a text of one step a
// line, as a reduced failure is kept:
//
//     # remarks and empty lines do not count
//     seed 1980
//     steady
//     kill-finder 0 0 1500
//     ...
//
// A step is its name, two numbers that say which one and how (each taken by the
// step modulo what there is to choose from, so that every number is good), and
// the milliseconds that pass after it. `seed` is what the network draws from;
// after `steady` it draws nothing: every delay is the same and nothing is partial.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "framework/base/clock.h"

enum class StepKind : std::uint8_t {
  // The switch changes.
  ADD_INTERFACE,
  REMOVE_INTERFACE,
  ADD_MEMBER,
  REMOVE_MEMBER,
  SET_CARD,
  CREATE_VLAN,
  DELETE_VLAN,
  SET_LINE_CARD_FAULT,
  // The operator asks policyd.
  SET_MAP,
  GET_FLAG,
  CREATE_RULE,
  BIND_RULE,
  UNBIND_RULE,
  DELETE_ACL,
  // The network suffers.
  CUT,
  CUT_YOUNGEST,
  CUT_IN_HANDSHAKE,
  CUT_IN_EXCHANGE,
  CUT_EVERY_REQUEST,
  HOLD,
  RELEASE,
  SEVER,
  SET_DELAY,
  // Processes come and go.
  FINDER,
  CHASSIS,
  POLICYD,
  TARGET,
  LOSE_HOST,
  RESTART_IN_ANSWER,
  LATE_BIRTH,
  THIEF,
  FREEZE,
  THAW,
  NO_DESCRIPTORS,
  NO_MEMORY,
  WAIT,
};

inline constexpr std::size_t STEP_KINDS = static_cast<std::size_t>(StepKind::WAIT) + 1;

[[nodiscard]] std::string_view name_of(StepKind kind);

struct Step {
  StepKind kind;
  std::uint32_t which;
  std::uint32_t how;
  std::chrono::milliseconds pause;
  bool operator==(const Step&) const = default;
};

struct Scenario {
  std::uint64_t seed = 0;
  bool steady = false;
  std::vector<Step> steps;

  // `count` steps, the same for a seed on every machine.
  [[nodiscard]] static Scenario drawn(std::uint64_t seed, int count);
  // Throws std::invalid_argument, which tells line and reason.
  [[nodiscard]] static Scenario parse(const std::string& text);
  // parse() is its inverse.
  [[nodiscard]] std::string str() const;
};
