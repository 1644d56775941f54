// A sender whose requests the test looks at and answers itself.
#pragma once

#include <deque>
#include <string>
#include <string_view>

#include "framework/xrl/byte_buffer.h"
#include "framework/xrl/xrl.h"
#include "framework/xrl/xrl_args_codec.h"
#include "framework/xrl/xrl_sender.h"

class FakeSender final : public XrlSender {
 public:
  XrlArgsWriter begin_args() override {
    _args.clear();
    return XrlArgsWriter(_args);
  }

  bool send(std::string_view target, std::string_view method, XrlReply reply) override {
    if (_sent.size() >= room) return false;
    XrlArgs args;
    if (!XrlArgsReader(_args.bytes()).all(args)) return false;
    const Xrl request{std::string(target), std::string(method), args};
    _sent.push_back({request.str(), std::move(reply)});
    return true;
  }

  // Requests that are not answered yet, in the order sent.
  [[nodiscard]] std::size_t size() const { return _sent.size(); }
  [[nodiscard]] const std::string& request(std::size_t index = 0) const {
    return _sent.at(index).request;
  }

  void answer(const XrlError& error, std::string_view results = {}, std::size_t index = 0) {
    ByteBuffer bytes;
    XrlArgsWriter writer(bytes);
    for (const XrlAtom& atom : XrlArgs::parse(results)) writer.atom(atom);
    answer_bytes(error, bytes.bytes(), index);
  }
  void answer_bytes(const XrlError& error, std::span<const std::uint8_t> results,
                    std::size_t index = 0) {
    const XrlReply reply = _sent.at(index).reply;
    _sent.erase(_sent.begin() + static_cast<std::ptrdiff_t>(index));
    XrlArgsReader reader(results);
    reply.deliver(*reply.callback, error, reader);
  }

  // Past this many unanswered requests it takes none.
  std::size_t room = 1U << 20U;

 private:
  struct Sent {
    std::string request;
    XrlReply reply;
  };
  ByteBuffer _args;
  std::deque<Sent> _sent;
};
