// XrlCmdMap: the methods that a target answers, by name and by key.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "framework/xrl/xrl_args_codec.h"
#include "framework/xrl/xrl_error.h"
#include "framework/xrl/xrl_key.h"

class XrlCmdMap {
 public:
  // Reads arguments, writes results, answers. Results count only when the
  // answer is OKAY.
  using Handler = XrlCmdError (*)(void* target, XrlArgsReader& in, XrlArgsWriter& out);
  struct Command {
    std::string method;  // "INTERFACE/VERSION/METHOD"
    Handler handler;
    void* target;
    XrlKey key;
  };

  // `name`: the target's name, as the common interface tells it.
  explicit XrlCmdMap(std::string name) : _name(std::move(name)) {}
  virtual ~XrlCmdMap();
  XrlCmdMap(const XrlCmdMap&) = delete;
  XrlCmdMap& operator=(const XrlCmdMap&) = delete;

  [[nodiscard]] const std::string& name() const { return _name; }

  // False, and nothing changes, when the method is there already.
  bool add_handler(std::string method, Handler handler, void* target);
  // Takes back every method of `target`.
  void remove_handlers(void* target);

  [[nodiscard]] const Command* find(std::string_view method) const;
  // In the order they were added.
  [[nodiscard]] const std::vector<std::unique_ptr<Command>>& commands() const { return _commands; }

 protected:
  // The key of a method that is being added; all zero here.
  virtual XrlKey make_key(std::string_view method);
  // After a method was added or taken back.
  virtual void commands_changed() {}

 private:
  std::string _name;
  std::vector<std::unique_ptr<Command>> _commands;
  std::unordered_map<std::string_view, const Command*> _by_method;  // keys live in the commands
};
