// The command line of call_xrl.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "framework/base/clock.h"
#include "framework/xrl/finder_place.h"
#include "framework/xrl/xrl.h"

struct CallOptions {
  FinderPlace finder;
  Duration patience{};            // how long to wait for what is not there
  bool wait_for_targets = false;  // and not only for the finder
  bool from_input = false;        // requests come from standard input, not from `requests`
  std::string profile;            // the profiling variable to fetch; empty: send requests
  std::vector<Xrl> requests;
};

// The command line asks for nothing that can be done: status 0 and the help,
// or status 2 and what is wrong.
class CallUsage : public std::runtime_error {
 public:
  CallUsage(int status, const std::string& text) : std::runtime_error(text), _status(status) {}
  [[nodiscard]] int status() const { return _status; }

 private:
  int _status;
};

// Throws CallUsage.
[[nodiscard]] CallOptions parse_call_options(int argc, const char* const* argv);

// What is wrong with a request, and below it the request with a mark under the
// place; of a long one only what is around it.
[[nodiscard]] std::string show_parse_error(std::string_view request, const XrlParseError& error);
