#include "tests/support/finder_process.h"

std::string address_of_finder(ChildProcess& finder) {
  const std::string before = "finder: listening on ";
  if (!finder.wait_for_output("\n")) return {};
  const std::string line = finder.output();
  if (!line.starts_with(before)) return {};
  return line.substr(before.size(), line.find('\n') - before.size());
}
