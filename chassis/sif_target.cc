#include "chassis/sif_target.h"

#include "chassis/answer.h"
#include "platform/interfaces/sif_observer_xif.h"
#include "platform/sif_tree_lists.h"

namespace {

// The tree is one thing that changes.
constexpr std::uint32_t TREE = 0;

}  // namespace

SifTarget::SifTarget(EventLoop& loop, SwitchModel& model, const FinderPlace& finder)
    : SwitchTarget(loop, "sif", finder),
      CommonHandlers<XrlSifTargetBase>(&router()),
      _model(model),
      _observers(loop, router(), router().instance_name(),
                 [this](const std::string& observer, std::uint32_t /*key*/,
                        const Teller::Done& done) { return tell_serial(observer, done); }) {
  _model.add_observer(this);
}

SifTarget::~SifTarget() {
  _model.remove_observer(this);
}

XrlCmdError SifTarget::finder_event_observer_0_1_xrl_target_birth(
    std::string_view target_class, std::string_view target_instance) {
  _observers.target_born(target_class, target_instance);
  return XrlCmdError::OKAY();
}

XrlCmdError SifTarget::finder_event_observer_0_1_xrl_target_death(
    std::string_view target_class, std::string_view target_instance) {
  _observers.target_died(target_class, target_instance);
  return XrlCmdError::OKAY();
}

XrlCmdError SifTarget::sif_0_1_register_observer(std::string_view observer) {
  return answer(_observers.add(observer));
}

XrlCmdError SifTarget::sif_0_1_deregister_observer(std::string_view observer) {
  return answer(_observers.remove(observer));
}

XrlCmdError SifTarget::sif_0_1_get_tree(std::uint64_t& serial, XrlAtomList& names,
                                        XrlAtomList& lagmembers, XrlAtomList& lagnames,
                                        XrlAtomList& member_lags, XrlAtomList& member_names) {
  serial = _model.interfaces_serial();
  append_sif_tree(_model.interfaces(), {names, lagmembers, lagnames, member_lags, member_names});
  return XrlCmdError::OKAY();
}

void SifTarget::interfaces_changed() {
  _observers.tell_all(TREE);
}

bool SifTarget::tell_serial(const std::string& observer, const Teller::Done& done) {
  return XrlSifObserverV0p1Client(router().sender())
      .send_tree_changed(observer, _model.interfaces_serial(), done);
}
