// Carries a plan out.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <vector>

#include "tools/policyctl/change/plan.h"
#include "tools/policyctl/switch/switch_session.h"

struct RunResult {
  std::size_t done = 0;            // requests that were answered OKAY
  std::optional<Failure> failure;  // the first one; none: the plan is carried out
  std::vector<Step> refused;       // by policyd: the first, and of those in flight then more
  bool sent_mapping = false;       // the line cards may have been told
};

// Called now and then with how many of how many requests are answered.
using OnProgress = std::function<void(std::size_t done, std::size_t all)>;

// Sends the steps in order, many in flight, up to the first that fails, and waits
// for the answers to all that it sent. Does not throw.
[[nodiscard]] RunResult run_plan(SwitchSession& session, const Plan& plan,
                                 const OnProgress& on_progress);

// Waits until policyd reads back what the line cards were `told`, which it does once
// one has confirmed each entry, and until it has done so for `steady`, where something
// else may still be under way to them. The entries that read back otherwise when `limit`
// is over, as they do. Throws Failure.
[[nodiscard]] Entries wait_for_line_cards(SwitchSession& session, const Step& told, Duration limit,
                                          Duration steady = Duration::zero());
// What a step of SET_ALL sets.
[[nodiscard]] Entries entries_of(const Step& step);
