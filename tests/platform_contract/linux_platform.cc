#include <map>

#include "linuxcard/linuxcard.h"
#include "tests/platform_contract/platform.h"
#include "tests/unit/linuxcard/fake_data_path.h"
#include "tests/unit/linuxcard/scripted_kernel.h"

namespace {

class LinuxPlatform final : public Platform {
 public:
  explicit LinuxPlatform(EventLoop& loop) : _loop(loop), _kernel(loop), _data_path(loop) {
    _kernel.add("br0", "bridge");
    _kernel.add("bond0", "bond");
    for (const auto& [port, link] : _links) _kernel.add(link);
    tell_vlans();
  }

  void start() override {
    Linuxcard::Options options;
    options.configuration = parse_configuration(
        "port 1/1/1 = swp1\nport 1/1/2 = swp2\nport 1/2/1 = swp3\nlag1 = bond0\nbridge = br0\n");
    options.now = [] { return LocalMoment(); };
    _card = std::make_unique<Linuxcard>(_loop, _kernel, _data_path, options);
  }
  void stop() override {
    _card.reset();
    _kernel.on_ready(nullptr);
  }

  void unplug(const std::string& port) override { _kernel.remove(_links.at(port)); }
  void plug(const std::string& port) override { _kernel.add(_links.at(port)); }
  void join(const std::string& port) override { _kernel.set_master(_links.at(port), "bond0"); }
  void leave(const std::string& port) override { _kernel.set_master(_links.at(port), ""); }
  void create_vlan(std::uint16_t id) override {
    _vlans.ids.insert(id);
    tell_vlans();
  }
  void delete_vlan(std::uint16_t id) override {
    _vlans.ids.erase(id);
    tell_vlans();
  }

 private:
  void tell_vlans() { _kernel.set_vlans("br0", _vlans); }

  EventLoop& _loop;
  const std::map<std::string, std::string> _links{
      {"1/1/1", "swp1"}, {"1/1/2", "swp2"}, {"1/2/1", "swp3"}};
  LinkVlans _vlans{{10, 20}, 0};
  ScriptedKernel _kernel;
  FakeDataPath _data_path;
  std::unique_ptr<Linuxcard> _card;
};

}  // namespace

std::unique_ptr<Platform> make_linux_platform(EventLoop& loop) {
  return std::make_unique<LinuxPlatform>(loop);
}
