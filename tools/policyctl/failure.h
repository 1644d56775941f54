// How a command of policyctl ends when it does not end well.
#pragma once

#include <stdexcept>
#include <string>
#include <utility>

// What policyctl exits with; what each tells people is in help/exit_statuses.h.
enum class ExitStatus : int {
  DONE = 0,
  REFUSED = 1,  // by policyd or by policyctl itself
  DIFFERS = 2,  // plan, diff: something would change
  USAGE = 64,
  BAD_FILE = 65,
  NOT_REACHABLE = 69,
  TIMED_OUT = 75,
};

// Thrown by whatever cannot go on; main() prints it:
//
//   policyctl: MESSAGE
//     ADVICE
class Failure : public std::runtime_error {
 public:
  // `message` says what, where and why, `advice` what to do next; several lines
  // of advice are separated by line breaks.
  Failure(ExitStatus status, const std::string& message, std::string advice = "")
      : std::runtime_error(message), _status(status), _advice(std::move(advice)) {}

  [[nodiscard]] ExitStatus status() const { return _status; }
  [[nodiscard]] const std::string& advice() const { return _advice; }

 private:
  ExitStatus _status;
  std::string _advice;
};
