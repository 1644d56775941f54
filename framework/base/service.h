// What every long-lived part of a process is: a service with a name, a
// status and at most one observer of its status.
#pragma once

#include <string>
#include <utility>

enum ServiceStatus {
  SERVICE_READY = 0x001,
  SERVICE_STARTING = 0x002,
  SERVICE_RUNNING = 0x004,
  SERVICE_PAUSING = 0x008,
  SERVICE_PAUSED = 0x010,
  SERVICE_RESUMING = 0x020,
  SERVICE_SHUTTING_DOWN = 0x040,
  SERVICE_SHUTDOWN = 0x080,
  SERVICE_FAILED = 0x100,
};

class ServiceBase;

class ServiceChangeObserverBase {
 public:
  virtual ~ServiceChangeObserverBase() = default;
  // Runs inside set_status(), after the status changed.
  virtual void status_change(ServiceBase* service, ServiceStatus old_status,
                             ServiceStatus new_status) = 0;
};

class ServiceBase {
 public:
  // Status READY.
  explicit ServiceBase(std::string name = "Unknown") : _name(std::move(name)) {}
  virtual ~ServiceBase() = default;
  ServiceBase(const ServiceBase&) = delete;
  ServiceBase& operator=(const ServiceBase&) = delete;

  // Begins to start, or to stop. 0 when that is done or under way, -1 when it is
  // refused; status() tells how far it is.
  virtual int startup() = 0;
  virtual int shutdown() = 0;

  [[nodiscard]] const std::string& service_name() const { return _name; }
  [[nodiscard]] ServiceStatus status() const { return _status; }
  [[nodiscard]] const std::string& status_note() const { return _note; }

  // The observer must outlive the service or be unset before. False, and
  // nothing changes, when there is one already (set), or when `observer` is
  // not the one that is set (unset).
  bool set_observer(ServiceChangeObserverBase* observer);
  bool unset_observer(ServiceChangeObserverBase* observer);

 protected:
  // Tells the observer when the status differs from before.
  void set_status(ServiceStatus status, std::string note = {});

 private:
  std::string _name;
  ServiceStatus _status = SERVICE_READY;
  std::string _note;
  ServiceChangeObserverBase* _observer = nullptr;
};
