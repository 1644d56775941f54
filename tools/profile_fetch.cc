#include "tools/profile_fetch.h"

#include <iomanip>
#include <ostream>
#include <utility>

#include "framework/xrl/interfaces/profile_xif.h"
#include "tools/xrl_call.h"

namespace {

constexpr int MICROSECOND_DIGITS = 6;

XrlError not_queued() {
  return XrlError::SEND_FAILED("the request could not be queued.");
}

}  // namespace

ProfileFetch::ProfileFetch(EventLoop& loop, XrlCmdMap& commands, XrlSender& sender, Request request,
                           std::ostream& out, std::ostream& err)
    : XrlProfileReaderTargetBase(&commands),
      _sender(sender),
      _request(std::move(request)),
      _out(out),
      _err(err),
      _silence(loop, [this] {
        fail(XrlError::REPLY_TIMED_OUT("nothing more was heard of " + _request.variable + "."));
      }) {}

void ProfileFetch::start() {
  heard();
  XrlProfileV0p1Client profile(&_sender);
  if (!profile.send_enable(_request.target, _request.variable,
                           callback(_lifeline, this, &ProfileFetch::enabled))) {
    fail(not_queued());
  }
}

void ProfileFetch::enabled(const XrlError& error) {
  if (_failed) return;
  if (!error.is_okay()) return fail(error);
  heard();
  _asked = true;
  XrlProfileV0p1Client profile(&_sender);
  if (!profile.send_get_entries(_request.target, _request.variable, _request.reader,
                                callback(_lifeline, this, &ProfileFetch::accepted))) {
    fail(not_queued());
  }
}

void ProfileFetch::accepted(const XrlError& error) {
  if (_failed) return;
  if (!error.is_okay()) return fail(error);
  heard();
  _accepted = true;
}

XrlCmdError ProfileFetch::profile_client_0_1_log(std::string_view pname, std::uint32_t sec,
                                                 std::uint32_t usec, std::string_view text) {
  if (!is_expected(pname)) return XrlCmdError::COMMAND_FAILED("this log was not asked for.");
  heard();
  _out << sec << '.' << std::setw(MICROSECOND_DIGITS) << std::setfill('0') << usec << ' '
       << on_one_line(text) << std::endl;
  return XrlCmdError::OKAY();
}

XrlCmdError ProfileFetch::profile_client_0_1_finished(std::string_view pname) {
  if (!is_expected(pname)) return XrlCmdError::COMMAND_FAILED("this log was not asked for.");
  heard();
  _finished = true;
  return XrlCmdError::OKAY();
}

bool ProfileFetch::is_expected(std::string_view pname) const {
  return _asked && !_finished && !_failed && pname == _request.variable;
}

void ProfileFetch::heard() {
  _silence.schedule_after(_request.patience);
}

void ProfileFetch::fail(const XrlError& error) {
  _failed = true;
  _silence.cancel();
  _err << error_line(error) << std::endl;
}
