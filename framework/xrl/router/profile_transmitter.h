// ProfileTransmitter: sends the log of a profiling variable to a client, an
// entry at a time: the next one leaves when the client has acknowledged the
// one before. The log, which must be locked, stays locked until its last entry
// is acknowledged, and the client is told that it was the last one; or until
// an entry could not be delivered or memory ran out for it, and nothing more is
// sent.
//
// All in this header, so that its warnings are those of the module that sends.
#pragma once

#include <memory>
#include <new>
#include <string>

#include "framework/base/callback.h"
#include "framework/base/profile.h"
#include "framework/base/unless_kept.h"
#include "framework/base/xlog.h"
#include "framework/xrl/interfaces/profile_client_xif.h"
#include "framework/xrl/router/xrl_router.h"
#include "framework/xrl/xrl_error.h"

class ProfileTransmitter {
 public:
  // Sends what is left of the log of `pname` to the target `instance_name`.
  // Router and registry must live until the router has delivered its last
  // reply or is destroyed itself. Throws PVariableUnknown or
  // PVariableNotLocked for a log that cannot be read, and std::bad_alloc, the log
  // then being unlocked.
  static void transmit_log(const std::string& pname, XrlRouter* router,
                           const std::string& instance_name, Profile* profile) {
    switch (send_next(pname, router, instance_name, profile)) {
      case Next::SENT:
        return;
      case Next::NOT_QUEUED:
        transmit_callback(not_queued(), pname, router, instance_name, profile);
        return;
      case Next::NONE_LEFT:
        profile->release_log(pname);
        transmit_finished(pname, router, instance_name);
        return;
    }
  }

 private:
  enum class Next { SENT, NOT_QUEUED, NONE_LEFT };

  static Next send_next(const std::string& pname, XrlRouter* router,
                        const std::string& instance_name, Profile* profile) {
    // A request that could not be queued as a whole may still be answered, with
    // an error, when the log is no longer this transmission's.
    std::shared_ptr<bool> given_up;
    try {
      given_up = std::make_shared<bool>(false);
      ProfileLogEntry entry;
      if (!profile->read_log(pname, entry)) return Next::NONE_LEFT;
      XrlProfileClientV0p1Client client(router->sender());
      const bool queued = client.send_log(
          instance_name, pname, entry.time.seconds, entry.time.microseconds, entry.text,
          callback([pname, router, instance_name, profile, given_up](const XrlError& error) {
            if (!*given_up) transmit_callback(error, pname, router, instance_name, profile);
          }));
      return queued ? Next::SENT : Next::NOT_QUEUED;
    } catch (const std::bad_alloc&) {
      if (given_up) *given_up = true;
      profile->release_log(pname);
      throw;
    }
  }

  static void transmit_callback(const XrlError& error, const std::string& pname, XrlRouter* router,
                                const std::string& instance_name, Profile* profile) {
    if (error == XrlError::OKAY()) {
      transmit_log(pname, router, instance_name, profile);
      return;
    }
    // Behind the warning, also when that finds no memory.
    const UnlessKept release([&] { profile->release_log(pname); });
    XLOG_WARNING("%s", error.str().c_str());
  }

  static void transmit_finished(const std::string& pname, XrlRouter* router,
                                const std::string& instance_name) {
    XrlProfileClientV0p1Client client(router->sender());
    const bool queued = client.send_finished(
        instance_name, pname,
        callback([](const XrlError& error) { transmit_finished_callback(error); }));
    if (!queued) transmit_finished_callback(not_queued());
  }

  static void transmit_finished_callback(const XrlError& error) {
    if (!(error == XrlError::OKAY())) XLOG_WARNING("%s", error.str().c_str());
  }

  // A request that the router does not take has failed like any other.
  static XrlError not_queued() { return XrlError::SEND_FAILED("the request could not be queued"); }
};
