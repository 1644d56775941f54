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
#include "tools/policyctl/switch/switch_session.h"

struct Context {
  std::ostream& out;
  std::ostream& err;
  SwitchPlace place{};
  Duration patience{};  // how long nothing may be heard
  bool json = false;    // results as JSON
  bool out_is_terminal = false;
  bool err_is_terminal = false;
  // This program, for a process that outlives it; empty: it leaves none.
  std::string program{};

  // Whether results are coloured: on a terminal, unless $NO_COLOR has a value.
  [[nodiscard]] bool in_colour() const;

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
// Prints the faults and answers BAD_FILE.
ExitStatus report_faults(const Context& context, const SourceText& source,
                         const std::vector<Fault>& faults);

// As text or JSON, and answers its status.
ExitStatus report_failure(const Context& context, const Failure& failure);
// Answers what `run` answers, or reports what it throws and answers that.
ExitStatus run_reporting(const Context& context, const std::function<ExitStatus()>& run);

// "1 rule", "3 rules".
[[nodiscard]] std::string counted(std::size_t count, const std::string& thing);
