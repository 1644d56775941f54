// A network namespace of a test's own, gone with all that is in it when the test ends.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

// The thread that makes one lives in it until it is destroyed. Nothing has a name in the
// file system, so nothing is left behind, however the test ends.
class NetworkNamespace {
 public:
  // Throws std::system_error.
  NetworkNamespace();
  ~NetworkNamespace();
  NetworkNamespace(const NetworkNamespace&) = delete;
  NetworkNamespace& operator=(const NetworkNamespace&) = delete;

  // Two ends of a wire, both within this namespace and up.
  void add_wire(const std::string& one, const std::string& other) const;
  // A bridge that passes on what comes in by one of two interfaces at the other: a socket
  // at an interface itself would see frames before any filter does.
  void add_bridge(const std::string& name, const std::string& one, const std::string& other) const;
  void remove(const std::string& interface) const;

 private:
  int _before;
};

// Lets the thread run on the processor where it is, and its frames be handled there, one
// after the other.
void stay_on_one_processor();

// Returns once frames that are sent at `from` come out at `to`: the kernel brings links up
// some time after it was told to. Throws when they do not.
void await_way(const std::string& from, const std::string& to);

[[nodiscard]] std::uint32_t index_of(const std::string& interface);

// Sends and receives whole frames at an interface.
class FrameSocket {
 public:
  // Throws std::system_error.
  explicit FrameSocket(const std::string& interface);
  ~FrameSocket();
  FrameSocket(const FrameSocket&) = delete;
  FrameSocket& operator=(const FrameSocket&) = delete;

  void send(const std::vector<std::uint8_t>& frame) const;
  // What came in and waits, with its outer tag; empty when nothing does.
  [[nodiscard]] std::vector<std::uint8_t> receive() const;
  [[nodiscard]] int descriptor() const { return _fd; }
  // Waits until something has come in. Throws when nothing does.
  void wait() const;
  // Whether something comes in soon.
  [[nodiscard]] bool hears() const;

 private:
  int _fd;
};

// A folder of its own in a BPF file system that this process alone sees: nothing of it is
// left when the process ends, however it does.
class PinFolder {
 public:
  PinFolder();
  ~PinFolder();
  PinFolder(const PinFolder&) = delete;
  PinFolder& operator=(const PinFolder&) = delete;
  [[nodiscard]] const std::string& path() const { return _path; }

 private:
  std::string _path;
};
