// Only one policyctl changes a switch at a time.
#pragma once

#include <optional>
#include <string>
#include <utility>

// Held until it goes; the kernel lets go of it for a process that is killed. The
// file says who holds it, and is empty when nobody does.
class ChangeLock {
 public:
  // Makes the file where it is missing. None when somebody else holds it. Throws
  // Failure REFUSED when the file cannot be used.
  [[nodiscard]] static std::optional<ChangeLock> try_hold(const std::string& path);
  // "process 4711 of root, since 2026-01-31 23:59:59: apply edge.conf"; empty when
  // the file does not say.
  [[nodiscard]] static std::string holder(const std::string& path);

  ChangeLock(ChangeLock&& other) noexcept
      : _fd(std::exchange(other._fd, -1)), _is_told(other._is_told) {}
  ChangeLock& operator=(ChangeLock&&) = delete;
  ~ChangeLock();

  // Says, for people, what it is held for: "apply edge.conf". A disk that is full
  // keeps nobody from holding it; then it says nothing.
  void tell(const std::string& what);

 private:
  explicit ChangeLock(int fd) : _fd(fd) {}
  int _fd;
  bool _is_told = false;
};
