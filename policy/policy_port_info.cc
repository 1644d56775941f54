#include "policy/policy_port_info.h"

#include <utility>

#include "platform/card_id.h"

PolicyPortInfo::PolicyPortInfo(PolicyTree& tree, std::string name)
    : PolicyInfo(tree, std::move(name)),
      card_id(get_card_id(this->name())),
      special_card(card_id == NO_CARD_ID) {}
