// Finder, policyd and chassis as real processes that talk over TCP, and a client
// of theirs within the test.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tests/integration/client.h"
#include "tests/support/child_process.h"
#include "tests/support/reserved_port.h"
#include "tests/support/temporary_folder.h"

// The folder of the programs under test.
[[nodiscard]] std::string program(const std::string& name);

// What a process logged: lines without their time, and with "+LINE" for the
// line of the source: "WARNING policyd POLICY +LINE policytree is_acl_used: ...".
[[nodiscard]] std::vector<std::string> log_lines(const std::string& errors);

// Two line cards, slots 1 and 2, of which the first is present, an aggregate, an
// interface that is no physical port, and two VLANs.
inline constexpr const char* SMALL_SWITCH = R"({
  "interfaces": [{"name": "eth-0/1/1"}, {"name": "eth-0/1/2"}, {"name": "eth-0/2/1"},
                 {"name": "lag1", "members": ["eth-0/1/2"]}, {"name": "vlan-if"}],
  "vlans": [10, 20],
  "cards": [17]})";

class ControlPlane {
 public:
  // Nothing runs yet, but it is settled where the finder will be.
  ControlPlane();
  ~ControlPlane();
  ControlPlane(const ControlPlane&) = delete;
  ControlPlane& operator=(const ControlPlane&) = delete;

  // Each returns once the process is started; the finder, once it listens.
  void start_finder();
  void start_policyd();
  void start_chassis(const std::string& description = SMALL_SWITCH);
  // Kills (-9) and buries.
  static void kill(std::unique_ptr<ChildProcess>& process);

  [[nodiscard]] std::unique_ptr<ChildProcess> make_policyd() const;

  std::unique_ptr<ChildProcess> finder;
  std::unique_ptr<ChildProcess> policyd;
  std::unique_ptr<ChildProcess> chassis;

  [[nodiscard]] const std::string& host() const { return _host; }
  [[nodiscard]] std::uint16_t port() const { return _port.number(); }
  // "127.0.0.1:4711"
  [[nodiscard]] std::string finder_address() const;
  // Made at its first use.
  [[nodiscard]] Client& client();
  // For targets that the test plays itself, on the client's loop.
  [[nodiscard]] std::unique_ptr<XrlStdRouter> make_router(const char* class_name);

 private:
  const std::string _host = "127.0.0.1";
  // The finder's, also while it does not run.
  const ReservedPort _port;
  const TemporaryFolder _folder;
  std::unique_ptr<Client> _client;
};
