// A switch platform as the suite of what one must do sees it: something that can be
// started, and to whose switch things happen.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

class EventLoop;

// The switch has the ports 1/1/1, 1/1/2 and 1/2/1, the aggregate lag1 without a member, and
// the VLANs 10 and 20; all of its cards are there.
class Platform {
 public:
  virtual ~Platform() = default;

  // Its processes begin, and end without a word.
  virtual void start() = 0;
  virtual void stop() = 0;

  // What happens to the switch, also while the platform is stopped.
  virtual void unplug(const std::string& port) = 0;
  virtual void plug(const std::string& port) = 0;
  virtual void join(const std::string& port) = 0;   // the aggregate lag1
  virtual void leave(const std::string& port) = 0;  // again
  virtual void create_vlan(std::uint16_t id) = 0;
  virtual void delete_vlan(std::uint16_t id) = 0;
};

struct PlatformKind {
  const char* name;
  std::unique_ptr<Platform> (*make)(EventLoop& loop);
};

std::unique_ptr<Platform> make_simulated_chassis(EventLoop& loop);
std::unique_ptr<Platform> make_linux_platform(EventLoop& loop);
