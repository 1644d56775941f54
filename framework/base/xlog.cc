#include "framework/base/xlog.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string_view>
#include <utility>
#include <vector>

#include "framework/base/line_writer.h"
#include "framework/base/shown_character.h"
#include "framework/base/unless_kept.h"
#include "framework/base/xlog_budget.h"

namespace {

constexpr std::size_t LEVELS = 4;
constexpr std::array<std::string_view, LEVELS> LEVEL_NAMES{"FATAL", "ERROR", "WARNING", "INFO"};

struct Settings {
  std::string process = "unknown";
  std::string preamble;
  bool running = false;
  bool default_output = false;
  std::array<XlogVerbose, LEVELS> verbose{};
  LineWriter standard_error{STDERR_FILENO};
  std::uint64_t dropped = 0;  // messages, since that was told
  XlogBudget budget;          // of standard error
};

struct NumberedOutput {
  int number;
  XlogOutput output;
};

struct Log {
  Settings settings;
  std::vector<NumberedOutput> outputs;
  int last_number = 0;
  bool in_output = false;
};

// Made on first use and never destroyed, so that destructors of static
// objects may still log.
Log& the_log() {
  static Log& log = *new Log;
  return log;
}

std::size_t index_of(XlogLevel level) {
  return static_cast<std::size_t>(level);
}

std::string_view last_component(std::string_view path) {
  return path.substr(path.find_last_of('/') + 1);
}

TimePoint monotonic_now() {
  timespec time{};
  ::clock_gettime(CLOCK_MONOTONIC, &time);
  return TimePoint(std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec));
}

void append_time(std::string& line) {
  timespec time{};
  ::clock_gettime(CLOCK_REALTIME, &time);
  tm calendar{};
  ::gmtime_r(&time.tv_sec, &calendar);
  std::array<char, 32> text{};
  const std::size_t length =
      std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &calendar);
  line.append(text.data(), length);
  const int fraction =
      std::snprintf(text.data(), text.size(), ".%06ldZ", static_cast<long>(time.tv_nsec / 1000));
  line.append(text.data(), static_cast<std::size_t>(fraction));
}

void append_escaped(std::string& line, std::string_view text) {
  static constexpr std::string_view DIGITS = "0123456789ABCDEF";
  for (std::size_t length = 0; !text.empty(); text.remove_prefix(length)) {
    length = shown_character(text);
    if (length > 0) {
      line += text.substr(0, length);
      continue;
    }
    length = 1;
    const auto byte = static_cast<unsigned char>(text[0]);
    line += "\\x";
    line += DIGITS[byte >> 4U];
    line += DIGITS[byte & 0xfU];
  }
}

std::string line_of(const XlogRecord& record) {
  const Settings& settings = the_log().settings;
  std::string line;
  line.reserve(record.where.size() + record.message.size() + 128);
  append_time(line);
  line += ' ';
  line += LEVEL_NAMES[index_of(record.level)];
  line += ' ';
  append_escaped(line, settings.process);
  if (settings.verbose[index_of(record.level)] == XLOG_VERBOSE_HIGH) {
    line += '[' + std::to_string(::getpid()) + ']';
  }
  line += ' ';
  append_escaped(line, record.module);
  line += ' ';
  append_escaped(line, record.where);
  line += ": ";
  append_escaped(line, settings.preamble);
  append_escaped(line, record.message);
  line += '\n';
  return line;
}

// The log must not stop the process: what nobody reads is dropped and counted,
// and the number told as soon as there is room.
void write_line(const XlogRecord& record) {
  Settings& settings = the_log().settings;
  if (settings.dropped != 0) {
    const std::string message =
        "messages that nobody read were dropped: " + std::to_string(settings.dropped);
    const XlogRecord notice{XLOG_LEVEL_WARNING, XLOG_MODULE_NAME, XLOG_WHERE(), message};
    if (settings.standard_error.write(line_of(notice))) settings.dropped = 0;
  }
  if (!settings.standard_error.write(line_of(record))) ++settings.dropped;
}

void tell_outputs(const XlogRecord& record) {
  Log& log = the_log();
  if (log.outputs.empty() || log.in_output) return;
  log.in_output = true;
  // Also when an output throws.
  const UnlessKept in_output([&log] { log.in_output = false; });
  // A copy, since an output may remove itself.
  const std::vector<NumberedOutput> outputs = log.outputs;
  for (const NumberedOutput& entry : outputs) entry.output(record);
}

void tell_held_back(TimePoint now) {
  for (const XlogBudget::HeldBack& held : the_log().settings.budget.take_held_back(now)) {
    write_line({XLOG_LEVEL_WARNING, held.module, held.where,
                "and " + std::to_string(held.lines) + " more in 10 s"});
  }
}

// Who gets a message; asked before it is made, which takes longest.
struct Readers {
  bool standard_error = false;
  bool outputs = false;
};

Readers readers_of(XlogLevel level, const char* module, const std::string& where) {
  if (level == XLOG_LEVEL_FATAL) return {true, true};
  Log& log = the_log();
  if (!log.settings.running) return {};
  Readers readers{false, !log.outputs.empty()};
  if (log.settings.default_output) {
    const TimePoint now = monotonic_now();
    tell_held_back(now);
    readers.standard_error = log.settings.budget.take(module, where, now);
  }
  return readers;
}

void write_text(Readers readers, XlogLevel level, const char* module, const std::string& where,
                std::string text) {
  const int saved_errno = errno;
  text.resize(std::min(text.size(), XLOG_MAX_TEXT));
  const XlogRecord record{level, module, where.substr(0, XLOG_MAX_TEXT), std::move(text)};
  if (readers.standard_error) write_line(record);
  if (readers.outputs) tell_outputs(record);
  errno = saved_errno;
}

[[gnu::format(printf, 1, 0)]] std::string formatted(const char* format, va_list arguments) {
  std::array<char, XLOG_MAX_TEXT + 1> text;  // NOLINT(cppcoreguidelines-pro-type-member-init)
  const int length = std::vsnprintf(text.data(), text.size(), format, arguments);
  if (length < 0) return format;
  return {text.data(), std::min(static_cast<std::size_t>(length), XLOG_MAX_TEXT)};
}

}  // namespace

void xlog_init(const char* argv0, const char* preamble) {
  Settings& settings = the_log().settings;
  settings.process = last_component(argv0);
  settings.preamble = preamble == nullptr ? "" : preamble;
}

void xlog_exit() {
  the_log().settings = Settings{};
}

void xlog_start() {
  the_log().settings.running = true;
}

void xlog_stop() {
  if (the_log().settings.default_output) tell_held_back(TimePoint::max());
  the_log().settings.running = false;
}

void xlog_set_verbose(XlogVerbose verbose) {
  the_log().settings.verbose.fill(verbose);
}

void xlog_level_set_verbose(XlogLevel level, XlogVerbose verbose) {
  the_log().settings.verbose[index_of(level)] = verbose;
}

void xlog_add_default_output() {
  the_log().settings.default_output = true;
}

void xlog_tell_held_back() {
  if (the_log().settings.default_output) tell_held_back(monotonic_now());
}

int xlog_add_output(XlogOutput output) {
  Log& log = the_log();
  log.outputs.push_back({++log.last_number, std::move(output)});
  return log.last_number;
}

void xlog_remove_output(int number) {
  std::erase_if(the_log().outputs,
                [number](const NumberedOutput& entry) { return entry.number == number; });
}

std::string xlog_where(int line, const char* file, const char* function) {
  std::string_view unit = last_component(file);
  unit = unit.substr(0, unit.find_last_of('.'));
  std::string where = "+" + std::to_string(line) + " ";
  where += unit;
  where += ' ';
  where += function;
  return where;
}

// The four differ in their level alone; a list of arguments cannot be handed
// on in any other way.
#define XLOG_DETAIL_WRITE(level)                                \
  do {                                                          \
    const Readers readers = readers_of(level, module, where);   \
    if (!readers.standard_error && !readers.outputs) break;     \
    va_list arguments;                                          \
    va_start(arguments, format);                                \
    std::string text = formatted(format, arguments);            \
    va_end(arguments);                                          \
    write_text(readers, level, module, where, std::move(text)); \
  } while (false)

void xlog_fatal(const char* module, const std::string& where, const char* format, ...) {
  XLOG_DETAIL_WRITE(XLOG_LEVEL_FATAL);
  std::abort();
}

void xlog_error(const char* module, const std::string& where, const char* format, ...) {
  XLOG_DETAIL_WRITE(XLOG_LEVEL_ERROR);
}

void xlog_warning(const char* module, const std::string& where, const char* format, ...) {
  XLOG_DETAIL_WRITE(XLOG_LEVEL_WARNING);
}

void xlog_info(const char* module, const std::string& where, const char* format, ...) {
  XLOG_DETAIL_WRITE(XLOG_LEVEL_INFO);
}

#undef XLOG_DETAIL_WRITE

void xlog_assertion_failed(const char* module, const std::string& where, const char* condition,
                           const std::string& values) {
  write_text({true, true}, XLOG_LEVEL_FATAL, module, where,
             "Assertion failed: " + std::string(condition) + " (" + values + ")");
  std::abort();
}
