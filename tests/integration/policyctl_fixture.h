// Fixture: policyctl beside real processes: finder, chassis, and a policyd that
// can be told what is to go wrong.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tests/integration/control_plane.h"
#include "tests/support/orphans.h"
#include "tests/support/run_policyctl.h"
#include "tests/support/temporary_folder.h"

class PolicyctlFixture : public testing::Test {
 protected:
  using Result = PolicyctlResult;

  PolicyctlFixture();
  void SetUp() override;

  // policyctl with these arguments behind those that name the finder, in this
  // process, which leaves none behind for `--confirm`.
  Result policyctl(std::vector<std::string> arguments);
  // The same as a process of its own.
  [[nodiscard]] std::unique_ptr<ChildProcess> start_policyctl(std::vector<std::string> arguments);

  // Tries with more and more patience, in seconds, until that answers true. Who waits in
  // vain is not to wait long, but long enough for all that is to be answered before.
  [[nodiscard]] static bool with_growing_patience(
      const std::function<bool(const std::string& patience_s)>& attempt);

  // A file of the test's folder with that text; its path.
  std::string file(const std::string& name, const std::string& text);
  // What `policyctl show WHAT...` prints; the test fails when it does.
  std::string shown(const std::vector<std::string>& what = {});
  std::string acls() { return shown({"acls"}); }
  // A list with those rules, as it is shown.
  [[nodiscard]] static std::string rules(int acl, int first, int last);
  // Makes the switch exactly that, and fails the test when that fails.
  void become(const std::string& text);

  // Returns once policyd knows the whole switch.
  void start_policyd();
  // The `at`th change from now on goes wrong; see interfaces/fault.xif.
  void arm(const std::string& kind, std::size_t at, int pid = 0);
  // Changes that policyd was asked for since then.
  std::size_t changes();

  const TemporaryFolder own;
  const std::string folder;  // its path
  // Guards of changes that are to be confirmed. They end before the folder goes: they
  // would make it anew.
  const Orphans orphans;
  ControlPlane plane;
};
