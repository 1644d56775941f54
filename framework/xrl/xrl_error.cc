#include "framework/xrl/xrl_error.h"

std::string_view xrl_error_name(XrlErrorCode code) {
  switch (code) {
    case XrlErrorCode::OKAY:
      return "OKAY";
    case XrlErrorCode::BAD_ARGS:
      return "BAD_ARGS";
    case XrlErrorCode::COMMAND_FAILED:
      return "COMMAND_FAILED";
    case XrlErrorCode::NO_FINDER:
      return "NO_FINDER";
    case XrlErrorCode::RESOLVE_FAILED:
      return "RESOLVE_FAILED";
    case XrlErrorCode::NO_SUCH_METHOD:
      return "NO_SUCH_METHOD";
    case XrlErrorCode::SEND_FAILED:
      return "SEND_FAILED";
    case XrlErrorCode::REPLY_TIMED_OUT:
      return "REPLY_TIMED_OUT";
    case XrlErrorCode::INTERNAL_ERROR:
      return "INTERNAL_ERROR";
  }
  return "UNKNOWN_ERROR";
}

bool is_known_xrl_error(std::uint32_t code) {
  return xrl_error_name(static_cast<XrlErrorCode>(code)) != "UNKNOWN_ERROR";
}

const XrlError& XrlError::OKAY() {
  static const XrlError okay;
  return okay;
}

bool XrlError::reached_target() const {
  switch (_code) {
    case XrlErrorCode::OKAY:
    case XrlErrorCode::BAD_ARGS:
    case XrlErrorCode::COMMAND_FAILED:
    case XrlErrorCode::NO_SUCH_METHOD:
    case XrlErrorCode::INTERNAL_ERROR:
      return true;
    case XrlErrorCode::NO_FINDER:
    case XrlErrorCode::RESOLVE_FAILED:
    case XrlErrorCode::SEND_FAILED:
    case XrlErrorCode::REPLY_TIMED_OUT:
      return false;
  }
  return false;
}

std::string XrlError::str() const {
  std::string text = std::to_string(error_code());
  text += ' ';
  text += xrl_error_name(_code);
  if (!_note.empty()) {
    text += ' ';
    text += _note;
  }
  return text;
}
