#include "policy/port_reconciliation.h"

#include <utility>

#include "framework/base/xlog.h"
#include "platform/card_id.h"
#include "policy/policy_port_info.h"
#include "policy/policytree.h"

namespace {

// Both answer false when memory runs out.

bool update_port(PolicyTree& tree, const SifMgrIfAtom& atom) {
  PolicyPortInfo* ifp = tree.find_port(atom.name());
  XLOG_ASSERT(ifp != 0, "interface " + atom.name());  // NOLINT(modernize-use-nullptr)
  if (ifp->special_card) {
    ifp->card_id = card_id_of(atom);
    return true;
  }
  return ifp->set_lag(atom.lagmember(), atom.lagname()) == 0;
}

bool add_port(PolicyTree& tree, const SifMgrIfAtom& atom) {
  // Refused also for a record that an earlier attempt left half done.
  (void)tree.create_port(atom.name());
  PolicyPortInfo* ifp = tree.find_port(atom.name());
  if (ifp == nullptr) return false;
  const std::uint32_t card_id = card_id_of(atom);
  if (tree.is_card_up(card_id)) ifp->card_ready = true;
  if (ifp->special_card) {
    ifp->card_id = card_id;
    return true;
  }
  // A member of no aggregate keeps the defaults of a new record.
  return !atom.lagmember() || ifp->set_lag(true, atom.lagname()) == 0;
}

}  // namespace

std::uint32_t card_id_of(const SifMgrIfAtom& atom) {
  const std::uint32_t card_id = get_card_id(atom.name());
  if (card_id != NO_CARD_ID || atom.members().empty()) return card_id;
  return get_card_id(*atom.members().begin());
}

void reconcile_ports(PolicyTree& tree, const SifMgrIfTree& live, SifMgrIfTree& snapshot) {
  SifMgrIfTree reconciled = live;
  for (const auto& [name, known] : snapshot.atoms()) {
    const SifMgrIfAtom* atom = live.find(name);
    if (atom == nullptr) {
      tree.delete_port(name);
    } else if (!update_port(tree, *atom)) {
      reconciled.remove(name);
    }
  }
  for (const auto& [name, atom] : live.atoms()) {
    if (snapshot.find(name) == nullptr && !add_port(tree, atom)) reconciled.remove(name);
  }
  snapshot = std::move(reconciled);
}
