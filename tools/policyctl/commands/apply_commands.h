// check, plan, apply, confirm, recover.
#pragma once

#include <cstdint>
#include <string>

#include "tools/policyctl/change/change_switch.h"
#include "tools/policyctl/change/complete.h"
#include "tools/policyctl/commands/context.h"

// Syntax and values of a file, without a switch.
ExitStatus check_command(const Context& context, const std::string& file);

// What applying the file would change.
ExitStatus plan_command(const Context& context, const std::string& file, Unnamed unnamed);

struct ApplyOptions {
  std::string file;
  Unnamed unnamed = Unnamed::KEPT;
  std::uint32_t confirm_s = 0;  // 0: needs no confirmation
  // Interfaces and VLANs that are gone are left out and named, not refused.
  bool without_gone = false;
  // What is bound stays, whatever else goes: the text was kept when it was not known.
  bool keeps_bindings = false;
};
ExitStatus apply_command(const Context& context, const ApplyOptions& options);

// Applies text that comes from elsewhere; `what` names it in messages.
ExitStatus apply_text(const Context& context, SourceText source, const std::string& what,
                      const ApplyOptions& options);

struct ChangeToConfirm {
  std::string name;             // "apply edge.conf"
  std::uint32_t confirm_s = 0;  // 0: needs no confirmation
};
// Like change_switch(), and leaves a process behind that undoes the change unless
// it is confirmed in time. Throws Failure REFUSED when there can be none.
[[nodiscard]] ChangeReport change_to_confirm(const Context& context, SwitchSession& session,
                                             const StateDirectory& directory, const Plan& plan,
                                             const ChangeToConfirm& what);

// Keeps a change that waits for its confirmation, also one that comes late, as
// long as nothing of it is undone. Refused with REFUSED when there is none, or its
// policyd was started anew; then nothing waits any longer. Throws Failure when the
// switch cannot be asked, and the change goes on waiting.
ExitStatus confirm_command(const Context& context);

// Undoes a change that was left unfinished, or waits for its confirmation.
ExitStatus recover_command(const Context& context);

// What `apply --confirm` leaves running: undoes the change with that id at
// `confirm_by`, as in its journal, and ends early once it is confirmed or undone.
ExitStatus guard_command(const Context& context, const std::string& id, std::int64_t confirm_by);
