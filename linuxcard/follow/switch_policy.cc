#include "linuxcard/follow/switch_policy.h"

#include <memory>
#include <utility>

namespace {

// Makes lists of bindings, one for all places that bind alike.
class Lists {
 public:
  explicit Lists(const PolicySnapshot& snapshot) : _snapshot(snapshot) {}

  SharedRuleList list_of(const PolicyBindings& bindings) {
    if (bindings.filters.empty()) return nullptr;
    for (const auto& [made_of, list] : _made) {
      if (*made_of == bindings) return list;
    }
    auto list = std::make_shared<RuleList>();
    list->reserve(bindings.filters.size());
    for (const RuleKey key : bindings.filters) {
      list->push_back(*_snapshot.rules.at(key));
      const auto remark = bindings.remarks.find(key);
      if (remark != bindings.remarks.end()) list->back().remark = remark->second;
    }
    _made.emplace_back(&bindings, std::move(list));
    return _made.back().second;
  }

 private:
  const PolicySnapshot& _snapshot;
  std::vector<std::pair<const PolicyBindings*, SharedRuleList>> _made;
};

}  // namespace

SwitchPolicy switch_policy_of(const PolicySnapshot& snapshot, const KernelSwitch& kernel,
                              const QueueMaps& queues,
                              const std::set<std::string>& active_time_ranges) {
  Lists lists(snapshot);
  SwitchPolicy policy;
  for (const KernelPort& port : kernel.ports) {
    PolicyPort& added = policy.ports.emplace_back();
    added.name = port.name;
    added.aggregate = port.aggregate;
    added.ifindex = port.index;
    added.untagged_vlan = port.untagged_vlan;
    const auto bindings = snapshot.ports.find(port.name);
    if (bindings != snapshot.ports.end()) added.filters = lists.list_of(bindings->second);
    const auto map = queues.find(port.name);
    if (map != queues.end()) added.queues = map->second;
  }
  for (const auto& [id, bindings] : snapshot.vlans) {
    SharedRuleList list = lists.list_of(bindings);
    if (list != nullptr) policy.vlans.emplace(id, std::move(list));
  }
  policy.active_time_ranges = active_time_ranges;
  return policy;
}
