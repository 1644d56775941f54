#include "platform/sif_tree_lists.h"

#include <cstdint>
#include <string_view>
#include <utility>

namespace {

using ConstLists = SifTreeListRefs<const XrlAtomList>;

std::string in_quotes(std::string_view name) {
  std::string text("'");
  text.append(name).append("'");
  return text;
}

std::string check_shape(const ConstLists& lists) {
  for (const XrlAtomList* texts :
       {&lists.names, &lists.lagnames, &lists.member_lags, &lists.member_names}) {
    if (!texts->holds_only(XrlAtomType::TEXT)) return "a list of names holds something else";
  }
  if (!lists.lagmembers.holds_only(XrlAtomType::U32)) return "lagmembers are no numbers";
  if (lists.lagmembers.size() != lists.names.size() ||
      lists.lagnames.size() != lists.names.size()) {
    return "the lists of interfaces differ in length";
  }
  if (lists.member_lags.size() != lists.member_names.size()) {
    return "the lists of members differ in length";
  }
  return {};
}

std::string read_interfaces(const ConstLists& lists, SifMgrIfTree& tree) {
  const auto texts = lists.lagnames.texts();
  auto lagname = texts.begin();
  std::size_t index = 0;
  for (const std::string_view name : lists.names.texts()) {
    const std::uint32_t lagmember = lists.lagmembers.u32_at(index++);
    if (lagmember > 1) return "lagmember of " + in_quotes(name) + " is neither 0 nor 1";
    SifMgrIfAtom atom{std::string(name)};
    atom.set_lag(lagmember == 1, std::string(*lagname));
    ++lagname;
    if (!tree.add(std::move(atom))) return "interface " + in_quotes(name) + " is there twice";
  }
  return {};
}

std::string read_members(const ConstLists& lists, SifMgrIfTree& tree) {
  const auto names = lists.member_names.texts();
  auto name = names.begin();
  for (const std::string_view lag : lists.member_lags.texts()) {
    SifMgrIfAtom* aggregate = tree.find(lag);
    if (aggregate == nullptr) {
      return in_quotes(*name) + " is a member of the unknown aggregate " + in_quotes(lag);
    }
    if (!aggregate->add_member(std::string(*name))) {
      return in_quotes(*name) + " is a member of " + in_quotes(lag) + " twice";
    }
    ++name;
  }
  return {};
}

}  // namespace

void append_sif_tree(const SifMgrIfTree& tree, const SifTreeListRefs<XrlAtomList>& lists) {
  for (const auto& [name, atom] : tree.atoms()) {
    lists.names.append(name);
    lists.lagmembers.append(atom.lagmember() ? 1U : 0U);
    lists.lagnames.append(atom.lagname());
    for (const std::string& member : atom.members()) {
      lists.member_lags.append(name);
      lists.member_names.append(member);
    }
  }
}

std::string read_sif_tree(const ConstLists& lists, SifMgrIfTree& tree) {
  SifMgrIfTree read;
  std::string problem = check_shape(lists);
  if (problem.empty()) problem = read_interfaces(lists, read);
  if (problem.empty()) problem = read_members(lists, read);
  if (problem.empty()) tree = std::move(read);
  return problem;
}
