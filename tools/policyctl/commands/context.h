// What every command of policyctl is given.
#pragma once

#include <cstddef>
#include <functional>
#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

#include "framework/base/clock.h"
#include "tools/policyctl/failure.h"
#include "tools/policyctl/language/fault.h"
#include "tools/policyctl/language/joined.h"
#include "tools/policyctl/render/print_report.h"
#include "tools/policyctl/switch/switch_session.h"

struct Context : Output {
  SwitchPlace place{};
  Duration patience{};  // how long nothing may be heard
  // This program, for a process that outlives it; empty: it leaves none.
  std::string program{};

  [[nodiscard]] std::unique_ptr<SwitchSession> connect() const {
    return std::make_unique<SwitchSession>(place, patience);
  }
};

// A file of configuration, "-" for standard input. Throws Failure BAD_FILE when
// it cannot be read.
[[nodiscard]] SourceText read_source(const std::string& file);
// Replaces a whole file, or writes to `context.out` for "-". Throws Failure REFUSED,
// and then an old file is as it was.
void write_file(const Context& context, const std::string& file, const std::string& text);
// Answers what `run` answers, or reports what it throws and answers that.
ExitStatus run_reporting(const Context& context, const std::function<ExitStatus()>& run);
