#include "tools/call_options.h"

#include <CLI/CLI.hpp>
#include <algorithm>

#include "tools/seconds_range.h"

namespace {

constexpr int USAGE_ERROR = 2;
constexpr double DEFAULT_PATIENCE_S = 5;
constexpr double MAX_PATIENCE_S = 86400;
// Shown before and after the place of an error.
constexpr std::size_t CONTEXT_BYTES = 60;

void set_requests(const std::vector<std::string>& texts, CallOptions& options) {
  options.from_input = texts == std::vector<std::string>{"-"};
  if (options.from_input) return;
  for (const std::string& text : texts) {
    try {
      options.requests.push_back(Xrl::parse(text));
    } catch (const XrlParseError& error) {
      throw CallUsage(USAGE_ERROR, show_parse_error(text, error));
    }
  }
}

}  // namespace

CallOptions parse_call_options(int argc, const char* const* argv) {
  CLI::App app(
      "Sends requests to the targets that the finder knows, each once the one before is\n"
      "answered, and prints the results; or fetches a log from policyd.\n"
      "Exit status: 0 all answered OKAY, 1 an error was answered or nobody could be asked,\n"
      "2 the command line is wrong.",
      "call_xrl");
  std::string finder;
  double patience_s = DEFAULT_PATIENCE_S;
  bool wait_for_targets = false;
  std::string profile;
  std::vector<std::string> texts;
  CLI::Option* const given =
      app.add_option("-F", finder, "where the finder is (default 127.0.0.1:19999)")
          ->type_name("HOST[:PORT]");
  app.add_option("-t", patience_s,
                 "how long to wait for the finder, and for each entry of a log "
                 "(default 5)")
      ->type_name("SECONDS")
      ->check(seconds_range(0.0, MAX_PATIENCE_S));
  CLI::Option* const wait =
      app.add_flag("-w,--wait", wait_for_targets, "wait for targets that are not there yet, too");
  CLI::Option* const requests =
      app.add_option("XRL", texts,
                     "finder://TARGET/INTERFACE/VERSION/METHOD?name:type=value&...\n"
                     "or -: a request a line from standard input, many in flight, an answer a line "
                     "in that order")
          ->type_name("");
  app.add_option("--profile", profile,
                 "enable a profiling variable of policyd and print its log, an entry a line")
      ->type_name("NAME")
      ->excludes(wait)
      ->excludes(requests);
  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp&) {
    throw CallUsage(0, app.help());
  } catch (const CLI::ParseError& error) {
    throw CallUsage(USAGE_ERROR, error.what());
  }

  if (texts.empty() && profile.empty()) throw CallUsage(USAGE_ERROR, "XRL is required");

  CallOptions options;
  options.profile = profile;
  if (given->count() > 0 && !parse_finder_place(finder, options.finder)) {
    throw CallUsage(USAGE_ERROR, "-F: HOST[:PORT] is expected, not " + finder);
  }
  options.patience =
      std::chrono::duration_cast<Duration>(std::chrono::duration<double>(patience_s));
  options.wait_for_targets = wait_for_targets;
  set_requests(texts, options);
  if (options.from_input && wait_for_targets) {
    throw CallUsage(USAGE_ERROR, "-w: requests from standard input do not wait for targets");
  }
  return options;
}

std::string show_parse_error(std::string_view request, const XrlParseError& error) {
  const std::size_t position = std::min(error.position(), request.size());
  const std::size_t from = position > CONTEXT_BYTES ? position - CONTEXT_BYTES : 0;
  std::string shown(request.substr(from, 2 * CONTEXT_BYTES));
  for (char& c : shown) {
    if (static_cast<unsigned char>(c) < 0x20) c = ' ';
  }
  return error.str() + "\n  " + shown + "\n  " + std::string(position - from, ' ') + "^";
}
