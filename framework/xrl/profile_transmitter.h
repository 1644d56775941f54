// ProfileTransmitter: sends the log of a profiling variable to a client, an
// entry at a time: the next one leaves when the client has acknowledged the
// one before. The log, which must be locked, stays locked until its last entry
// is acknowledged, and the client is told that it was the last one; or until
// an entry could not be delivered, and nothing more is sent.
//
// All in this header, so that its warnings are those of the module that sends.
#pragma once

#include <string>

#include "framework/base/callback.h"
#include "framework/base/profile.h"
#include "framework/base/xlog.h"
#include "framework/xrl/interfaces/profile_client_xif.h"
#include "framework/xrl/xrl_error.h"
#include "framework/xrl/xrl_router.h"

class ProfileTransmitter {
 public:
  // Sends what is left of the log of `pname` to the target `instance_name`.
  // Router and registry must live until the router has delivered its last
  // reply or is destroyed itself. Throws PVariableUnknown or
  // PVariableNotLocked for a log that cannot be read.
  static void transmit_log(const std::string& pname, XrlRouter* router,
                           const std::string& instance_name, Profile* profile) {
    ProfileLogEntry entry;
    if (!profile->read_log(pname, entry)) {
      profile->release_log(pname);
      transmit_finished(pname, router, instance_name);
      return;
    }
    XrlProfileClientV0p1Client client(router->sender());
    const bool queued = client.send_log(
        instance_name, pname, entry.time.seconds, entry.time.microseconds, entry.text,
        callback([pname, router, instance_name, profile](const XrlError& error) {
          transmit_callback(error, pname, router, instance_name, profile);
        }));
    if (!queued) transmit_callback(not_queued(), pname, router, instance_name, profile);
  }

 private:
  static void transmit_callback(const XrlError& error, const std::string& pname, XrlRouter* router,
                                const std::string& instance_name, Profile* profile) {
    if (error == XrlError::OKAY()) {
      transmit_log(pname, router, instance_name, profile);
      return;
    }
    XLOG_WARNING("%s", error.str().c_str());
    profile->release_log(pname);
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
