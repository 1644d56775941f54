// What a data path is to enforce: policyd's policy on the ports that the kernel has.
#pragma once

#include <map>
#include <set>
#include <string>

#include "linuxcard/classifier/policy.h"
#include "linuxcard/follow/kernel_switch.h"
#include "linuxcard/follow/policy_snapshot.h"

// By port: the egress queue of each 802.1p priority, as the line cards were told.
using QueueMaps = std::map<std::string, QueueMap, std::less<>>;

// Lists that are equal are shared. A remark holds where its rule is bound, too.
[[nodiscard]] SwitchPolicy switch_policy_of(const PolicySnapshot& snapshot,
                                            const KernelSwitch& kernel, const QueueMaps& queues,
                                            const std::set<std::string>& active_time_ranges);
