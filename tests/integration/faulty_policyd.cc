// faulty_policyd HOST PORT: policyd, and beside it a target "fault" that says
// which of the changes it is asked for goes wrong, and how.
#include <sys/types.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <string>
#include <string_view>

#include "framework/base/event_loop.h"
#include "framework/base/xlog.h"
#include "framework/xrl/router/xrl_std_router.h"
#include "policy/xrl_policy_node.h"
#include "tests/integration/interfaces/fault_tgt.h"

namespace {

constexpr int HOST = 1;
constexpr int PORT = 2;

class Fault final : public XrlFaultTargetBase {
 public:
  explicit Fault(XrlCmdMap* commands) : XrlFaultTargetBase(commands) {}

  XrlCmdError fault_0_1_arm(std::string_view kind, std::uint32_t at, std::uint32_t pid) override {
    _kind = kind;
    _at = at;
    _pid = static_cast<pid_t>(pid);
    _changes = 0;
    return XrlCmdError::OKAY();
  }

  XrlCmdError fault_0_1_get_changes(std::uint32_t& changes) override {
    changes = _changes;
    return XrlCmdError::OKAY();
  }

  XrlFilterAction meet(std::string_view method) {
    constexpr std::string_view INTERFACE = "policy_config/0.1/";
    if (!method.starts_with(INTERFACE)) return XrlFilterAction::HANDLE;
    if (method.substr(INTERFACE.size()).starts_with("get_")) return XrlFilterAction::HANDLE;
    ++_changes;
    return _changes == _at ? act() : XrlFilterAction::HANDLE;
  }

 private:
  XrlFilterAction act() const {
    if (_kind == "refuse") return XrlFilterAction::REFUSE;
    if (_kind == "close") return XrlFilterAction::CLOSE;
    if (_kind == "ignore") return XrlFilterAction::IGNORE;
    if (_kind == "die") kill(getpid(), SIGKILL);
    if (_kind == "freeze") kill(getpid(), SIGSTOP);
    if (_kind == "kill_peer" && _pid > 0) kill(_pid, SIGKILL);
    if (_kind == "interrupt_peer" && _pid > 0) kill(_pid, SIGINT);
    return XrlFilterAction::HANDLE;
  }

  std::string _kind = "none";
  std::uint32_t _at = 0;
  pid_t _pid = 0;
  std::uint32_t _changes = 0;
};

}  // namespace

int main(int argc, char* argv[]) {
  if (argc <= PORT) return EXIT_FAILURE;
  xlog_init(argv[0], nullptr);
  xlog_add_default_output();
  xlog_start();
  const auto port = static_cast<std::uint16_t>(std::strtoul(argv[PORT], nullptr, 10));
  EventLoop loop;
  XrlStdRouter fault_router(loop, "fault", argv[HOST], port, false);
  Fault fault(&fault_router);
  XrlPolicyNode node(loop, "policy", "finder", argv[HOST], port);
  dynamic_cast<XrlStdRouter&>(node.xrl_router())
      .set_request_filter([&fault](std::string_view method) { return fault.meet(method); });
  node.startup();
  while (!node.is_done()) loop.run();
  node.shutdown();
  while (node.is_running()) loop.run();
  return EXIT_SUCCESS;
}
