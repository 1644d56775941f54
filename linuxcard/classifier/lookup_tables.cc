#include "linuxcard/classifier/lookup_tables.h"

#include <algorithm>
#include <bit>
#include <numeric>
#include <vector>

namespace {

constexpr std::uint32_t BYTES = 256;
constexpr std::uint32_t STEP_BITS = 4;
constexpr std::uint32_t STEP = 1U << STEP_BITS;

// From `start` on, up to the next one.
struct Interval {
  std::uint32_t start;
  std::uint32_t entry;
};

// Indices of those conditions that some value is in, in the order of `key`.
template <typename Key>
std::vector<std::uint32_t> ordered(std::span<const RangeCondition> conditions, std::uint32_t values,
                                   Key key) {
  std::vector<std::uint32_t> before(values + 1);
  for (const RangeCondition& c : conditions) {
    if (c.low <= c.high) ++before[key(c) + 1U];
  }
  std::partial_sum(before.begin(), before.end(), before.begin());
  std::vector<std::uint32_t> order(before.back());
  for (std::uint32_t i = 0; i < conditions.size(); ++i) {
    if (conditions[i].low <= conditions[i].high) order[before[key(conditions[i])]++] = i;
  }
  return order;
}

std::vector<Interval> intervals_of(std::span<const RangeCondition> conditions, std::uint32_t values,
                                   ChangingVector& vector) {
  const std::vector<std::uint32_t> begins =
      ordered(conditions, values, [](const RangeCondition& c) { return c.low; });
  const std::vector<std::uint32_t> ends =
      ordered(conditions, values, [](const RangeCondition& c) { return c.high; });
  std::vector<Interval> intervals;
  auto begin = begins.begin();
  auto end = ends.begin();
  std::uint32_t at = 0;
  while (true) {
    for (; end != ends.end() && conditions[*end].high + 1U == at; ++end) {
      vector.clear(conditions[*end].rule);
    }
    for (; begin != begins.end() && conditions[*begin].low == at; ++begin) {
      vector.set(conditions[*begin].rule);
    }
    intervals.push_back({at, vector.reference() | LEAF});
    if (end == ends.end()) return intervals;
    at = conditions[*end].high + 1U;
    if (begin != begins.end()) at = std::min<std::uint32_t>(at, conditions[*begin].low);
  }
}

// Writes the entry of each value in [first, first + BYTES) behind `cell`.
void write_entries(std::span<const Interval> intervals, std::uint32_t first, std::uint32_t cell,
                   CellStore& store) {
  for (std::size_t i = 0; i < intervals.size(); ++i) {
    const std::uint32_t from = std::max(intervals[i].start, first);
    const std::uint32_t to =
        i + 1 < intervals.size() ? std::min(intervals[i + 1].start, first + BYTES) : first + BYTES;
    for (std::uint32_t value = from; value < to; ++value) {
      store[cell + value - first] = intervals[i].entry;
    }
  }
}

// One prefix and the vector of what it and those around it leave.
struct Leaf {
  Prefix prefix;
  std::uint32_t entry;
};

bool contains(const Prefix& outer, const Prefix& inner) {
  if (outer.length > inner.length) return false;
  const auto upper_bits = [](std::uint32_t count) {
    return count == 0 ? 0 : ~std::uint64_t{0} << (64 - std::min(count, 64U));
  };
  return ((outer.upper ^ inner.upper) & upper_bits(outer.length)) == 0 &&
         (outer.length <= 64 || ((outer.lower ^ inner.lower) & upper_bits(outer.length - 64)) == 0);
}

std::vector<Leaf> leaves_of(std::span<const PrefixCondition> conditions, ChangingVector& vector) {
  std::vector<Leaf> leaves;
  std::vector<std::span<const PrefixCondition>> around;  // runs of one prefix, outer first
  const auto leave = [&] {
    for (const PrefixCondition& condition : around.back()) vector.clear(condition.rule);
    around.pop_back();
  };
  for (std::size_t at = 0; at < conditions.size();) {
    const Prefix& prefix = conditions[at].prefix;
    std::size_t end = at;
    while (end < conditions.size() && conditions[end].prefix == prefix) ++end;
    while (!around.empty() && !contains(around.back().front().prefix, prefix)) leave();
    around.push_back(conditions.subspan(at, end - at));
    for (const PrefixCondition& condition : around.back()) vector.set(condition.rule);
    leaves.push_back({prefix, vector.reference() | LEAF});
    at = end;
  }
  while (!around.empty()) leave();
  return leaves;
}

// A node of `count` equal entries.
std::uint32_t make_node(std::uint32_t count, std::uint32_t entry, CellStore& store) {
  const std::uint32_t node = store.allocate(count);
  for (std::uint32_t i = 0; i < count; ++i) store[node + i] = entry;
  return node;
}

void add_to_prefix4_table(const Leaf& leaf, std::uint32_t table, std::uint32_t root_bits,
                          CellStore& store) {
  std::uint32_t node = table;
  auto address = static_cast<std::uint32_t>(leaf.prefix.upper >> 32U);
  std::uint32_t bits = root_bits;  // of this node
  std::uint32_t length = leaf.prefix.length;
  while (length > bits) {
    const std::uint32_t slot = node + (address >> (32 - bits));
    if ((store[slot] & LEAF) != 0) {
      const std::uint32_t made = make_node(STEP, store[slot], store);
      store[slot] = made;
    }
    node = store[slot];
    address <<= bits;
    length -= bits;
    bits = STEP_BITS;
  }
  // What contains it came before, so all entries here are leaves of those.
  const std::uint32_t first = address >> (32 - bits);
  for (std::uint32_t i = 0; i < 1U << (bits - length); ++i) store[node + first + i] = leaf.entry;
}

std::uint32_t nibble_at(const Prefix& prefix, std::uint32_t bit) {
  const std::uint64_t half = bit < 64 ? prefix.upper : prefix.lower;
  return static_cast<std::uint32_t>(half >> (60 - bit % 64)) & (STEP - 1);
}

std::uint32_t shared_bits(const Prefix& a, const Prefix& b) {
  const std::uint64_t upper = a.upper ^ b.upper;
  if (upper != 0) return static_cast<std::uint32_t>(std::countl_zero(upper));
  return 64 + static_cast<std::uint32_t>(std::countl_zero(a.lower ^ b.lower));
}

// The entry for keys that share `depth` bits with all of `leaves`, which are longer than
// that; `otherwise` is the entry of what is around them.
std::uint32_t build_prefix6_entry(std::span<const Leaf> leaves, std::uint32_t otherwise,
                                  CellStore& store) {
  if (leaves.empty()) return otherwise;
  std::uint32_t shared = shared_bits(leaves.front().prefix, leaves.back().prefix);
  for (const Leaf& leaf : leaves) shared = std::min(shared, leaf.prefix.length - 1);
  shared -= shared % STEP_BITS;
  const std::uint32_t node = store.allocate(TRIE6_NODE);
  store.set_wide(node, leaves.front().prefix.upper);
  store.set_wide(node + 2, leaves.front().prefix.lower);
  store[node + TRIE6_SHARED_BITS] = shared;
  store[node + TRIE6_OTHERWISE] = otherwise;
  std::size_t at = 0;
  std::uint32_t entries[STEP];
  std::fill(std::begin(entries), std::end(entries), otherwise);
  for (std::uint32_t nibble = 0; nibble < STEP; ++nibble) {
    // Those that end within this step, which may be for more nibbles than this, come
    // before the longer ones of their first nibble.
    for (; at < leaves.size() && leaves[at].prefix.length <= shared + STEP_BITS &&
           nibble_at(leaves[at].prefix, shared) == nibble;
         ++at) {
      const std::uint32_t count = 1U << (shared + STEP_BITS - leaves[at].prefix.length);
      for (std::uint32_t i = nibble; i < nibble + count; ++i) entries[i] = leaves[at].entry;
    }
    const std::size_t first = at;
    while (at < leaves.size() && nibble_at(leaves[at].prefix, shared) == nibble) ++at;
    const std::uint32_t entry =
        build_prefix6_entry(leaves.subspan(first, at - first), entries[nibble], store);
    store[node + TRIE6_ENTRIES + nibble] = entry;
  }
  return node;
}

}  // namespace

std::uint32_t build_range_table(std::span<const RangeCondition> conditions, bool of_bytes,
                                ChangingVector& vector, CellStore& store) {
  const std::vector<Interval> intervals =
      intervals_of(conditions, of_bytes ? BYTES : BYTES * BYTES, vector);
  const std::uint32_t table = store.allocate(BYTES);
  if (of_bytes) {
    write_entries(intervals, 0, table, store);
    return table;
  }
  std::size_t at = 0;
  for (std::uint32_t upper = 0; upper < BYTES; ++upper) {
    const std::uint32_t first = upper * BYTES;
    while (at + 1 < intervals.size() && intervals[at + 1].start <= first) ++at;
    std::size_t end = at + 1;
    while (end < intervals.size() && intervals[end].start < first + BYTES) ++end;
    if (end == at + 1) {
      store[table + upper] = intervals[at].entry;
      continue;
    }
    const std::uint32_t node = store.allocate(BYTES);
    store[table + upper] = node;
    write_entries(std::span(intervals).subspan(at, end - at), first, node, store);
  }
  return table;
}

std::uint32_t build_prefix4_table(std::span<const PrefixCondition> conditions,
                                  std::uint32_t root_bits, ChangingVector& vector,
                                  CellStore& store) {
  const std::uint32_t none = vector.reference() | LEAF;
  const std::uint32_t table = make_node(1U << root_bits, none, store);
  for (const Leaf& leaf : leaves_of(conditions, vector)) {
    add_to_prefix4_table(leaf, table, root_bits, store);
  }
  return table;
}

std::uint32_t build_prefix6_table(std::span<const PrefixCondition> conditions,
                                  ChangingVector& vector, CellStore& store) {
  std::uint32_t otherwise = vector.reference() | LEAF;
  const std::vector<Leaf> leaves = leaves_of(conditions, vector);
  std::span<const Leaf> rest = leaves;
  if (!rest.empty() && rest.front().prefix.length == 0) {
    otherwise = rest.front().entry;
    rest = rest.subspan(1);
  }
  return build_prefix6_entry(rest, otherwise, store);
}
