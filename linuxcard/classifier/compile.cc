#include "linuxcard/classifier/compile.h"

#include <algorithm>
#include <array>
#include <bit>
#include <numeric>
#include <tuple>
#include <utility>

#include "linuxcard/classifier/cell_store.h"
#include "linuxcard/classifier/lookup_tables.h"

namespace {

constexpr std::uint32_t TIME_RANGE_FIELD = 32;
constexpr std::uint32_t NO_POSITION = ~0U;
// Lists with fewer addresses than this have a small first step of their table.
constexpr std::size_t MANY_PREFIXES = 256;
// Of one rule, and twice what most need: memory that is not used costs nothing.
constexpr std::size_t LIKELY_CELLS = 512;
constexpr std::uint32_t LARGE_ROOT_BITS = 16;
constexpr std::uint32_t SMALL_ROOT_BITS = 8;

struct RuleOfPart {
  const PolicyRule* rule;
  std::uint16_t vlan;
};

std::vector<RuleOfPart> rules_of(std::span<const ListPart> parts) {
  std::vector<RuleOfPart> rules;
  for (const ListPart& part : parts) {
    if (part.rules == nullptr) continue;
    for (const PolicyRule& rule : *part.rules) rules.push_back({&rule, part.vlan});
  }
  return rules;
}

// The fewest pages that hold so many rules.
std::uint32_t pages_for(std::size_t rules) {
  return static_cast<std::uint32_t>((rules + PAGE_BITS - 1) / PAGE_BITS);
}

// What rules are sorted by, so that those a packet may match stand together.
struct Likeness {
  std::uint32_t vlan = 0;
  std::uint32_t address = 0;  // places of prefixes in their order, counted from 1
  std::uint32_t other_address = 0;
  std::uint32_t service = 0;
  std::uint32_t mac = 0;
  std::uint32_t index = 0;
  auto operator<=>(const Likeness&) const =
      default;  // NOLINT(modernize-use-nullptr): in what the compiler makes
};

class Compiler {
 public:
  Compiler(std::vector<RuleOfPart> rules, Conditions conditions, std::size_t most_cells)
      : _rules(std::move(rules)),
        _conditions(std::move(conditions)),
        _words(static_cast<std::size_t>(pages_for(_rules.size())) * PAGE_WORDS),
        _position(_rules.size()),
        _store(most_cells, _rules.size() * LIKELY_CELLS) {}

  // Throws TablesTooLarge.
  [[nodiscard]] CompiledList run();

 private:
  void sort_prefixes();
  // Answers the number of distinct prefixes.
  std::uint32_t note_addresses(unsigned dimension, std::uint32_t offset,
                               std::vector<std::uint32_t>& places) const;
  void place_rules();
  void write_rules();
  void build_dimension(unsigned dimension);
  void build_table(unsigned dimension, std::vector<std::uint64_t> without);
  void make_room_for_enabled();

  template <typename Condition>
  void to_positions(std::vector<Condition>& conditions) const {
    for (Condition& condition : conditions) condition.rule = _position[condition.rule];
  }

  const std::vector<RuleOfPart> _rules;
  Conditions _conditions;
  const std::size_t _words;
  std::vector<std::uint32_t> _position;  // by index
  CellStore _store;
  ListHeader _header{};
  std::vector<std::uint64_t> _all;      // a bit for each position that has a rule
  std::vector<std::uint64_t> _denying;  // likewise, that has one that denies
};

void Compiler::sort_prefixes() {
  for (std::vector<PrefixCondition>& conditions : _conditions.prefixes) {
    std::sort(conditions.begin(), conditions.end(),
              [](const PrefixCondition& a, const PrefixCondition& b) {
                return std::tie(a.prefix, a.rule) < std::tie(b.prefix, b.rule);
              });
  }
}

std::uint32_t Compiler::note_addresses(unsigned dimension, std::uint32_t offset,
                                       std::vector<std::uint32_t>& places) const {
  std::uint32_t place = offset;
  const Prefix* last = nullptr;
  for (const PrefixCondition& condition : _conditions.prefixes[dimension]) {
    if (last == nullptr || *last != condition.prefix) ++place;
    last = &condition.prefix;
    places[condition.rule] = place;
  }
  return place;
}

// Alike are rules with equal addresses; those that look at no address come first and
// stand by their ports. A packet's vectors then have bits in few words in common, however
// many rules do without one of the fields. By which address rules are sorted first does
// not matter for what matches; the one that tells more of them apart is better.
void Compiler::place_rules() {
  std::vector<std::uint32_t> sources(_rules.size());
  std::vector<std::uint32_t> destinations(_rules.size());
  const std::uint32_t source_count =
      note_addresses(DIM_SRC6, note_addresses(DIM_SRC4, 0, sources), sources);
  const std::uint32_t destination_count =
      note_addresses(DIM_DST6, note_addresses(DIM_DST4, 0, destinations), destinations);
  if (destination_count > source_count) std::swap(sources, destinations);

  std::vector<Likeness> order(_rules.size());
  for (std::uint32_t i = 0; i < _rules.size(); ++i) {
    order[i].vlan = _rules[i].vlan;
    order[i].address = sources[i];
    order[i].other_address = destinations[i];
    order[i].index = i;
  }
  for (const RangeCondition& c : _conditions.ranges[DIM_DST_PORT]) {
    order[c.rule].service = 1U + c.low;
  }
  for (const RangeCondition& c : _conditions.ranges[DIM_SRC_PORT]) {
    if (order[c.rule].service == 0) order[c.rule].service = 0x10001U + c.low;
  }
  for (unsigned byte = 3; byte < 6; ++byte) {
    for (const unsigned dimension : {DIM_SRC_MAC + byte, DIM_DST_MAC + byte}) {
      for (const RangeCondition& c : _conditions.ranges[dimension]) {
        order[c.rule].mac = order[c.rule].mac << 8U | c.low;
      }
    }
  }
  std::sort(order.begin(), order.end());
  // Within a word by index, so that its first bit is its first rule.
  for (std::size_t begin = 0; begin < order.size(); begin += WORD_BITS) {
    const std::size_t end = std::min<std::size_t>(begin + WORD_BITS, order.size());
    std::sort(order.begin() + static_cast<std::ptrdiff_t>(begin),
              order.begin() + static_cast<std::ptrdiff_t>(end),
              [](const Likeness& a, const Likeness& b) { return a.index < b.index; });
  }
  for (std::uint32_t position = 0; position < order.size(); ++position) {
    _position[order[position].index] = position;
  }
}

std::uint64_t told_rule(const PolicyRule& rule, std::uint32_t index) {
  std::uint64_t told = static_cast<std::uint64_t>(index) << RULE_INDEX_SHIFT;
  if (rule.action == RuleAction::PERMIT) told |= RULE_PERMITS;
  if (rule.remark) {
    told |= rule.remark->kind == RemarkKind::DSCP ? RULE_REMARKS_DSCP : RULE_REMARKS_PRIORITY;
    told |= static_cast<std::uint64_t>(rule.remark->value) << RULE_VALUE_SHIFT;
  }
  return told;
}

void Compiler::write_rules() {
  _all.resize(_words);
  _denying.resize(_words);
  _header.rules = _store.allocate(2 * _words * WORD_BITS);
  _header.first_in_word = _store.allocate(_words);
  for (std::size_t i = 0; i < _words * WORD_BITS; ++i) {
    _store.set_wide(_header.rules + 2 * i, ~std::uint64_t{0});
  }
  for (std::size_t i = 0; i < _words; ++i) _store[_header.first_in_word + i] = NO_POSITION;
  for (std::uint32_t index = 0; index < _rules.size(); ++index) {
    const std::uint32_t position = _position[index];
    const std::uint32_t word = position / WORD_BITS;
    const std::uint64_t bit = std::uint64_t{1} << position % WORD_BITS;
    _store.set_wide(_header.rules + 2 * static_cast<std::size_t>(position),
                    told_rule(*_rules[index].rule, index));
    std::uint32_t& first = _store[_header.first_in_word + word];
    first = std::min(first, index);
    _all[word] |= bit;
    if (_rules[index].rule->action == RuleAction::DENY) _denying[word] |= bit;
  }
}

void Compiler::build_table(unsigned dimension, std::vector<std::uint64_t> without) {
  ChangingVector vector(_store, std::move(without));
  if (!is_of_prefixes(dimension)) {
    _header.table[dimension] =
        build_range_table(_conditions.ranges[dimension], is_of_bytes(dimension), vector, _store);
    return;
  }
  const std::vector<PrefixCondition>& conditions = _conditions.prefixes[dimension];
  if (dimension == DIM_SRC6 || dimension == DIM_DST6) {
    _header.table[dimension] = build_prefix6_table(conditions, vector, _store);
    return;
  }
  const std::uint32_t root_bits =
      conditions.size() >= MANY_PREFIXES ? LARGE_ROOT_BITS : SMALL_ROOT_BITS;
  _header.root_bits[dimension - DIM_SRC4] = root_bits;
  _header.table[dimension] = build_prefix4_table(conditions, root_bits, vector, _store);
}

void Compiler::build_dimension(unsigned dimension) {
  std::vector<std::uint64_t> asking(_words);
  const auto note = [&](const auto& conditions) {
    for (const auto& c : conditions) {
      asking[c.rule / WORD_BITS] |= std::uint64_t{1} << c.rule % WORD_BITS;
    }
  };
  if (is_of_prefixes(dimension)) {
    to_positions(_conditions.prefixes[dimension]);
    note(_conditions.prefixes[dimension]);
  } else {
    to_positions(_conditions.ranges[dimension]);
    note(_conditions.ranges[dimension]);
  }
  std::vector<std::uint64_t> without(_words);
  std::vector<std::uint64_t> unreadable(_words);
  bool is_in_use = false;
  for (std::size_t i = 0; i < _words; ++i) {
    is_in_use = is_in_use || asking[i] != 0;
    without[i] = _all[i] & ~asking[i];
    unreadable[i] = without[i] | _denying[i];
  }
  if (!is_in_use) return;
  _header.dimensions |= 1ULL << dimension;
  _header.absent[dimension] = ChangingVector(_store, without).reference();
  _header.unreadable[dimension] = ChangingVector(_store, std::move(unreadable)).reference();
  build_table(dimension, std::move(without));
}

void Compiler::make_room_for_enabled() {
  if (_conditions.time_ranges.empty()) return;
  for (unsigned int& enabled : _header.enabled) enabled = _store.allocate(2 * _words);
}

CompiledList Compiler::run() {
  sort_prefixes();
  place_rules();
  write_rules();
  make_room_for_enabled();
  for (unsigned dimension = 0; dimension < DIMENSIONS; ++dimension) build_dimension(dimension);
  // A list of rules that match every packet needs a dimension to be looked at.
  if (_header.dimensions == 0 && !_rules.empty()) {
    _header.dimensions = 1ULL << DIM_IN_PORT;
    _header.absent[DIM_IN_PORT] = ChangingVector(_store, _all).reference();
    _header.unreadable[DIM_IN_PORT] = _header.absent[DIM_IN_PORT];
    build_table(DIM_IN_PORT, _all);
  }
  _header.used = static_cast<std::uint32_t>(std::popcount(_header.dimensions));
  CompiledList list;
  list.header = _header;
  list.rules = static_cast<std::uint32_t>(_rules.size());
  list.cells = std::move(_store).release();
  return list;
}

// Whole lines, two more than asked for: what is read last may begin in the last one.
void fill_last_line(std::vector<std::uint32_t>& cells) {
  cells.resize((cells.size() / LINE_CELLS + 2) * LINE_CELLS);
}

}  // namespace

std::variant<CompiledList, CompileRefusal> compile(std::span<const ListPart> parts,
                                                   const std::vector<PortNames>& ports,
                                                   std::size_t most_cells) {
  std::vector<RuleOfPart> rules = rules_of(parts);
  if (rules.size() > MAX_RULES) {
    return CompileRefusal{rules[MAX_RULES].vlan, rules[MAX_RULES].rule->key,
                          "a list has at most " + std::to_string(MAX_RULES) + " rules."};
  }
  Conditions conditions;
  for (std::uint32_t i = 0; i < rules.size(); ++i) {
    const auto problem = add_conditions(*rules[i].rule, i, ports, conditions);
    if (problem) return CompileRefusal{rules[i].vlan, rules[i].rule->key, *problem};
    if (rules[i].vlan != 0) {
      conditions.ranges[DIM_BOUND_VLAN].push_back({rules[i].vlan, rules[i].vlan, i});
    }
  }
  const std::uint16_t last_vlan = rules.empty() ? std::uint16_t{0} : rules.back().vlan;
  try {
    CompiledList list = Compiler(std::move(rules), std::move(conditions), most_cells).run();
    fill_last_line(list.cells);
    return list;
  } catch (const TablesTooLarge&) {
    return CompileRefusal{last_vlan, std::nullopt,
                          "the tables of the list would take more than " +
                              std::to_string(most_cells * sizeof(std::uint32_t) >> 20U) + " MiB."};
  }
}

std::vector<std::uint64_t> enabled_words(std::span<const ListPart> parts, const ListHeader& header,
                                         std::span<const std::uint32_t> cells,
                                         const std::set<std::string>& active) {
  const std::vector<RuleOfPart> rules = rules_of(parts);
  std::vector<std::uint64_t> words(static_cast<std::size_t>(pages_for(rules.size())) * PAGE_WORDS);
  for (std::size_t position = 0; position < words.size() * WORD_BITS; ++position) {
    const std::uint32_t index = cells[header.rules + 2 * position + 1];
    if (index >= rules.size()) continue;
    const auto& fields = rules[index].rule->fields;
    const auto found = fields.find(TIME_RANGE_FIELD);
    if (found == fields.end() || active.contains(found->second)) {
      words[position / WORD_BITS] |= std::uint64_t{1} << position % WORD_BITS;
    }
  }
  return words;
}
