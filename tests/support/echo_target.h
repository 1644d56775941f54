// What framework tests ask and listen with.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/interfaces/echo_tgt.h"
#include "tests/support/interfaces/watcher_tgt.h"

// Remembers the texts that were said to it, in order.
class EchoTarget final : public XrlEchoTargetBase {
 public:
  explicit EchoTarget(XrlCmdMap* commands) : XrlEchoTargetBase(commands) {}

  [[nodiscard]] const std::vector<std::string>& heard() const { return _heard; }

  XrlCmdError echo_0_1_say(std::string_view text, std::string& out) override {
    _heard.emplace_back(text);
    out = text;
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
    text.assign(bytes, 'x');
    return XrlCmdError::OKAY();
  }

 private:
  std::vector<std::string> _heard;
};

// Remembers events as "birth CLASS" and "death CLASS", in order.
class WatcherTarget final : public XrlWatcherTargetBase {
 public:
  explicit WatcherTarget(XrlCmdMap* commands) : XrlWatcherTargetBase(commands) {}

  [[nodiscard]] const std::vector<std::string>& events() const { return _events; }
  [[nodiscard]] long count(const std::string& event) const {
    return std::count(_events.begin(), _events.end(), event);
  }

  XrlCmdError finder_event_observer_0_1_xrl_target_birth(std::string_view target_class,
                                                         std::string_view) override {
    _events.push_back("birth " + std::string(target_class));
    return XrlCmdError::OKAY();
  }
  XrlCmdError finder_event_observer_0_1_xrl_target_death(std::string_view target_class,
                                                         std::string_view) override {
    _events.push_back("death " + std::string(target_class));
    return XrlCmdError::OKAY();
  }

 private:
  std::vector<std::string> _events;
};
