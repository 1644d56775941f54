#include "tests/support/log_capture.h"

#include <utility>

#include "tests/support/test_log.h"

LogCapture::LogCapture() : _outer(TestLog::push(this)) {}

LogCapture::~LogCapture() {
  TestLog::pop(this);
}

std::vector<XlogRecord> LogCapture::take() {
  return std::exchange(_records, {});
}

std::vector<std::string> LogCapture::take_lines() {
  std::vector<std::string> lines;
  for (const XlogRecord& record : take()) lines.push_back(TestLog::line_of(record));
  return lines;
}
