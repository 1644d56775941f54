#include "tools/xrl_call.h"

#include <algorithm>
#include <utility>

namespace {

struct HeldAnswer final : RefCounted {
  explicit HeldAnswer(XrlAnswer held) : answer(std::move(held)) {}
  XrlAnswer answer;
};

void deliver(RefCounted& callback, const XrlError& error, XrlArgsReader& results) {
  const XrlAnswer& answer = static_cast<HeldAnswer&>(callback).answer;
  XrlArgs args;
  if (error.is_okay() && !results.all(args)) {
    answer(XrlError::INTERNAL_ERROR("the reply cannot be read: " + results.problem()), XrlArgs());
  } else {
    answer(error, args);
  }
}

}  // namespace

bool send_xrl(XrlSender& sender, const Xrl& request, XrlAnswer answer) {
  XrlArgsWriter args = sender.begin_args();
  for (const XrlAtom& atom : request.args) args.atom(atom);
  XrlReply reply{&deliver, ref_ptr<RefCounted>(new HeldAnswer(std::move(answer)))};
  return sender.send(request.target, request.method, std::move(reply));
}

std::string on_one_line(std::string_view text) {
  std::string line(text);
  const auto is_control = [](unsigned char c) { return c < 0x20 || c == 0x7f; };
  std::replace_if(line.begin(), line.end(), is_control, ' ');
  return line;
}

std::string error_line(const XrlError& error) {
  return "call_xrl: " + std::string(xrl_error_name(error.code())) + ' ' + on_one_line(error.note());
}
