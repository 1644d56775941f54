// The log: one line per message on standard error,
//
//     2026-11-21T04:36:00.123456Z WARNING policyd POLICY +71 policytree is_acl_used: text
//
// that is time (UTC), level, process, module, location ("+LINE UNIT FUNCTION",
// the unit being the source file without its extension) and message. A line
// break or another control character within a message is written as \xHH, so
// a message is always one line.
//
// Logging never waits for who reads standard error: a message for which a pipe
// has no room is dropped, and a line tells how many were, in front of the next
// one for which there is room.
//
// Nor does it grow without bound: of one place the default output gets a hundred lines in
// ten seconds, and then, as a message of that place, "and 4711 more in 10 s" with the
// next message after that, or by xlog_tell_held_back(). Fatal messages are always written.
//
// The macros take the module from XLOG_MODULE_NAME, which each library's build
// defines, and the location from where they stand.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

enum XlogLevel {
  XLOG_LEVEL_FATAL = 0,
  XLOG_LEVEL_ERROR = 1,
  XLOG_LEVEL_WARNING = 2,
  XLOG_LEVEL_INFO = 3,
};

enum XlogVerbose {
  XLOG_VERBOSE_LOW = 0,     // the process by its name
  XLOG_VERBOSE_MEDIUM = 1,  // the same
  XLOG_VERBOSE_HIGH = 2,    // by name and process id: "policyd[1234]"
};

// Location and message are each cut at this many bytes.
inline constexpr std::size_t XLOG_MAX_TEXT = 8000;

// Names the process in every line: the last path component of `argv0`. The
// text `preamble` (null: none) is written in front of every message as it is.
void xlog_init(const char* argv0, const char* preamble);
// Stops the log and forgets name, preamble, verbosity, the default output
// and what was dropped or held back. Further outputs stay until they are removed.
void xlog_exit();
// A process that did not start the log writes nothing, except for fatal
// messages.
// What was held back (see above) is told when it stops.
void xlog_start();
void xlog_stop();
// How much of the process is told, for every level or for one. LOW at first.
void xlog_set_verbose(XlogVerbose verbose);
void xlog_level_set_verbose(XlogLevel level, XlogVerbose verbose);
// Standard error.
void xlog_add_default_output();
// Writes there how many lines were held back in spans of ten seconds that are over.
void xlog_tell_held_back();

// What an output sees of each message; the texts live for the call only.
struct XlogRecord {
  XlogLevel level;
  std::string module;
  std::string where;    // "+71 policytree is_acl_used"
  std::string message;  // as given, control characters not yet escaped
};
using XlogOutput = std::function<void(const XlogRecord&)>;
// A further output beside the default one, until it is removed by its number.
// What an output logs itself goes to the default output alone.
int xlog_add_output(XlogOutput output);
void xlog_remove_output(int number);

// "+LINE UNIT FUNCTION"; `file` is a path, whose folder and extension go.
[[nodiscard]] std::string xlog_where(int line, const char* file, const char* function);

// Writes the message and ends the process (abort).
[[noreturn, gnu::format(printf, 3, 4)]] void xlog_fatal(const char* module,
                                                        const std::string& where,
                                                        const char* format, ...);
[[gnu::format(printf, 3, 4)]] void xlog_error(const char* module, const std::string& where,
                                              const char* format, ...);
[[gnu::format(printf, 3, 4)]] void xlog_warning(const char* module, const std::string& where,
                                                const char* format, ...);
[[gnu::format(printf, 3, 4)]] void xlog_info(const char* module, const std::string& where,
                                             const char* format, ...);
// As xlog_fatal, for the assertion `condition` that does not hold:
// "Assertion failed: ifp != 0 (name eth-0/1/1)".
[[noreturn]] void xlog_assertion_failed(const char* module, const std::string& where,
                                        const char* condition, const std::string& values);

#define XLOG_WHERE() xlog_where(__LINE__, __FILE__, __func__)
#define XLOG_FATAL(...) xlog_fatal(XLOG_MODULE_NAME, XLOG_WHERE(), __VA_ARGS__)
#define XLOG_ERROR(...) xlog_error(XLOG_MODULE_NAME, XLOG_WHERE(), __VA_ARGS__)
#define XLOG_WARNING(...) xlog_warning(XLOG_MODULE_NAME, XLOG_WHERE(), __VA_ARGS__)
#define XLOG_INFO(...) xlog_info(XLOG_MODULE_NAME, XLOG_WHERE(), __VA_ARGS__)

// Stops the process when an invariant of ours is broken; `values` (a
// std::string, built only then) says what was found instead.
#define XLOG_ASSERT(condition, values)                                             \
  do {                                                                             \
    if (!(condition)) [[unlikely]]                                                 \
      xlog_assertion_failed(XLOG_MODULE_NAME, XLOG_WHERE(), #condition, (values)); \
  } while (false)
