// What may follow on policyctl's own command line, for the shells that call it.
#pragma once

#include <string>
#include <vector>

#include "tools/policyctl/commands/context.h"

// The words typed so far without "policyctl", of which the last, which may be
// empty, is the one to be completed.
//
// Prints a line for each word that may stand there, "WORD<TAB>HELP", and
// "<files>" when names of files may. Says nothing of what it cannot find out; the
// switch is asked for no longer than a person who types would not notice, or for as
// long as a --timeout among the words allows.
ExitStatus complete_command(const Context& context, const std::vector<std::string>& words);

// Prints the script that makes a shell complete: "bash", "fish" or "zsh". Throws
// Failure USAGE when it is no such shell.
ExitStatus completion_command(const Context& context, const std::string& shell);
