#include <gtest/gtest.h>

#include <set>

#include "chassis/chassis.h"
#include "tests/platform_contract/platform.h"

namespace {

// The description of the switch is what a stopped chassis begins with again.
class SimulatedChassis final : public Platform {
 public:
  explicit SimulatedChassis(EventLoop& loop) : _loop(loop) {}

  void start() override {
    SwitchDescription description;
    for (const std::string& port : _ports) description.interfaces.push_back({port, {}});
    description.interfaces.push_back({"lag1", {_members.begin(), _members.end()}});
    description.vlans = {_vlans.begin(), _vlans.end()};
    description.cards = {16 + 256 + 1, 16 + 256 + 2};
    _chassis = std::make_unique<Chassis>(_loop, description, FinderPlace());
  }
  void stop() override { _chassis.reset(); }

  void unplug(const std::string& port) override {
    _ports.erase(port);
    if (_chassis) expect_done(_chassis->model().remove_interface(port));
  }
  void plug(const std::string& port) override {
    _ports.insert(port);
    if (_chassis) expect_done(_chassis->model().add_interface(port));
  }
  void join(const std::string& port) override {
    _members.insert(port);
    if (_chassis) expect_done(_chassis->model().add_member("lag1", port));
  }
  void leave(const std::string& port) override {
    _members.erase(port);
    if (_chassis) expect_done(_chassis->model().remove_member("lag1", port));
  }
  void create_vlan(std::uint16_t id) override {
    _vlans.insert(id);
    if (_chassis) expect_done(_chassis->model().create_vlan(id));
  }
  void delete_vlan(std::uint16_t id) override {
    _vlans.erase(id);
    if (_chassis) expect_done(_chassis->model().delete_vlan(id));
  }

 private:
  static void expect_done(Refusal refusal) { EXPECT_EQ(refusal, DONE); }

  EventLoop& _loop;
  std::set<std::string> _ports{"1/1/1", "1/1/2", "1/2/1"};
  std::set<std::string> _members;
  std::set<std::uint32_t> _vlans{10, 20};
  std::unique_ptr<Chassis> _chassis;
};

}  // namespace

std::unique_ptr<Platform> make_simulated_chassis(EventLoop& loop) {
  return std::make_unique<SimulatedChassis>(loop);
}
