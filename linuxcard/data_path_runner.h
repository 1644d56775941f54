// DataPathRunner: a data path as an event loop uses it. The calls of a data path block;
// these return at once, and answer later, from the loop, in the order they were made.
#pragma once

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "linuxcard/data_path.h"

class DataPathRunner {
 public:
  // What became of an apply(): the data path's report, or why it could do nothing at all.
  struct Outcome {
    PolicyReport report;
    std::string problem;  // empty: none
  };
  using Applied = std::function<void(const Outcome&)>;
  using Counted = std::function<void(const std::vector<RuleCounters>&)>;

  virtual ~DataPathRunner() = default;

  virtual void apply(std::shared_ptr<const SwitchPolicy> policy, Applied applied) = 0;
  virtual void set_active_time_ranges(std::set<std::string> active) = 0;
  virtual void count(Counted counted) = 0;
};
