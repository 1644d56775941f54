#include "tools/policyctl/render/print_uses.h"

#include <algorithm>
#include <ostream>
#include <string>
#include <utility>

void print_uses(std::ostream& out, const std::vector<ObjectUse>& uses, std::size_t most) {
  std::string record;
  for (std::size_t i = 0; i < std::min(most, uses.size()); ++i) {
    const ObjectUse& use = uses[i];
    const std::string place = place_of(use);
    if (place != record) out << place << '\n';
    record = place;
    out << "  " << statement_of(use) << '\n';
  }
  if (uses.size() > most) {
    out << "... and " << uses.size() - most << " more; all with --all\n";
  }
}

Json uses_json(const ObjectName& object, const std::vector<ObjectUse>& uses) {
  Json list = Json::array();
  for (const ObjectUse& use : uses) {
    const EntryKind& head = *head_of(*use.kind, use.key);
    Json json = entry_json(head, key_above(*use.kind, use.key), {});
    json["statement"] = statement_of(use);
    list.push_back(std::move(json));
  }
  return {{"object", text_json(object.name())}, {"uses", std::move(list)}};
}
