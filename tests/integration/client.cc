#include "tests/integration/client.h"

#include <chrono>
#include <memory>
#include <optional>
#include <utility>

#include "tools/xrl_call.h"

namespace {

// Between two tries of a condition that does not hold yet.
constexpr std::chrono::milliseconds BETWEEN_TRIES{5};

std::string answer_text(const XrlError& error, const XrlArgs& results) {
  const std::string rest = error.is_okay() ? results.str() : error.note();
  return std::to_string(error.error_code()) + (rest.empty() ? "" : " " + rest);
}

}  // namespace

Client::Client(const std::string& finder_host, std::uint16_t finder_port, const char* class_name)
    : _router(_loop, class_name, finder_host.c_str(), finder_port, false) {}

std::string Client::ask(const std::string& request) {
  return ask(Xrl::parse("finder://" + request));
}

std::string Client::ask(const Xrl& request) {
  if (!turn_until([this] { return _router.ready(); })) return "not sent";
  // Shared with the callback, which may run after the wait was given up.
  const auto answer = std::make_shared<std::optional<std::string>>();
  if (!post(request, [answer](const std::string& text) { *answer = text; })) return "not sent";
  turn_until([&] { return answer->has_value(); });
  return answer->value_or("no answer");
}

bool Client::post(const Xrl& request, Answered answered) {
  return send_xrl(_router, request,
                  [answered = std::move(answered)](const XrlError& error, const XrlArgs& results) {
                    answered(answer_text(error, results));
                  });
}

bool Client::until(const std::function<bool()>& condition) {
  bool late = false;
  Timer limit(_loop, [&late] { late = true; });
  limit.schedule_after(PATIENCE);
  bool again = false;
  Timer pace(_loop, [&again] { again = true; });
  while (!condition()) {
    if (late) return false;
    again = false;
    pace.schedule_after(BETWEEN_TRIES);
    turn_until([&again] { return again; });
  }
  return true;
}
