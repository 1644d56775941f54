// ProfileFetch: fetches the log of a profiling variable and prints it.
//
// Enables the variable, asks its target for the log, and answers the entries
// that the target then sends, one after the other, until it says that there are
// no more. A variable that was not enabled before has none yet.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>

#include "framework/base/callback.h"
#include "framework/base/event_loop.h"
#include "framework/xrl/xrl_cmd_map.h"
#include "framework/xrl/xrl_error.h"
#include "framework/xrl/xrl_sender.h"
#include "tools/interfaces/profile_reader_tgt.h"

class ProfileFetch final : private XrlProfileReaderTargetBase {
 public:
  struct Request {
    std::string target;    // whose variable it is
    std::string variable;  // its name
    std::string reader;    // the target that `commands` are the methods of
    Duration patience{};   // how long nothing may be heard
  };

  // Adds its methods to `commands`, which must be registered when start() is
  // called. Each entry is written to `out`, a line an entry, errors to `err`:
  //   "1767225600.000250 port eth-0/3/1 created"
  //   "call_xrl: COMMAND_FAILED The profile variable x does not exist."
  // All that is referred to must outlive the fetch.
  ProfileFetch(EventLoop& loop, XrlCmdMap& commands, XrlSender& sender, Request request,
               std::ostream& out, std::ostream& err);

  // To be called once.
  void start();
  // The last answer leaves in the turn in which this becomes true.
  [[nodiscard]] bool is_done() const { return _failed || (_finished && _accepted); }
  // There was an error, or nothing was heard for too long.
  [[nodiscard]] bool failed() const { return _failed; }

 private:
  XrlCmdError profile_client_0_1_log(std::string_view pname, std::uint32_t sec, std::uint32_t usec,
                                     std::string_view text) override;
  XrlCmdError profile_client_0_1_finished(std::string_view pname) override;
  [[nodiscard]] bool is_expected(std::string_view pname) const;

  void enabled(const XrlError& error);
  void accepted(const XrlError& error);
  void heard();
  void fail(const XrlError& error);

  XrlSender& _sender;
  Request _request;
  std::ostream& _out;
  std::ostream& _err;
  bool _asked = false;     // for the log
  bool _accepted = false;  // it was promised; entries may come before
  bool _finished = false;
  bool _failed = false;
  Timer _silence;
  Lifeline _lifeline;
};
