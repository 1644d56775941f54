// How a command of policyctl ends when it does not end well: facts, which the
// command line and the shell put into their own words.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

// What policyctl exits with; what each tells people is in render/topics.h.
enum class ExitStatus : int {
  DONE = 0,
  REFUSED = 1,  // by policyd or by policyctl itself
  DIFFERS = 2,  // plan, diff: something would change
  USAGE = 64,
  BAD_FILE = 65,
  NOT_REACHABLE = 69,
  TIMED_OUT = 75,
};

// What became of the switch.
enum class Fate : std::uint8_t { UNSAID, UNCHANGED, NOT_KNOWN };

// A command as advice names it. Where a person stands decides how it is typed.
[[nodiscard]] inline std::string own_command(std::string_view words) {
  return '\1' + std::string(words) + '\1';
}
enum class Where : std::uint8_t { COMMAND_LINE, SHELL };
// `advice` with its commands as they are typed there: 'policyctl recover', or
// 'recover'.
[[nodiscard]] inline std::string worded(std::string_view advice, Where where) {
  std::string text;
  bool is_command = false;
  for (const char c : advice) {
    if (c != '\1') {
      text += c;
      continue;
    }
    is_command = !is_command;
    text += is_command && where == Where::COMMAND_LINE ? "'policyctl " : "'";
  }
  return text;
}

// Thrown by whatever cannot go on; who prints it says
//
//   policyctl: MESSAGE
//     ADVICE
class Failure : public std::runtime_error {
 public:
  // `what` says what, where and why, `advice` what to do next; several lines of
  // advice are separated by line breaks.
  Failure(ExitStatus status, const std::string& what, std::string advice = "",
          Fate fate = Fate::UNSAID)
      : std::runtime_error(what), _status(status), _fate(fate), _advice(std::move(advice)) {}

  [[nodiscard]] ExitStatus status() const { return _status; }
  [[nodiscard]] Fate fate() const { return _fate; }
  [[nodiscard]] const std::string& advice() const { return _advice; }
  // What it was, and what became of the switch, where that is known.
  [[nodiscard]] std::string message() const {
    switch (_fate) {
      case Fate::UNCHANGED:
        return std::string(what()) + " Nothing was changed.";
      case Fate::NOT_KNOWN:
        return std::string(what()) + " Whether it was set is not known.";
      case Fate::UNSAID:
        break;
    }
    return what();
  }

  [[nodiscard]] Failure with(Fate fate) const { return Failure(_status, what(), _advice, fate); }

 private:
  ExitStatus _status;
  Fate _fate;
  std::string _advice;
};
