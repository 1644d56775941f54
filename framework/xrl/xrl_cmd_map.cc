#include "framework/xrl/xrl_cmd_map.h"

#include <utility>

XrlCmdMap::~XrlCmdMap() = default;

bool XrlCmdMap::add_handler(std::string method, Handler handler, void* target) {
  if (find(method) != nullptr) return false;
  const XrlKey key = make_key(method);
  _commands.push_back(std::make_unique<Command>(Command{std::move(method), handler, target, key}));
  _by_method.emplace(_commands.back()->method, _commands.back().get());
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
