// What became of a request, told apart by what its caller can do about it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

enum class XrlErrorCode : std::uint32_t {
  OKAY = 100,
  // Refused by the target as it is; asking again unchanged is in vain until
  // something else has changed there.
  BAD_ARGS = 101,
  COMMAND_FAILED = 102,
  // The target is not to be found now; later it may be.
  NO_FINDER = 200,
  RESOLVE_FAILED = 201,
  // The target is there but has no such method.
  NO_SUCH_METHOD = 202,
  // Whether the request was carried out is not known.
  SEND_FAILED = 210,
  REPLY_TIMED_OUT = 211,
  // A fault of the framework or of the target's reply, or a target that is out
  // of memory for now; nothing is said against the request.
  INTERNAL_ERROR = 220,
};

// "COMMAND_FAILED"; "UNKNOWN_ERROR" for a number that is none of the above.
[[nodiscard]] std::string_view xrl_error_name(XrlErrorCode code);
[[nodiscard]] bool is_known_xrl_error(std::uint32_t code);

// Two errors are equal when their codes are; the note is for people.
class XrlError {
 public:
  // OKAY.
  XrlError() = default;
  // `note` says in a sentence what was refused and why; it goes to the caller as it
  // is.
  explicit XrlError(XrlErrorCode code, std::string note = {})
      : _code(code), _note(std::move(note)) {}

  static const XrlError& OKAY();
  static XrlError BAD_ARGS(std::string note = {}) {
    return XrlError(XrlErrorCode::BAD_ARGS, std::move(note));
  }
  static XrlError COMMAND_FAILED(std::string note = {}) {
    return XrlError(XrlErrorCode::COMMAND_FAILED, std::move(note));
  }
  static XrlError NO_FINDER(std::string note = {}) {
    return XrlError(XrlErrorCode::NO_FINDER, std::move(note));
  }
  static XrlError RESOLVE_FAILED(std::string note = {}) {
    return XrlError(XrlErrorCode::RESOLVE_FAILED, std::move(note));
  }
  static XrlError NO_SUCH_METHOD(std::string note = {}) {
    return XrlError(XrlErrorCode::NO_SUCH_METHOD, std::move(note));
  }
  static XrlError SEND_FAILED(std::string note = {}) {
    return XrlError(XrlErrorCode::SEND_FAILED, std::move(note));
  }
  static XrlError REPLY_TIMED_OUT(std::string note = {}) {
    return XrlError(XrlErrorCode::REPLY_TIMED_OUT, std::move(note));
  }
  static XrlError INTERNAL_ERROR(std::string note = {}) {
    return XrlError(XrlErrorCode::INTERNAL_ERROR, std::move(note));
  }

  [[nodiscard]] bool is_okay() const { return _code == XrlErrorCode::OKAY; }
  // The target was there to answer: OKAY, refusals, and what it or its reply got
  // wrong. All else may pass by waiting.
  [[nodiscard]] bool reached_target() const;
  [[nodiscard]] XrlErrorCode code() const { return _code; }
  [[nodiscard]] std::uint32_t error_code() const { return static_cast<std::uint32_t>(_code); }
  [[nodiscard]] const std::string& note() const { return _note; }
  // "102 COMMAND_FAILED the acl does not exist."
  [[nodiscard]] std::string str() const;

  friend bool operator==(const XrlError& a, const XrlError& b) { return a._code == b._code; }

 private:
  XrlErrorCode _code = XrlErrorCode::OKAY;
  std::string _note;
};

// A handler's answer: done, or refused with a short text.
class XrlCmdError {
 public:
  static XrlCmdError OKAY() { return XrlCmdError(XrlError()); }
  static XrlCmdError BAD_ARGS(std::string text) {
    return XrlCmdError(XrlError::BAD_ARGS(std::move(text)));
  }
  static XrlCmdError COMMAND_FAILED(std::string text) {
    return XrlCmdError(XrlError::COMMAND_FAILED(std::move(text)));
  }
  // For the codes that say nothing against the request.
  explicit XrlCmdError(XrlError error) : _error(std::move(error)) {}

  [[nodiscard]] bool is_okay() const { return _error.is_okay(); }
  [[nodiscard]] const XrlError& error() const { return _error; }
  [[nodiscard]] const std::string& note() const { return _error.note(); }

 private:
  XrlError _error;
};
