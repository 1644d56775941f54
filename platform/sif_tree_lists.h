// The interface tree as the aligned lists of sif/0.1/get_tree.
#pragma once

#include <string>

#include "framework/xrl/xrl_atom_list.h"
#include "platform/sif_mgr_if_tree.h"

// References to a reply's lists, of either side.
template <typename List>
struct SifTreeListRefs {
  List& names;
  List& lagmembers;
  List& lagnames;
  List& member_lags;
  List& member_names;
};

// Appends the tree to empty lists.
void append_sif_tree(const SifMgrIfTree& tree, const SifTreeListRefs<XrlAtomList>& lists);

// Reads what the other side appended. Answers what is wrong with the lists,
// `tree` then being left as it was, or an empty text.
[[nodiscard]] std::string read_sif_tree(const SifTreeListRefs<const XrlAtomList>& lists,
                                        SifMgrIfTree& tree);
