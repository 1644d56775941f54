#include "platform/managers/sif_target.h"

#include "common/well_known_names.h"
#include "platform/interfaces/sif_observer_xif.h"
#include "platform/managers/answer.h"
#include "platform/sif_tree_lists.h"

namespace {

// The tree is one thing that changes.
constexpr std::uint32_t TREE = 0;

}  // namespace

SifTarget::SifTarget(EventLoop& loop, SwitchModel& model, const SwitchProcess& process)
    : ObservedTarget(loop, well_known_names[NAME_SIF], process, model,
                     [this](const std::string& observer, std::uint32_t /*key*/,
                            const Teller::Done& done) { return tell_serial(observer, done); }) {}

XrlCmdError SifTarget::sif_0_1_register_observer(std::string_view observer) {
  return answer(observers().add(observer));
}

XrlCmdError SifTarget::sif_0_1_deregister_observer(std::string_view observer) {
  return answer(observers().remove(observer));
}

XrlCmdError SifTarget::sif_0_1_get_tree(std::uint64_t& serial, XrlAtomList& names,
                                        XrlAtomList& lagmembers, XrlAtomList& lagnames,
                                        XrlAtomList& member_lags, XrlAtomList& member_names) {
  serial = model().interfaces_serial();
  append_sif_tree(model().interfaces(), {names, lagmembers, lagnames, member_lags, member_names});
  return XrlCmdError::OKAY();
}

void SifTarget::interfaces_changed() {
  observers().tell_all(TREE);
}

bool SifTarget::tell_serial(const std::string& observer, const Teller::Done& done) {
  return XrlSifObserverV0p1Client(router().sender())
      .send_tree_changed(observer, model().interfaces_serial(), done);
}
