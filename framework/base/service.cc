#include "framework/base/service.h"

bool ServiceBase::set_observer(ServiceChangeObserverBase* observer) {
  if (_observer != nullptr) return false;
  _observer = observer;
  return true;
}

bool ServiceBase::unset_observer(ServiceChangeObserverBase* observer) {
  if (_observer == nullptr || _observer != observer) return false;
  _observer = nullptr;
  return true;
}

void ServiceBase::set_status(ServiceStatus status, std::string note) {
  const ServiceStatus old_status = std::exchange(_status, status);
  _note = std::move(note);
  if (_observer != nullptr && old_status != status) {
    _observer->status_change(this, old_status, status);
  }
}
