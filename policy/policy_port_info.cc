#include "policy/policy_port_info.h"

#include <new>
#include <utility>

#include "platform/card_id.h"

PolicyPortInfo::PolicyPortInfo(PolicyTree& tree, std::string name)
    : PolicyInfo(tree, std::move(name)),
      card_id(get_card_id(this->name())),
      special_card(card_id == NO_CARD_ID) {}

int PolicyPortInfo::set_lag(bool member, std::string_view lag) {
  try {
    lag_name = lag;
  } catch (const std::bad_alloc&) {
    return -1;
  }
  lag_member = member;
  return 0;
}
