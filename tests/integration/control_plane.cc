#include "tests/integration/control_plane.h"

#include <csignal>
#include <regex>
#include <sstream>
#include <stdexcept>

#include "tests/support/finder_process.h"

std::string program(const std::string& name) {
  return std::string(POLICYD_BIN) + "/" + name;
}

std::vector<std::string> log_lines(const std::string& errors) {
  static const std::regex TIME_AND_LINE(R"(^\S+Z (.*) \+\d+ (\w+ \w+: .*)$)");
  std::vector<std::string> lines;
  std::istringstream in(errors);
  for (std::string line; std::getline(in, line);) {
    lines.push_back(std::regex_replace(line, TIME_AND_LINE, "$1 +LINE $2"));
  }
  return lines;
}

ControlPlane::ControlPlane() = default;
ControlPlane::~ControlPlane() = default;

std::string ControlPlane::finder_address() const {
  return _host + ":" + std::to_string(port());
}

void ControlPlane::start_finder() {
  finder = std::make_unique<ChildProcess>(
      std::vector<std::string>{program("finder"), "-i", _host, "-p", std::to_string(port())});
  if (address_of_finder(*finder) != finder_address()) throw std::runtime_error(finder->errors());
}

std::unique_ptr<ChildProcess> ControlPlane::make_policyd() const {
  return std::make_unique<ChildProcess>(
      std::vector<std::string>{program("policyd"), "-F", finder_address()});
}

void ControlPlane::start_policyd() {
  policyd = make_policyd();
}

void ControlPlane::start_chassis(const std::string& description) {
  chassis = std::make_unique<ChildProcess>(std::vector<std::string>{
      program("chassis"), "-F", finder_address(), _folder.write("switch.json", description)});
}

void ControlPlane::kill(std::unique_ptr<ChildProcess>& process) {
  process->signal(SIGKILL);
  process->wait();
  process.reset();
}

Client& ControlPlane::client() {
  if (!_client) _client = std::make_unique<Client>(_host, port());
  return *_client;
}

std::unique_ptr<XrlStdRouter> ControlPlane::make_router(const char* class_name) {
  return std::make_unique<XrlStdRouter>(client().loop(), class_name, _host.c_str(), port(), false);
}
