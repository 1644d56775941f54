// Requests that are known only when the program runs: sent from their textual
// form, answered with whatever arguments come back.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "framework/xrl/xrl.h"
#include "framework/xrl/xrl_error.h"
#include "framework/xrl/xrl_sender.h"

// `results` lives for the call only, and is empty unless `error` is OKAY.
using XrlAnswer = std::function<void(const XrlError& error, const XrlArgs& results)>;

// As XrlSender::send(): true, and `answer` runs once, later, unless the sender
// goes first; or false, and it never runs. A reply that cannot be read is
// answered INTERNAL_ERROR.
[[nodiscard]] bool send_xrl(XrlSender& sender, const Xrl& request, XrlAnswer answer);

// `text` on one line, whatever somebody may have put into it: control characters
// become blanks.
[[nodiscard]] std::string on_one_line(std::string_view text);

// How call_xrl tells of an error: "call_xrl: COMMAND_FAILED the acl does not exist."
[[nodiscard]] std::string error_line(const XrlError& error);
