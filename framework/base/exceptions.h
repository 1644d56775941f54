// The framework's exceptions. Each has a text, str(), that says what was
// refused and why.
#pragma once

#include <exception>
#include <string>
#include <utility>

class XorpException : public std::exception {
 public:
  explicit XorpException(std::string reason) : _reason(std::move(reason)) {}
  [[nodiscard]] const std::string& str() const { return _reason; }
  [[nodiscard]] const char* what() const noexcept override { return _reason.c_str(); }

 private:
  std::string _reason;
};

// To be called from a catch-all: logs the exception in flight as an error
// (its type and text, or "unknown exception") and returns.
void xorp_catch_standard_exceptions();
