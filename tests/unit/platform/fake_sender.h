// A sender without a network: keeps what is sent until the test answers it.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "framework/xrl/byte_buffer.h"
#include "framework/xrl/xrl_args.h"
#include "framework/xrl/xrl_args_codec.h"
#include "framework/xrl/xrl_sender.h"

class FakeSender final : public XrlSender {
 public:
  XrlArgsWriter begin_args() override {
    _args.clear();
    return XrlArgsWriter(_args);
  }
  bool send(std::string_view target, std::string_view method, XrlReply reply) override {
    if (_refusing) return false;
    XrlArgsReader reader(_args.bytes());
    XrlArgs args;
    if (!reader.all(args)) return false;
    std::string text(target);
    text.append(" ").append(method).append("?").append(args.str());
    _sent.push_back({std::move(text), std::move(reply)});
    return true;
  }

  // From now on send() answers false, or true again.
  void refuse(bool refusing) { _refusing = refusing; }

  // Requests that the test has not answered.
  [[nodiscard]] std::size_t waiting() const { return _sent.size(); }
  // Each as "TARGET METHOD?ARGUMENTS", the oldest first.
  [[nodiscard]] std::vector<std::string> waiting_texts() const {
    std::vector<std::string> texts;
    for (const Sent& sent : _sent) texts.push_back(sent.text);
    return texts;
  }
  // The only one; a text that says so when there is not exactly one.
  [[nodiscard]] std::string only_text() const {
    if (_sent.size() != 1) return std::to_string(_sent.size()) + " requests wait";
    return _sent.front().text;
  }

  // Answers the oldest; results only with OKAY.
  void answer(const XrlError& error = XrlError::OKAY(), const XrlArgs& results = {}) {
    Sent sent = std::move(_sent.front());
    _sent.erase(_sent.begin());
    ByteBuffer buffer;
    XrlArgsWriter writer(buffer);
    for (const XrlAtom& atom : results) writer.atom(atom);
    XrlArgsReader reader(buffer.bytes());
    sent.reply.deliver(*sent.reply.callback, error, reader);
  }

 private:
  struct Sent {
    std::string text;
    XrlReply reply;
  };
  ByteBuffer _args;
  bool _refusing = false;
  std::vector<Sent> _sent;
};
