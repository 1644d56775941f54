#include "framework/xrl/xrl_cmd_map.h"

#include <iterator>
#include <utility>

XrlCmdMap::~XrlCmdMap() = default;

bool XrlCmdMap::add_handler(std::string method, Handler handler, void* target, XrlMethodKind kind) {
  if (find(method) != nullptr) return false;
  const XrlKey key = make_key(method);
  auto at = _commands.end();
  while (at != _commands.begin() && (*std::prev(at))->target == _last) --at;
  const auto& added = *_commands.insert(
      at, std::make_unique<Command>(Command{std::move(method), handler, target, key, kind}));
  _by_method.emplace(added->method, added.get());
  commands_changed();
  return true;
}

void XrlCmdMap::remove_handlers(void* target) {
  const auto is_of_target = [target](const auto& entry) { return entry.second->target == target; };
  if (std::erase_if(_by_method, is_of_target) == 0) return;
  std::erase_if(_commands, [target](const auto& command) { return command->target == target; });
  commands_changed();
}

const XrlCmdMap::Command* XrlCmdMap::find(std::string_view method) const {
  const auto found = _by_method.find(method);
  return found == _by_method.end() ? nullptr : found->second;
}

XrlKey XrlCmdMap::make_key(std::string_view /*method*/) {
  return {};
}
