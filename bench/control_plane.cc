#include "bench/control_plane.h"

#include <cstdlib>

#include "bench/measure.h"
#include "framework/xrl/interfaces/common_xif.h"

ControlPlane::ControlPlane()
    : _finder({program("finder"), "-p", "0"}),
      _port(listening_port(_finder)),
      _router(_loop, "", "127.0.0.1", _port, false) {
  wait_until_xrl_router_is_ready(_loop, _router);
}

std::uint16_t ControlPlane::listening_port(ChildProcess& finder) {
  if (!finder.wait_for_output("\n")) give_up("the finder does not start: " + finder.errors());
  return port_after(finder.output(), "127.0.0.1:");
}

std::string ControlPlane::finder_address() const {
  return "127.0.0.1:" + std::to_string(_port);
}

std::unique_ptr<ChildProcess> ControlPlane::start_policyd(int cpu) const {
  return std::make_unique<ChildProcess>(
      ChildProcess::Options{{program("policyd"), "-F", finder_address()}, {}, cpu, {}});
}

std::unique_ptr<ChildProcess> ControlPlane::start_chassis(const std::string& description,
                                                          int cpu) const {
  auto chassis = std::make_unique<ChildProcess>(ChildProcess::Options{
      {program("chassis"), "-F", finder_address(), description}, {}, cpu, {}});
  if (!chassis->wait_for_output("\n")) {
    give_up("the chassis does not start: " + chassis->errors());
  }
  return chassis;
}

void ControlPlane::wait_for_policyd() {
  XrlCommonV0p1Client policyd(&_router);
  bool answers = false;
  while (!answers) {
    bool heard = false;
    const bool sent = policyd.send_get_version(
        "policy", callback([&](const XrlError& error, const std::string_view*) {
          heard = true;
          answers = error.is_okay();
        }));
    if (!sent) give_up("policyd cannot be asked");
    wait_until([&] { return heard; });
  }
}

std::string program(const char* name) {
  return std::string(BENCH_PROGRAMS "/").append(name);
}

std::uint16_t port_after(const std::string& text, const std::string& mark) {
  const std::size_t at = text.find(mark);
  if (at == std::string::npos) give_up("no port is told: " + text);
  return static_cast<std::uint16_t>(std::atoi(text.c_str() + at + mark.size()));
}
