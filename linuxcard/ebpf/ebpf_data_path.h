// The data path for any Linux interface: a program in the kernel looks at each packet
// that comes in.
//
// Each distinct list of rules is a program with tables and counters of its own, shared by
// the ports that are given it. The filters of all VLANs are one more list, which the
// programs of ports go on to when none of their rules matches. All of it is pinned in one
// folder of a BPF file system, by the contents of the lists, and outlives the process:
// the next data path with that folder takes over what is there.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "linuxcard/data_path.h"
#include "linuxcard/ebpf/interface_hook.h"
#include "linuxcard/ebpf/loaded_list.h"

class EbpfDataPath : public DataPath {
 public:
  // `folder` is made when it does not exist; the folder around it must, and be of a BPF
  // file system. Throws LoadError where the kernel or the process's rights do not do.
  explicit EbpfDataPath(std::string folder);
  EbpfDataPath(std::string folder, TableForm form, std::unique_ptr<InterfaceHook> hook);
  ~EbpfDataPath() override;

  [[nodiscard]] PolicyReport apply(const SwitchPolicy& policy) override;
  void set_active_time_ranges(const std::set<std::string>& active) override;
  [[nodiscard]] std::vector<RuleCounters> counters() override;
  void remove_everything() override;

 private:
  // By the contents, and what they are compiled with: the name of its folder.
  using ListName = std::string;

  struct List {
    ListName name;
    LoadedList loaded;
    bool of_members = false;  // never goes on to the filters of VLANs
    std::uint32_t program_id = 0;
    std::vector<ListPart> parts;  // none as long as it was only taken over
    std::set<std::string> active;
  };
  using SharedList = std::shared_ptr<List>;

  struct Port {
    const PolicyPort* wanted = nullptr;
    InterfaceFacts facts{};
    SharedList now;   // null when nothing is there
    SharedList next;  // null when nothing shall be there
  };

  // What one call of apply() works on.
  struct Change;

  void take_over();
  [[nodiscard]] SharedList list_at(std::uint32_t ifindex) const;
  [[nodiscard]] std::map<std::uint32_t, InterfaceFacts> known_interfaces() const;
  void assign_slots(Change& change) const;
  void prepare_vlans(Change& change);
  void prepare_ports(Change& change);
  void switch_over(Change& change);
  void put(Change& change, Port& port);
  void let_go_of_others(const Change& change);
  void retire_unused(const Change& change);
  void retire(List& list);
  void forget_unbound_rules();
  void add_hits(const List& list, std::map<RuleKey, RuleHits>& sums) const;

  // The list, from what there is or newly built; a refusal when it cannot be.
  [[nodiscard]] SharedList find_or_build(Change& change, const std::vector<ListPart>& parts,
                                         bool of_members, CompileRefusal& refusal);

  const std::string _folder;
  const TableForm _form;
  const std::unique_ptr<InterfaceHook> _hook;
  Descriptor _interfaces;
  std::set<std::uint32_t> _noted;    // in it
  Descriptor _carried;               // hits of lists that are gone, by rule
  std::set<RuleKey> _carried_rules;  // in it
  std::map<ListName, SharedList> _lists;
  SharedList _vlan_list;
  // What is in force for each VLAN; not known of lists that were taken over.
  std::map<std::uint16_t, SharedRuleList> _vlans;
  // Out of use, but a packet may still be on its way through.
  std::vector<SharedList> _leaving;
};
