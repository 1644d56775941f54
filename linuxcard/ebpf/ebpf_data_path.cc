#include "linuxcard/ebpf/ebpf_data_path.h"

#include <bpf/bpf.h>
#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <utility>

#include "linuxcard/ebpf/list_name.h"

namespace {

constexpr std::uint32_t MOST_INTERFACES = 16384;
constexpr std::uint32_t MOST_CARRIED = 1U << 20U;
constexpr std::string_view LIST_PREFIX = "list-";
constexpr std::string_view OF_MEMBERS = "-members";

Descriptor pinned_hash(const std::string& path, const char* name, std::uint32_t key_size,
                       std::uint32_t value_size, std::uint32_t most) {
  Descriptor map(bpf_obj_get(path.c_str()));
  if (map.is_open()) return map;
  bpf_map_create_opts options{};
  options.sz = sizeof options;
  options.map_flags = BPF_F_NO_PREALLOC;
  map = Descriptor(bpf_map_create(BPF_MAP_TYPE_HASH, name, key_size, value_size, most, &options));
  if (!map.is_open()) throw LoadError(errno, std::string("cannot make the map ") + name);
  if (bpf_obj_pin(map.get(), path.c_str()) != 0) throw LoadError(errno, "cannot pin " + path);
  return map;
}

std::uint32_t program_id(int program) {
  bpf_prog_info info{};
  std::uint32_t size = sizeof info;
  return bpf_obj_get_info_by_fd(program, &info, &size) == 0 ? info.id : 0;
}

// Takes as long as the map could be large, however little is in it.
template <typename Key>
std::set<Key> keys_of(int map) {
  Key key{};
  std::set<Key> keys;
  while (bpf_map_get_next_key(map, keys.empty() ? nullptr : &key, &key) == 0) keys.insert(key);
  return keys;
}

void remove_list_folder(const std::string& folder) {
  std::error_code ignored;
  std::filesystem::remove_all(folder, ignored);
}

std::vector<ListPart> parts_of_vlans(const std::map<std::uint16_t, SharedRuleList>& vlans) {
  std::vector<ListPart> parts;
  for (const auto& [vlan, rules] : vlans) {
    if (rules != nullptr && !rules->empty()) parts.push_back({vlan, rules});
  }
  return parts;
}

}  // namespace

struct EbpfDataPath::Change {
  const SwitchPolicy& policy;
  std::vector<Port> ports;  // aligned with those of the policy
  std::vector<PortNames> names;
  bool has_queues = false;
  SharedList vlan_list;
  std::map<std::uint16_t, SharedRuleList> vlans;  // as they will be in force
  bool vlans_stay = false;                        // as they are
  std::vector<PolicyRefusal> port_refusals;
  std::map<std::uint16_t, PolicyRefusal> vlan_refusals;
  PolicyReport report;

  void refuse_port(const Port& port, const CompileRefusal& refusal) {
    port_refusals.push_back({port.wanted->name, 0, refusal.rule, refusal.reason});
  }
};

EbpfDataPath::EbpfDataPath(std::string folder)
    : EbpfDataPath(std::move(folder), best_table_form(),
                   TcxHook::is_supported()
                       ? std::unique_ptr<InterfaceHook>(std::make_unique<TcxHook>())
                       : std::make_unique<ClsactHook>()) {}

EbpfDataPath::EbpfDataPath(std::string folder, TableForm form, std::unique_ptr<InterfaceHook> hook)
    : _folder(std::move(folder)), _form(form), _hook(std::move(hook)) {
  if (mkdir(_folder.c_str(), 0700) != 0 && errno != EEXIST) {
    throw LoadError(errno, "cannot make " + _folder);
  }
  _interfaces = pinned_hash(_folder + "/interfaces", "interfaces", sizeof(std::uint32_t),
                            sizeof(InterfaceFacts), MOST_INTERFACES);
  _carried =
      pinned_hash(_folder + "/carried", "carried", sizeof(RuleKey), sizeof(RuleHits), MOST_CARRIED);
  _noted = keys_of<std::uint32_t>(_interfaces.get());
  _carried_rules = keys_of<RuleKey>(_carried.get());
  take_over();
}

EbpfDataPath::~EbpfDataPath() {
  for (const SharedList& list : _leaving) retire(*list);
}

void EbpfDataPath::take_over() {
  std::error_code problem;
  for (const auto& entry : std::filesystem::directory_iterator(_folder, problem)) {
    const std::string name = entry.path().filename();
    if (!name.starts_with(LIST_PREFIX)) continue;
    std::optional<LoadedList> loaded = LoadedList::open(entry.path());
    if (!loaded) continue;
    auto list = std::make_shared<List>(
        List{name, std::move(*loaded), name.ends_with(OF_MEMBERS), 0, {}, {}});
    list->program_id = program_id(list->loaded.program());
    _lists[name] = std::move(list);
  }
  std::array<char, 64> vlans{};
  const ssize_t size = readlink((_folder + "/vlans").c_str(), vlans.data(), vlans.size());
  if (size > 0) {
    const auto found = _lists.find(std::string(vlans.data(), static_cast<std::size_t>(size)));
    if (found != _lists.end()) _vlan_list = found->second;
  }
}

EbpfDataPath::SharedList EbpfDataPath::list_at(std::uint32_t ifindex) const {
  const std::vector<std::uint32_t> ids = _hook->programs(ifindex);
  for (const auto& [name, list] : _lists) {
    if (std::find(ids.begin(), ids.end(), list->program_id) != ids.end()) return list;
  }
  return nullptr;
}

std::map<std::uint32_t, InterfaceFacts> EbpfDataPath::known_interfaces() const {
  std::map<std::uint32_t, InterfaceFacts> known;
  for (const std::uint32_t ifindex : _noted) {
    InterfaceFacts facts{};
    if (bpf_map_lookup_elem(_interfaces.get(), &ifindex, &facts) == 0) known[ifindex] = facts;
  }
  return known;
}

// A port keeps its slot as long as its interface lives, so that lists stay valid.
void EbpfDataPath::assign_slots(Change& change) const {
  const std::map<std::uint32_t, InterfaceFacts> known = known_interfaces();
  std::set<std::uint16_t> taken{0};
  for (const auto& [ifindex, facts] : known) taken.insert(facts.slot);
  std::uint16_t free = 1;
  for (const PolicyPort& wanted : change.policy.ports) {
    Port port;
    port.wanted = &wanted;
    const auto found = known.find(wanted.ifindex);
    if (found != known.end()) {
      port.facts.slot = found->second.slot;
    } else {
      while (taken.contains(free)) ++free;
      taken.insert(free);
      port.facts.slot = free;
    }
    port.facts.untagged_vlan = wanted.untagged_vlan;
    if (wanted.queues) {
      change.has_queues = true;
      port.facts.has_queues = 1;
      std::copy(wanted.queues->begin(), wanted.queues->end(), std::begin(port.facts.queue));
    }
    port.now = list_at(wanted.ifindex);
    change.names.push_back({port.facts.slot, wanted.name, wanted.aggregate});
    change.ports.push_back(std::move(port));
  }
}

EbpfDataPath::SharedList EbpfDataPath::find_or_build(Change& change,
                                                     const std::vector<ListPart>& parts,
                                                     bool of_members, CompileRefusal& refusal) {
  const std::string kind = std::string(change.has_queues ? "queues" : "") +
                           (_form == TableForm::ARENA ? " arena" : " array");
  const ListName name = std::string(LIST_PREFIX) + list_name(parts, change.names, kind) +
                        std::string(of_members ? OF_MEMBERS : "");
  const auto found = _lists.find(name);
  if (found != _lists.end()) {
    found->second->parts = parts;
    return found->second;
  }
  auto compiled = compile(parts, change.names);
  if (const auto* const refused = std::get_if<CompileRefusal>(&compiled)) {
    refusal = *refused;
    return nullptr;
  }
  auto& list = std::get<CompiledList>(compiled);
  const std::uint64_t asking = 1ULL << DIM_BOUND_VLAN | 1ULL << DIM_IN_PORT;
  list.header.asks_interfaces = change.has_queues || (list.header.dimensions & asking) != 0 ? 1 : 0;
  try {
    auto made = std::make_shared<List>(
        List{name, LoadedList(list, _form, _interfaces.get()), of_members, 0, parts, {}});
    made->program_id = program_id(made->loaded.program());
    made->active = change.policy.active_time_ranges;
    made->loaded.enable(
        enabled_words(parts, made->loaded.header(), made->loaded.cells(), made->active));
    // What is left of an attempt that was cut off.
    remove_list_folder(_folder + "/" + name);
    made->loaded.pin(_folder + "/" + name);
    ++change.report.lists_built;
    _lists[name] = made;
    return made;
  } catch (const LoadError& problem) {
    remove_list_folder(_folder + "/" + name);
    refusal = {0, std::nullopt, std::string(problem.what()) + "."};
    return nullptr;
  }
}

void EbpfDataPath::prepare_vlans(Change& change) {
  change.vlans = change.policy.vlans;
  while (true) {
    const std::vector<ListPart> parts = parts_of_vlans(change.vlans);
    if (parts.empty()) return;
    CompileRefusal refusal;
    change.vlan_list = find_or_build(change, parts, false, refusal);
    if (change.vlan_list != nullptr) return;
    // Of one VLAN when a rule is at fault, otherwise of all.
    std::vector<std::uint16_t> refused;
    const bool is_known = _vlan_list == nullptr || !_vlan_list->parts.empty();
    for (const ListPart& part : parts) {
      if (is_known && refusal.rule && part.vlan != refusal.vlan) continue;
      change.vlan_refusals[part.vlan] = {{}, part.vlan, refusal.rule, refusal.reason};
      refused.push_back(part.vlan);
    }
    if (!is_known || !refusal.rule) {
      change.vlans_stay = true;
      change.vlan_list = _vlan_list;
      return;
    }
    for (const std::uint16_t vlan : refused) {
      const auto old = _vlans.find(vlan);
      const bool was_tried = old != _vlans.end() && old->second == change.vlans[vlan];
      change.vlans[vlan] = old == _vlans.end() || was_tried ? nullptr : old->second;
    }
  }
}

void EbpfDataPath::prepare_ports(Change& change) {
  std::map<std::pair<SharedRuleList, bool>, std::pair<SharedList, CompileRefusal>> tried;
  for (Port& port : change.ports) {
    const bool is_empty = port.wanted->filters == nullptr || port.wanted->filters->empty();
    const SharedRuleList filters = is_empty ? nullptr : port.wanted->filters;
    // What comes in by a member meets the filters of VLANs at the aggregate, once.
    const bool of_member = !port.wanted->aggregate.empty();
    const bool has_vlans = change.vlan_list != nullptr && !of_member;
    if (is_empty && !has_vlans && !port.wanted->queues) continue;
    auto [at, is_new] = tried.try_emplace({filters, of_member});
    auto& [list, refusal] = at->second;
    if (is_new) list = find_or_build(change, {{0, filters}}, of_member, refusal);
    port.next = list;
    if (list != nullptr) continue;
    change.refuse_port(port, refusal);
    port.next = port.now;
  }
}

// New lists know the filters of VLANs before any packet meets them.
void EbpfDataPath::switch_over(Change& change) {
  const int vlans = change.vlan_list == nullptr ? -1 : change.vlan_list->loaded.program();
  const bool vlans_change = change.vlan_list != _vlan_list;
  std::set<const List*> in_use;
  std::set<const List*> known;
  for (const Port& port : change.ports) {
    if (port.now != nullptr) in_use.insert(port.now.get());
  }
  const auto tell = [&](const SharedList& list) {
    if (list == nullptr || list->of_members) return;
    if (known.insert(list.get()).second) list->loaded.continue_with(vlans);
  };
  for (const Port& port : change.ports) {
    if (port.next != nullptr && !in_use.contains(port.next.get())) tell(port.next);
  }
  for (Port& port : change.ports) put(change, port);
  // Where a list stays, only its way on to the filters of VLANs changes.
  for (const Port& port : change.ports) {
    if (vlans_change || port.next != port.now) tell(port.next);
  }
  if (vlans_change) {
    const std::string link = _folder + "/vlans";
    (void)unlink(link.c_str());
    if (change.vlan_list != nullptr) {
      // Only the next start would look for it.
      [[maybe_unused]] const int linked = symlink(change.vlan_list->name.c_str(), link.c_str());
    }
    _vlan_list = change.vlan_list;
  }
  if (!change.vlans_stay) _vlans = change.vlans;
}

void EbpfDataPath::put(Change& change, Port& port) {
  const std::uint32_t ifindex = port.wanted->ifindex;
  try {
    if (bpf_map_update_elem(_interfaces.get(), &ifindex, &port.facts, BPF_ANY) != 0) {
      throw LoadError(errno, "cannot note the interface");
    }
    _noted.insert(ifindex);
    if (port.next == port.now) return;
    if (port.next == nullptr) {
      _hook->detach(ifindex, port.now->loaded.program());
    } else {
      _hook->attach(ifindex, port.next->loaded.program(),
                    port.now == nullptr ? -1 : port.now->loaded.program());
    }
  } catch (const LoadError& problem) {
    change.refuse_port(port, {0, std::nullopt, std::string(problem.what()) + "."});
    port.next = port.now;
  }
}

void EbpfDataPath::let_go_of_others(const Change& change) {
  std::set<std::uint32_t> wanted;
  for (const PolicyPort& port : change.policy.ports) wanted.insert(port.ifindex);
  for (const auto& [ifindex, facts] : known_interfaces()) {
    if (wanted.contains(ifindex)) continue;
    if (const SharedList list = list_at(ifindex)) {
      try {
        _hook->detach(ifindex, list->loaded.program());
      } catch (const LoadError&) {
        continue;  // tried again with the next policy
      }
    }
    (void)bpf_map_delete_elem(_interfaces.get(), &ifindex);
    _noted.erase(ifindex);
  }
}

void EbpfDataPath::retire_unused(const Change& change) {
  std::set<const List*> used{_vlan_list.get()};
  for (const Port& port : change.ports) used.insert(port.next.get());
  for (auto at = _lists.begin(); at != _lists.end();) {
    if (used.contains(at->second.get())) {
      ++at;
      continue;
    }
    remove_list_folder(_folder + "/" + at->first);
    _leaving.push_back(std::move(at->second));
    at = _lists.erase(at);
  }
}

void EbpfDataPath::add_hits(const List& list, std::map<RuleKey, RuleHits>& sums) const {
  const std::vector<RuleHits> hits = list.loaded.hits();
  std::size_t index = 0;
  for (const ListPart& part : list.parts) {
    if (part.rules == nullptr) continue;
    for (const PolicyRule& rule : *part.rules) {
      if (index == hits.size()) return;
      RuleHits& sum = sums[rule.key];
      sum.packets += hits[index].packets;
      sum.bytes += hits[index].bytes;
      ++index;
    }
  }
}

void EbpfDataPath::retire(List& list) {
  std::map<RuleKey, RuleHits> sums;
  add_hits(list, sums);
  for (auto& [key, hits] : sums) {
    if (hits.packets == 0) continue;
    RuleHits before{};
    if (bpf_map_lookup_elem(_carried.get(), &key, &before) == 0) {
      hits.packets += before.packets;
      hits.bytes += before.bytes;
    }
    if (bpf_map_update_elem(_carried.get(), &key, &hits, BPF_ANY) == 0) _carried_rules.insert(key);
  }
}

// A rule that is bound nowhere any more counts from nothing when it is bound again.
void EbpfDataPath::forget_unbound_rules() {
  if (_carried_rules.empty()) return;
  std::set<RuleKey> bound;
  for (const auto& [name, list] : _lists) {
    for (const ListPart& part : list->parts) {
      if (part.rules == nullptr) continue;
      for (const PolicyRule& rule : *part.rules) bound.insert(rule.key);
    }
  }
  std::erase_if(_carried_rules, [&](const RuleKey& key) {
    if (bound.contains(key)) return false;
    (void)bpf_map_delete_elem(_carried.get(), &key);
    return true;
  });
}

PolicyReport EbpfDataPath::apply(const SwitchPolicy& policy) {
  for (const SharedList& list : std::exchange(_leaving, {})) retire(*list);
  Change change{policy, {}, {}, false, nullptr, {}, false, {}, {}, {}};
  assign_slots(change);
  prepare_vlans(change);
  prepare_ports(change);
  switch_over(change);
  let_go_of_others(change);
  retire_unused(change);
  forget_unbound_rules();
  set_active_time_ranges(policy.active_time_ranges);
  for (const auto& [name, list] : _lists) change.report.memory_bytes += list->loaded.memory_bytes();
  change.report.refusals = std::move(change.port_refusals);
  for (auto& [vlan, refusal] : change.vlan_refusals) {
    change.report.refusals.push_back(std::move(refusal));
  }
  return std::move(change.report);
}

void EbpfDataPath::set_active_time_ranges(const std::set<std::string>& active) {
  for (const auto& [name, list] : _lists) {
    if (list->loaded.header().enabled[0] == 0 || list->parts.empty()) continue;
    list->active = active;
    list->loaded.enable(
        enabled_words(list->parts, list->loaded.header(), list->loaded.cells(), active));
  }
}

std::vector<RuleCounters> EbpfDataPath::counters() {
  std::map<RuleKey, RuleHits> sums;
  for (const auto& [name, list] : _lists) add_hits(*list, sums);
  for (auto& [key, hits] : sums) {
    RuleHits before{};
    if (bpf_map_lookup_elem(_carried.get(), &key, &before) != 0) continue;
    hits.packets += before.packets;
    hits.bytes += before.bytes;
  }
  // Rules that are bound now, with what they decided in lists that are leaving.
  std::map<RuleKey, RuleHits> leaving;
  for (const SharedList& list : _leaving) add_hits(*list, leaving);
  std::vector<RuleCounters> counters;
  counters.reserve(sums.size());
  for (const auto& [key, hits] : sums) {
    const auto more = leaving.find(key);
    counters.push_back({key, hits.packets + (more == leaving.end() ? 0 : more->second.packets),
                        hits.bytes + (more == leaving.end() ? 0 : more->second.bytes)});
  }
  return counters;
}

void EbpfDataPath::remove_everything() {
  for (const auto& [ifindex, facts] : known_interfaces()) {
    if (const SharedList list = list_at(ifindex)) _hook->detach(ifindex, list->loaded.program());
  }
  _leaving.clear();
  _lists.clear();
  _vlan_list = nullptr;
  _vlans.clear();
  _interfaces = Descriptor();
  _carried = Descriptor();
  _noted.clear();
  _carried_rules.clear();
  std::error_code ignored;
  std::filesystem::remove_all(_folder, ignored);
}
