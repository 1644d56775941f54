// Examples that help and the manual page show; the tests carry all of them out.
#pragma once

#include <span>
#include <string>
#include <string_view>

// A whole configuration, in which every statement stands.
[[nodiscard]] const std::string& example_configuration();

struct Statement;
// Its first line that is this statement, without indentation; empty when there
// is none.
[[nodiscard]] std::string_view example_of(const Statement& statement);

struct CommandExample {
  std::string_view line;     // "policyctl plan edge.conf"
  std::string_view purpose;  // "what would applying it change?"
};
// In an order in which they can be carried out, with the example configuration
// as edge.conf.
[[nodiscard]] std::span<const CommandExample> command_examples();
