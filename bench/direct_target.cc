#include "bench/direct_target.h"

#include <unistd.h>

#include "bench/measure.h"
#include "framework/base/xlog.h"
#include "framework/xrl/xrl_args.h"

namespace {

XrlErrorCode answer_to(const DirectTarget::Request& request) {
  ByteBuffer results;
  XrlArgsReader in(request.args.bytes());
  XrlArgsWriter out(results);
  return request.command->handler(request.command->target, in, out).error().code();
}

void require(XrlErrorCode answer, XrlErrorCode wanted, const std::string& request) {
  if (answer == wanted) [[likely]]
    return;
  give_up(request + " is answered " + std::string(xrl_error_name(answer)));
}

}  // namespace

DirectTarget::DirectTarget() {
  // Warnings cost what they cost, short of their output.
  xlog_init("store_bench", nullptr);
  xlog_start();
  xlog_add_output([](const XlogRecord&) {});
  _node.startup();
}

DirectTarget::Request DirectTarget::request(const std::string& text) const {
  const std::size_t mark = text.find('?');
  std::string method = text.substr(0, mark);
  if (method.find('/') == std::string::npos) method.insert(0, "policy_config/0.1/");
  Request request{_router.find(method), {}, text};
  if (request.command == nullptr) give_up("no such method: " + text);
  XrlArgsWriter writer(request.args);
  if (mark != std::string::npos) {
    for (const XrlAtom& atom : XrlArgs::parse(text.substr(mark + 1))) writer.atom(atom);
  }
  return request;
}

double DirectTarget::seconds_of(const Request& request, XrlErrorCode wanted) {
  const Stopwatch watch;
  const XrlErrorCode answer = answer_to(request);
  const double seconds = watch.seconds();
  require(answer, wanted, request.text);
  return seconds;
}

double DirectTarget::cpu_seconds_of(const Request& request, XrlErrorCode wanted) {
  const double before = cpu_seconds(getpid());
  const XrlErrorCode answer = answer_to(request);
  const double seconds = cpu_seconds(getpid()) - before;
  require(answer, wanted, request.text);
  return seconds;
}
