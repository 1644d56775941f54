// An XrlSender whose requests run in a command map of the same process: what
// a stub wrote is what a handler reads, and the reply waits for deliver().
#pragma once

#include <deque>
#include <optional>
#include <string>

#include "framework/xrl/byte_buffer.h"
#include "framework/xrl/xrl_args.h"
#include "framework/xrl/xrl_cmd_map.h"
#include "framework/xrl/xrl_sender.h"

class LoopbackSender : public XrlSender {
 public:
  explicit LoopbackSender(const XrlCmdMap& cmds) : _cmds(cmds) {}

  XrlArgsWriter begin_args() override {
    _args.clear();
    return XrlArgsWriter(_args);
  }

  bool send(std::string_view target, std::string_view method, XrlReply reply) override {
    _target = target;
    _method = method;
    if (!_accepts) return false;
    Answer answer = call(method, _args);
    if (_results) {
      answer.results.clear();
      write(*_results, answer.results);
    }
    _waiting.push_back({std::move(reply), std::move(answer)});
    return true;
  }

  // Hands out the replies to all requests so far.
  void deliver() {
    while (!_waiting.empty()) {
      const Waiting waiting = std::move(_waiting.front());
      _waiting.pop_front();
      XrlArgsReader results(waiting.answer.results.bytes());
      waiting.reply.deliver(*waiting.reply.callback, waiting.answer.error, results);
    }
  }

  // Requests are refused from now on.
  void refuse() { _accepts = false; }
  // Every OKAY answer from now on has these results, in textual form, instead.
  void answer_with(std::string_view results) { _results = XrlArgs::parse(results); }

  // The target and the method of the last request, and its arguments.
  [[nodiscard]] const std::string& target() const { return _target; }
  [[nodiscard]] const std::string& method() const { return _method; }
  [[nodiscard]] std::string args() const {
    XrlArgs args;
    XrlArgsReader reader(_args.bytes());
    return reader.all(args) ? args.str() : reader.problem();
  }

  struct Answer {
    XrlError error;
    ByteBuffer results;

    [[nodiscard]] std::string results_str() const {
      XrlArgs args;
      XrlArgsReader reader(results.bytes());
      return reader.all(args) ? args.str() : reader.problem();
    }
  };
  // Runs a handler on arguments that no stub would write.
  [[nodiscard]] Answer call(std::string_view method, const ByteBuffer& args) const {
    const XrlCmdMap::Command* command = _cmds.find(method);
    if (command == nullptr) return {XrlError::NO_SUCH_METHOD(), {}};
    Answer answer;
    XrlArgsReader in(args.bytes());
    XrlArgsWriter out(answer.results);
    answer.error = command->handler(command->target, in, out).error();
    return answer;
  }
  [[nodiscard]] Answer call(std::string_view method, std::string_view args) const {
    ByteBuffer encoded;
    write(XrlArgs::parse(args), encoded);
    return call(method, encoded);
  }

 private:
  struct Waiting {
    XrlReply reply;
    Answer answer;
  };

  static void write(const XrlArgs& args, ByteBuffer& to) {
    XrlArgsWriter writer(to);
    for (const XrlAtom& atom : args) writer.atom(atom);
  }

  const XrlCmdMap& _cmds;
  ByteBuffer _args;
  std::string _target;
  std::string _method;
  bool _accepts = true;
  std::optional<XrlArgs> _results;
  std::deque<Waiting> _waiting;
};
