// The log of a test binary.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "framework/base/xlog.h"

class LogCapture;

// Begins every test with the log started and in its first state, and hands
// each record to the youngest capture or, if it is a warning or worse and
// nobody captures, to the running test as a failure.
class TestLog : public ::testing::EmptyTestEventListener {
 public:
  TestLog();
  ~TestLog() override;
  TestLog(const TestLog&) = delete;
  TestLog& operator=(const TestLog&) = delete;

  void OnTestStart(const ::testing::TestInfo& test) override;

  // Becomes the youngest; answers the one that was.
  static LogCapture* push(LogCapture* capture);
  static void pop(LogCapture* capture);
  static std::string line_of(const XlogRecord& record);

 private:
  static void receive(const XlogRecord& record);

  static LogCapture* _youngest;
  int _output;
};
