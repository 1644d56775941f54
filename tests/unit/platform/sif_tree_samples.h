// Interface trees, and replies that hold them.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <utility>

#include "framework/xrl/xrl_args.h"
#include "platform/sif_mgr_if_tree.h"
#include "platform/sif_tree_lists.h"

inline XrlAtomList texts(std::initializer_list<std::string_view> elements) {
  XrlAtomList list;
  for (const std::string_view element : elements) list.append(element);
  return list;
}

inline XrlAtomList numbers(std::initializer_list<std::uint32_t> elements) {
  XrlAtomList list;
  for (const std::uint32_t element : elements) list.append(element);
  return list;
}

// The lists of a get_tree reply.
struct SampleLists {
  XrlAtomList names;
  XrlAtomList lagmembers;
  XrlAtomList lagnames;
  XrlAtomList member_lags;
  XrlAtomList member_names;

  [[nodiscard]] SifTreeListRefs<const XrlAtomList> refs() const {
    return {names, lagmembers, lagnames, member_lags, member_names};
  }
  [[nodiscard]] XrlArgs reply(std::uint64_t serial) const {
    XrlArgs args;
    args.add(XrlAtom("serial", serial));
    args.add(XrlAtom("names", names));
    args.add(XrlAtom("lagmembers", lagmembers));
    args.add(XrlAtom("lagnames", lagnames));
    args.add(XrlAtom("member_lags", member_lags));
    args.add(XrlAtom("member_names", member_names));
    return args;
  }
};

// lag1 with the member eth-0/1/1, and eth-0/1/2.
inline SampleLists sample_lists() {
  return {texts({"eth-0/1/1", "eth-0/1/2", "lag1"}), numbers({1, 0, 0}), texts({"lag1", "", ""}),
          texts({"lag1"}), texts({"eth-0/1/1"})};
}

// Interfaces that belong to no aggregate.
inline SifMgrIfTree tree_of(std::initializer_list<std::string> names) {
  SifMgrIfTree tree;
  for (const std::string& name : names) tree.add(SifMgrIfAtom(name));
  return tree;
}

inline XrlArgs tree_reply(std::uint64_t serial, const SifMgrIfTree& tree) {
  SampleLists lists;
  append_sif_tree(
      tree, {lists.names, lists.lagmembers, lists.lagnames, lists.member_lags, lists.member_names});
  return lists.reply(serial);
}
