// What the lists of an answer say about a configuration.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>

#include "framework/xrl/xrl_atom_list.h"
#include "tools/policyctl/language/configuration.h"

// Who answers is another process; one that is wrong must not end this one.
// Thrown by all that follow.
struct SenselessAnswer {};

// Lists whose elements belong to one another.
template <typename... Lists>
void require_size(std::size_t size, const Lists&... lists) {
  if (((lists.size() != size) || ...)) throw SenselessAnswer();
}

constexpr std::uint32_t PRIORITIES = 8;

// The queue of each priority from 0 on.
void store_queues(std::map<std::uint32_t, std::uint32_t>& map, const XrlAtomList& queues);
void store_fields(RuleFields& fields, const XrlAtomList& flags, const XrlAtomList& values);
void store_filters(Bindings& bindings, const XrlAtomList& acls, const XrlAtomList& rules);
void store_remarks(Bindings& bindings, const XrlAtomList& acls, const XrlAtomList& rules,
                   const XrlAtomList& kinds, const XrlAtomList& values);
