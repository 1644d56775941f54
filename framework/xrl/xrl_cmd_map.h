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

// What carrying a method out does to what its target tells: nothing; changes it, as an
// operator may ask for; changes it, as only the processes of the control plane tell
// each other; begins or ends a process.
enum class XrlMethodKind : std::uint8_t { READ, CHANGE, CONTROL, ADMIN };

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
    XrlMethodKind kind;

    [[nodiscard]] bool changes_something() const {
      return kind == XrlMethodKind::CHANGE || kind == XrlMethodKind::CONTROL;
    }
  };

  // `name`: the target's name, as the common interface tells it.
  explicit XrlCmdMap(std::string name) : _name(std::move(name)) {}
  virtual ~XrlCmdMap();
  XrlCmdMap(const XrlCmdMap&) = delete;
  XrlCmdMap& operator=(const XrlCmdMap&) = delete;

  [[nodiscard]] const std::string& name() const { return _name; }

  // False, and nothing changes, when the method is there already.
  bool add_handler(std::string method, Handler handler, void* target,
                   XrlMethodKind kind = XrlMethodKind::READ);
  // Takes back every method of `target`.
  void remove_handlers(void* target);

  // Null when there is none; lives until the handlers of its target are removed.
  [[nodiscard]] const Command* find(std::string_view method) const;
  // In the order they were added, those of keep_last() behind all others.
  [[nodiscard]] const std::vector<std::unique_ptr<Command>>& commands() const { return _commands; }

 protected:
  // The methods of the target that added the latest stay behind all that others add
  // from now on.
  void keep_last() { _last = _commands.back()->target; }
  // The key of a method that is being added; all zero here.
  virtual XrlKey make_key(std::string_view method);
  // After a method was added or taken back.
  virtual void commands_changed() {}

 private:
  std::string _name;
  const void* _last = nullptr;
  std::vector<std::unique_ptr<Command>> _commands;
  std::unordered_map<std::string_view, const Command*> _by_method;  // keys live in the commands
};
