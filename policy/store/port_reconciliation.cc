#include "policy/store/port_reconciliation.h"

#include <new>
#include <utility>

#include "framework/base/xlog.h"
#include "platform/card_id.h"
#include "policy/store/policy_port_info.h"
#include "policy/store/policytree.h"

namespace {

// Both answer false when memory runs out; a new record is then gone again.

bool update_port(PolicyPortInfo& port, const SifMgrIfAtom& atom) {
  if (port.special_card) {
    port.card_id = card_id_of(atom);
    return true;
  }
  return port.set_lag(atom.lagmember(), atom.lagname()) == 0;
}

bool add_port(PolicyTree& tree, const SifMgrIfAtom& atom) {
  (void)tree.create_port(atom.name());
  PolicyPortInfo* found = tree.find_port(atom.name());
  if (found == nullptr) return false;
  PolicyPortInfo& port = *found;
  const std::uint32_t card_id = card_id_of(atom);
  if (tree.is_card_up(card_id)) port.card_ready = true;
  // A member of no aggregate keeps the defaults of a new record.
  if (!port.special_card && !atom.lagmember()) return true;
  if (update_port(port, atom)) return true;
  tree.delete_port(atom.name());
  return false;
}

}  // namespace

std::uint32_t card_id_of(const SifMgrIfAtom& atom) {
  const std::uint32_t card_id = get_card_id(atom.name());
  if (card_id != NO_CARD_ID || atom.members().empty()) return card_id;
  return get_card_id(*atom.members().begin());
}

bool reconcile_ports(PolicyTree& tree, const SifMgrIfTree& live, SifMgrIfTree& snapshot,
                     const std::string& where) {
  SifMgrIfTree reconciled = live;
  bool complete = true;
  for (const auto& [name, known] : snapshot.atoms()) {
    const SifMgrIfAtom* atom = live.find(name);
    if (atom == nullptr) {
      tree.delete_port(name);
      continue;
    }
    PolicyPortInfo* port = tree.find_port(name);
    if (port == nullptr) {
      // The condition as operators know it.
      xlog_assertion_failed(XLOG_MODULE_NAME, where, "ifp != 0", "interface " + name);
    }
    if (update_port(*port, *atom)) continue;
    std::swap(*reconciled.find(name), *snapshot.find(name));
    complete = false;
  }
  for (const auto& [name, atom] : live.atoms()) {
    if (snapshot.find(name) != nullptr || add_port(tree, atom)) continue;
    reconciled.remove(name);
    complete = false;
  }
  snapshot = std::move(reconciled);
  return complete;
}

PortReconciliation::PortReconciliation(EventLoop& loop, PolicyTree& tree, const SifMgrIfTree& live,
                                       SifMgrIfTree& snapshot, std::function<void()> reconciled)
    : _tree(tree),
      _live(live),
      _snapshot(snapshot),
      _reconciled(std::move(reconciled)),
      _retry(loop, [this] { updates_made(); }) {}

void PortReconciliation::updates_made() {
  bool complete = false;
  try {
    complete = reconcile_ports(_tree, _live, _snapshot, XLOG_WHERE());
  } catch (const std::bad_alloc&) {
    // As when memory suffices for a part only.
  }
  _reconciled();
  if (complete) {
    _retry.cancel();
    _warned = false;
  } else {
    _retry.failed();
    warn_once();
  }
}

void PortReconciliation::warn_once() {
  if (_warned) return;
  try {
    XLOG_WARNING("Cannot follow the interface tree: out of memory.");
    _warned = true;
  } catch (const std::bad_alloc&) {
    // Told as soon as there is memory for the telling.
  }
}
