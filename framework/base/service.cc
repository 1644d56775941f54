#include "framework/base/service.h"

std::string_view service_status_name(ServiceStatus status) {
  switch (status) {
    case SERVICE_READY:
      return "READY";
    case SERVICE_STARTING:
      return "STARTING";
    case SERVICE_RUNNING:
      return "RUNNING";
    case SERVICE_PAUSING:
      return "PAUSING";
    case SERVICE_PAUSED:
      return "PAUSED";
    case SERVICE_RESUMING:
      return "RESUMING";
    case SERVICE_SHUTTING_DOWN:
      return "SHUTTING_DOWN";
    case SERVICE_SHUTDOWN:
      return "SHUTDOWN";
    case SERVICE_FAILED:
      return "FAILED";
  }
  return "unknown";
}

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
