// A router without a network: keeps what is sent until the test answers it,
// and runs handlers as a request would.
#pragma once

#include <cstddef>
#include <new>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "framework/xrl/byte_buffer.h"
#include "framework/xrl/router/xrl_router.h"
#include "framework/xrl/xrl_args.h"
#include "framework/xrl/xrl_args_codec.h"

class FakeRouter final : public XrlRouter {
 public:
  explicit FakeRouter(std::string class_name) : XrlRouter(std::move(class_name)) {}

  [[nodiscard]] const std::string& instance_name() const override { return _instance_name; }
  [[nodiscard]] IPv4 finder_address() const override { return IPv4::loopback(); }
  [[nodiscard]] std::uint16_t finder_port() const override { return 19999; }
  [[nodiscard]] bool ready() const override { return true; }
  [[nodiscard]] std::size_t pending() const override { return _sent.size(); }

  XrlArgsWriter begin_args() override {
    _args.clear();
    return XrlArgsWriter(_args);
  }
  bool send(std::string_view target, std::string_view method, XrlReply reply) override {
    if (_accepted_until_refusal == 0) return false;
    --_accepted_until_refusal;
    std::string text(target);
    text.append(" ").append(method).append("?").append(text_of(_args));
    _sent.push_back({std::move(text), std::move(reply)});
    if (std::exchange(_fails_next, false)) throw std::bad_alloc();
    return true;
  }

  void end_instances_before(std::string_view class_name, std::string_view living) override {
    _ended.push_back(std::string(class_name) + " before " + std::string(living));
  }
  // Of what the connections were closed, each as "CLASS before INSTANCE".
  [[nodiscard]] const std::vector<std::string>& ended() const { return _ended; }

  // After `count` more requests send() answers false.
  void refuse_after(std::size_t count) { _accepted_until_refusal = count; }
  // The next send() runs out of memory when the request is queued already.
  void fail_next() { _fails_next = true; }

  // The requests that wait for an answer, the oldest first, each as
  // "TARGET METHOD?ARGUMENTS".
  [[nodiscard]] std::vector<std::string> sent() const {
    std::vector<std::string> texts;
    for (const Sent& sent : _sent) texts.push_back(sent.text);
    return texts;
  }
  // Answers the oldest one.
  void answer(const XrlError& error = XrlError::OKAY()) {
    const Sent sent = std::move(_sent.front());
    _sent.erase(_sent.begin());
    const ByteBuffer none;
    XrlArgsReader results(none.bytes());
    sent.reply.deliver(*sent.reply.callback, error, results);
  }

  // Runs the method of the request "METHOD?ARGUMENTS" and answers what the
  // caller would see: "100 RESULTS", or the code and the text of a refusal.
  [[nodiscard]] std::string call(std::string_view request) const {
    const std::size_t mark = request.find('?');
    const Command* command = find(request.substr(0, mark));
    if (command == nullptr) return "no such method";
    ByteBuffer args;
    XrlArgsWriter writer(args);
    if (mark != std::string_view::npos) {
      for (const XrlAtom& atom : XrlArgs::parse(request.substr(mark + 1))) writer.atom(atom);
    }
    ByteBuffer results;
    XrlArgsReader in(args.bytes());
    XrlArgsWriter out(results);
    const XrlCmdError answer = command->handler(command->target, in, out);
    return std::to_string(answer.error().error_code()) + " " +
           (answer.is_okay() ? text_of(results) : answer.note());
  }

 private:
  struct Sent {
    std::string text;
    XrlReply reply;
  };

  static std::string text_of(const ByteBuffer& encoded) {
    XrlArgs args;
    XrlArgsReader reader(encoded.bytes());
    return reader.all(args) ? args.str() : reader.problem();
  }

  std::string _instance_name = name() + "-0123456789abcdef";
  std::size_t _accepted_until_refusal = static_cast<std::size_t>(-1);
  bool _fails_next = false;
  ByteBuffer _args;
  std::vector<Sent> _sent;
  std::vector<std::string> _ended;
};
