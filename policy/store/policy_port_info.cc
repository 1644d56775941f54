#include "policy/store/policy_port_info.h"

#include <utility>

#include "platform/card_id.h"
#include "policy/store/memory_reserve.h"

PolicyPortInfo::PolicyPortInfo(PolicyTree& tree, std::string name)
    : PolicyInfo(tree, std::move(name)),
      card_id(get_card_id(this->name())),
      special_card(card_id == NO_CARD_ID) {}

int PolicyPortInfo::set_lag(bool member, std::string_view lag) {
  return unless_out_of_memory([&] {
    lag_name = lag;
    lag_member = member;
    return 0;
  });
}
