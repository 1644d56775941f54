#include "tools/policyctl/render/exit_statuses.h"

#include <array>

namespace {

constexpr std::array STATUSES{
    ExitStatusHelp{ExitStatus::DONE, "done, or there was nothing to do"},
    ExitStatusHelp{ExitStatus::REFUSED,
                   "refused, by policyd or by policyctl, or the result could not be written; "
                   "nothing was changed, or all was undone, or the message says what was not"},
    ExitStatusHelp{ExitStatus::DIFFERS, "something would change (plan), something differs (diff)"},
    ExitStatusHelp{ExitStatus::USAGE, "the command line is wrong"},
    ExitStatusHelp{ExitStatus::BAD_FILE, "a file has faults or cannot be read"},
    ExitStatusHelp{ExitStatus::NOT_REACHABLE, "the finder or policyd cannot be reached"},
    ExitStatusHelp{ExitStatus::TIMED_OUT,
                   "nothing was heard for as long as --timeout allows, or the line cards have not "
                   "confirmed a mapping that was set"},
};

}  // namespace

std::span<const ExitStatusHelp> exit_statuses() {
  return STATUSES;
}
