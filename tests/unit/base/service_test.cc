#include "framework/base/service.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

class Service : public ServiceBase {
 public:
  using ServiceBase::ServiceBase;
  using ServiceBase::set_status;
  int startup() override { return 0; }
  int shutdown() override { return 0; }
};

struct Change {
  const ServiceBase* service;
  ServiceStatus before;
  ServiceStatus after;
  ServiceStatus seen;
  bool operator==(const Change&) const = default;
};

class Observer : public ServiceChangeObserverBase {
 public:
  void status_change(ServiceBase* service, ServiceStatus before, ServiceStatus after) override {
    changes.push_back({service, before, after, service->status()});
  }
  std::vector<Change> changes;
};

TEST(Service, IsReadyAtFirst) {
  const Service service("sif");
  EXPECT_EQ(service.status(), SERVICE_READY);
  EXPECT_EQ(service.service_name(), "sif");
  EXPECT_EQ(service.status_note(), "");
}

TEST(Service, WithoutNameIsCalledUnknown) {
  EXPECT_EQ(Service().service_name(), "Unknown");
}

TEST(Service, TellsItsObserverAChangeAfterItHappened) {
  Service service;
  Observer observer;
  ASSERT_TRUE(service.set_observer(&observer));
  service.set_status(SERVICE_FAILED, "no finder");
  EXPECT_EQ(service.status_note(), "no finder");
  EXPECT_EQ(observer.changes,
            (std::vector<Change>{{&service, SERVICE_READY, SERVICE_FAILED, SERVICE_FAILED}}));
}

TEST(Service, TellsNothingWhenTheStatusStaysButTakesTheNote) {
  Service service;
  Observer observer;
  ASSERT_TRUE(service.set_observer(&observer));
  service.set_status(SERVICE_READY, "again");
  EXPECT_TRUE(observer.changes.empty());
  EXPECT_EQ(service.status_note(), "again");
}

TEST(Service, HasAtMostOneObserver) {
  Service service;
  Observer one;
  Observer two;
  EXPECT_TRUE(service.set_observer(&one));
  EXPECT_FALSE(service.set_observer(&two));
  EXPECT_FALSE(service.set_observer(&one));
  service.set_status(SERVICE_RUNNING);
  EXPECT_EQ(one.changes.size(), 1U);
  EXPECT_TRUE(two.changes.empty());
}

TEST(Service, OnlyTheObserverThatIsSetCanBeUnset) {
  Service service;
  Observer one;
  Observer two;
  EXPECT_FALSE(service.unset_observer(&one));
  EXPECT_FALSE(service.unset_observer(nullptr));
  EXPECT_TRUE(service.set_observer(&one));
  EXPECT_FALSE(service.unset_observer(&two));
  EXPECT_TRUE(service.unset_observer(&one));
  service.set_status(SERVICE_RUNNING);
  EXPECT_TRUE(one.changes.empty());
}

}  // namespace
