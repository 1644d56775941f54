#include "tools/policyctl/switch/answer_lists.h"

#include <string_view>

void store_queues(std::map<std::uint32_t, std::uint32_t>& map, const XrlAtomList& queues) {
  require_size(PRIORITIES, queues);
  std::uint32_t priority = 0;
  for (const std::uint32_t queue : queues.u32s()) map[priority++] = queue;
}

void store_fields(RuleFields& fields, const XrlAtomList& flags, const XrlAtomList& values) {
  require_size(values.size(), flags);
  std::size_t bytes = 0;
  for (const std::string_view value : values.texts()) bytes += value.size();
  fields.reserve(flags.size(), bytes);
  std::size_t i = 0;
  for (const std::string_view value : values.texts()) fields.append(flags.u32_at(i++), value);
}

void store_filters(Bindings& bindings, const XrlAtomList& acls, const XrlAtomList& rules) {
  require_size(acls.size(), rules);
  bindings.filters.reserve(acls.size());
  for (std::size_t i = 0; i < acls.size(); ++i) {
    bindings.filters.push_back({acls.u32_at(i), rules.u32_at(i)});
  }
}

void store_remarks(Bindings& bindings, const XrlAtomList& acls, const XrlAtomList& rules,
                   const XrlAtomList& kinds, const XrlAtomList& values) {
  require_size(acls.size(), rules, kinds, values);
  for (std::size_t i = 0; i < acls.size(); ++i) {
    bindings.remarks[{acls.u32_at(i), rules.u32_at(i)}] = {kinds.u32_at(i), values.u32_at(i)};
  }
}
