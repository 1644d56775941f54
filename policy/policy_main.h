// The daemon's entry: its command line and its life.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

struct PolicyOptions {
  // The finder on this host unless told otherwise.
  PolicyOptions();

  std::string finder_hostname;
  std::uint16_t finder_port;
  // Set when the command line asks for the usage text, or is wrong: the exit
  // status to leave with after it.
  std::optional<int> usage;
};

// Reads -F HOST[:PORT] and -h with getopt(), which is used from its start and
// writes its own complaint about an unknown option to standard error.
//
// An unknown option, or -F without its argument, asks for the usage text with
// status 0, as -h does; a ':' with nothing after it, or a word that is no
// option, with status 1. A later -F without a port keeps the port of an
// earlier one. The port is not checked: what is no number is 0, and of a
// larger one the lowest 16 bits count.
[[nodiscard]] PolicyOptions parse_command_line(int argc, char* const argv[]);

// The text that usage() prints.
[[nodiscard]] std::string usage_text(const std::string& argv0);
// Prints it, on standard output when the exit value is 0 and on standard error
// otherwise, and ends the process.
[[noreturn]] void usage(const std::string& argv0, int exit_value);

// Runs the daemon until it was told to shut down and nothing is outstanding.
// Whatever is thrown inside passes up, after what was built is destroyed.
void policy_main(const std::string& finder_hostname, std::uint16_t finder_port);
