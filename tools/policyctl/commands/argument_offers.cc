#include "tools/policyctl/commands/argument_offers.h"

#include "tools/policyctl/change/checkpoints.h"
#include "tools/policyctl/import/import_text.h"
#include "tools/policyctl/render/topics.h"

namespace {

void offer_checkpoints(const Context& context, const std::string& prefix, Offers& offers) {
  std::size_t number = 0;
  for (const Checkpoint& each : list_checkpoints(StateDirectory(context.place))) {
    offers.push_back({prefix + std::to_string(++number), each.time + "  " + each.why});
  }
}

void offer_topics(const Context& context, Offers& offers) {
  for (const Command& each : commands()) {
    if (!each.is_told_of() || each.name.empty() || !can_be_typed(each.typed, context.where))
      continue;
    offers.push_back({std::string(each.name), std::string(each.help)});
  }
  for (const std::string& topic : language_topics()) offers.push_back({topic, ""});
}

}  // namespace

Offers argument_offers(const Context& context, const Argument& argument) {
  Offers offers;
  switch (argument.names) {
    case Named::SIDES:
      offers.push_back({"switch", "the switch as it is"});
      offer_checkpoints(context, "checkpoint:", offers);
      break;
    case Named::CHECKPOINTS:
      offer_checkpoints(context, "", offers);
      break;
    case Named::FORMATS:
      for (const ImportFormat& each : import_formats()) {
        offers.push_back({std::string(each.name), std::string(each.help)});
      }
      break;
    case Named::TOPICS:
      offer_topics(context, offers);
      break;
    default:
      break;
  }
  return offers;
}
