#include "tests/support/test_log.h"

#include <array>
#include <utility>

#include "tests/support/log_capture.h"

namespace {

void begin_log() {
  xlog_exit();
  xlog_init("test", nullptr);
  xlog_start();
}

}  // namespace

LogCapture* TestLog::_youngest = nullptr;

TestLog::TestLog() : _output(xlog_add_output(&TestLog::receive)) {
  begin_log();
}

TestLog::~TestLog() {
  xlog_remove_output(_output);
}

void TestLog::OnTestStart(const ::testing::TestInfo& /*test*/) {
  begin_log();
}

LogCapture* TestLog::push(LogCapture* capture) {
  return std::exchange(_youngest, capture);
}

void TestLog::pop(LogCapture* capture) {
  XLOG_ASSERT(_youngest == capture, std::string("captures must go in reverse order"));
  _youngest = capture->_outer;
}

std::string TestLog::line_of(const XlogRecord& record) {
  static constexpr std::array<const char*, 4> LEVELS{"FATAL", "ERROR", "WARNING", "INFO"};
  const std::string function = record.where.substr(record.where.find_last_of(' ') + 1);
  return std::string(LEVELS.at(static_cast<std::size_t>(record.level))) + " " + record.module +
         " " + function + ": " + record.message;
}

void TestLog::receive(const XlogRecord& record) {
  if (_youngest != nullptr) {
    _youngest->_records.push_back(record);
  } else if (record.level <= XLOG_LEVEL_WARNING) {
    ADD_FAILURE() << "unexpected log record at " << record.where << "\n  " << line_of(record);
  }
}
