// Carries a plan out.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <vector>

#include "tools/policyctl/change/plan.h"
#include "tools/policyctl/entries/queue_map.h"
#include "tools/policyctl/switch/switch_session.h"

struct RunResult {
  std::size_t done = 0;            // requests that were answered OKAY
  std::optional<Failure> failure;  // the first one; none: the plan is carried out
  std::vector<Step> refused;       // by policyd: the first, and of those in flight then more
  bool sent_mapping = false;       // the line cards may have been told
  bool interrupted = false;        // by Ctrl-C; `failure` says so too
};

// Called now and then with how many of how many requests are answered.
using OnProgress = std::function<void(std::size_t done, std::size_t all)>;

// Sends the steps in order, many in flight, up to the first that fails, and waits
// for the answers to all that it sent. Does not throw.
[[nodiscard]] RunResult run_plan(SwitchSession& session, const Plan& plan,
                                 const OnProgress& on_progress);

// Waits until policyd reads the mapping back, which it does once a line card has
// confirmed each pair, and until it has done so for `steady`, where another
// mapping may still be under way. The priorities that read back as something
// else when `limit` is over. Throws Failure.
[[nodiscard]] Queues wait_for_mapping(SwitchSession& session, const Queues& wanted, Duration limit,
                                      Duration steady = Duration::zero());
