// Requests that are known only when the program runs: sent from their textual
// form, answered with whatever arguments come back.
#pragma once

#include <functional>
#include <string>

#include "framework/xrl/xrl.h"
#include "framework/xrl/xrl_error.h"
#include "framework/xrl/xrl_sender.h"

// `results` lives for the call only, and is empty unless `error` is OKAY.
using XrlAnswer = std::function<void(const XrlError& error, const XrlArgs& results)>;

// As XrlSender::send(): true, and `answer` runs once, later, unless the sender
// goes first; or false, and it never runs. A reply that cannot be read is
// answered INTERNAL_ERROR.
[[nodiscard]] bool send_xrl(XrlSender& sender, const Xrl& request, XrlAnswer answer);

// The error's note on one line, whatever a target may have put into it: control
// characters become blanks.
[[nodiscard]] std::string note_line(const XrlError& error);
