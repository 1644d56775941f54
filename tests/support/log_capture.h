// Log records as part of what a test expects. A warning or an error that is
// logged while no LogCapture lives fails the running test.
#pragma once

#include <string>
#include <vector>

#include "framework/base/xlog.h"

// Collects every record that is logged while it lives. Of several captures
// the youngest gets the record; they go in the reverse order of their making.
class LogCapture {
 public:
  LogCapture();
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  // What was collected since the last take, in the order it was logged.
  [[nodiscard]] std::vector<XlogRecord> take();
  // The same as texts "LEVEL MODULE FUNCTION: MESSAGE", without line and unit:
  // "WARNING POLICY is_acl_used: acl 10 is still used in port eth-0/1/1."
  [[nodiscard]] std::vector<std::string> take_lines();

 private:
  friend class TestLog;
  std::vector<XlogRecord> _records;
  LogCapture* _outer;
};
