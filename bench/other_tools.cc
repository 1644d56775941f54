#include "bench/other_tools.h"

#include <unistd.h>

#include <cstdlib>

namespace {

constexpr const char* SCHEMA = "/usr/share/openvswitch/vswitch.ovsschema";
constexpr const char* BRIDGE = "bench";

class OpenVswitch : public OtherTool {
 public:
  explicit OpenVswitch(const std::string& folder)
      : _folder(folder), _bridge("unix:" + folder + "/" + BRIDGE + ".mgmt") {}

  // What is wrong; empty when it runs.
  [[nodiscard]] std::string start() {
    // Where its programs look for each other.
    setenv("OVS_RUNDIR", _folder.c_str(), 1);
    const std::string data = _folder + "/conf.db";
    const TimedRun created = run_timed({"ovsdb-tool", "create", data, SCHEMA});
    if (created.status != 0) return created.output;
    const std::string control = "--unixctl=" + _folder;
    _database = std::make_unique<ChildProcess>(std::vector<std::string>{
        "/usr/sbin/ovsdb-server", data, "--remote=punix:" + socket(), control + "/database.ctl"});
    // The other two try again until it listens.
    _switch = std::make_unique<ChildProcess>(
        std::vector<std::string>{"/usr/sbin/ovs-vswitchd", "unix:" + socket(), "--enable-dummy",
                                 "--disable-system", control + "/switch.ctl"});
    const TimedRun bridge =
        run_timed({"ovs-vsctl", "--db=unix:" + socket(), "--retry", "--timeout=10", "add-br",
                   BRIDGE, "--", "set", "bridge", BRIDGE, "datapath_type=dummy"});
    return bridge.status == 0 ? std::string() : bridge.output;
  }

  [[nodiscard]] TimedRun load(const std::string& file) const override {
    return run_timed_expecting(0, {"ovs-ofctl", "--bundle", "add-flows", _bridge, file});
  }
  void clear() const override { (void)run_timed_expecting(0, {"ovs-ofctl", "del-flows", _bridge}); }

 private:
  [[nodiscard]] std::string socket() const { return _folder + "/database.sock"; }

  std::string _folder;
  std::string _bridge;
  std::unique_ptr<ChildProcess> _database;
  std::unique_ptr<ChildProcess> _switch;
};

class Nftables : public OtherTool {
 public:
  Nftables() : _namespace({"/usr/bin/unshare", "-n", "sh", "-c", "echo ready; exec sleep inf"}) {}

  [[nodiscard]] std::string start() {
    if (!_namespace.wait_for_output("ready")) return _namespace.errors();
    const TimedRun run = run_timed(in_namespace({"nft", "list", "ruleset"}));
    return run.status == 0 ? std::string() : run.output;
  }
  [[nodiscard]] TimedRun load(const std::string& file) const override {
    return run_timed_expecting(0, in_namespace({"nft", "-f", file}));
  }
  void clear() const override {
    (void)run_timed_expecting(0, in_namespace({"nft", "flush", "ruleset"}));
  }

 private:
  [[nodiscard]] std::vector<std::string> in_namespace(const std::vector<std::string>& argv) const {
    std::vector<std::string> words{"nsenter", "-t", std::to_string(_namespace.pid()), "-n"};
    words.insert(words.end(), argv.begin(), argv.end());
    return words;
  }

  ChildProcess _namespace;
};

bool is_program(const char* path, std::string& why) {
  if (access(path, X_OK) == 0) return true;
  why = std::string("there is no ") + path;
  return false;
}

}  // namespace

std::unique_ptr<OtherTool> open_vswitch(const std::string& folder, std::string& why) {
  if (!is_program("/usr/sbin/ovs-vswitchd", why)) return nullptr;
  auto tool = std::make_unique<OpenVswitch>(folder);
  why = tool->start();
  if (!why.empty()) return nullptr;
  return tool;
}

std::unique_ptr<OtherTool> nftables(std::string& why) {
  if (!is_program("/usr/sbin/nft", why)) return nullptr;
  auto tool = std::make_unique<Nftables>();
  why = tool->start();
  if (!why.empty()) return nullptr;
  return tool;
}
