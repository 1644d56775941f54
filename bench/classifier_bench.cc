// What a packet costs that a list of rules looks at, beside one that nothing looks at and
// beside nftables: 80-byte frames over a pair of veth, sent and received on one processor.
//
//   classifier_bench [ROUNDS [FRAMES [RULES...]]] [--svg FILE]
//
// Needs root. Each ratio is that of the fastest of ROUNDS runs of FRAMES frames with the
// list and without, in turn: what disturbs a run only makes it slower. All rules permit,
// so that every frame takes the same way; "first", "middle" and "last" are frames made
// for the rule there, which an earlier one may decide, "mix" changes from rule to rule
// among 64 flows, and "new" among as many flows as nothing remembers.
// Beside the ratios: what compiling the list and switching to it takes of the processor,
// what a list with one other rule takes, and the memory.
#include <bpf/bpf.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "bench/measure.h"
#include "bench/nftables_filter.h"
#include "bench/rule_sets.h"
#include "linuxcard/ebpf/ebpf_data_path.h"
#include "tests/unit/linuxcard/crafted_frames.h"
#include "tests/unit/linuxcard/network_namespace.h"

namespace {

using Frame = std::vector<std::uint8_t>;

constexpr std::size_t FRAME_BYTES = 80;
constexpr std::size_t MIXED = 64;
constexpr std::size_t NEW = 8192;
constexpr std::size_t BATCH = 64;
constexpr std::uint64_t SEED = 12;

struct Options {
  std::size_t rounds = 200;
  std::size_t frames = 640;
  std::vector<std::size_t> rules;
  std::string svg;
};

Options read_options(int argc, char** argv) {
  Options options;
  std::vector<std::size_t> numbers;
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--svg") == 0 && i + 1 < argc) {
      options.svg = argv[++i];
    } else {
      numbers.push_back(size_argument(argc, argv, i, 1));
    }
  }
  if (!numbers.empty()) options.rounds = numbers[0];
  if (numbers.size() > 1) options.frames = numbers[1];
  if (numbers.size() > 2) options.rules.assign(numbers.begin() + 2, numbers.end());
  if (options.rules.empty()) options.rules = {1000, 10000, 50000};
  return options;
}

// The frame that the rule asks for, as plain as it can be.
Frame plain_frame_for(const PolicyRule& rule) {
  FrameParts parts;
  const auto number = [&](std::uint32_t field, std::uint32_t otherwise) {
    const auto found = rule.fields.find(field);
    return found == rule.fields.end()
               ? otherwise
               : static_cast<std::uint32_t>(std::strtoul(found->second.c_str(), nullptr, 10));
  };
  const auto address = [&](std::uint32_t field, std::vector<std::uint8_t>& bytes) {
    const auto found = rule.fields.find(field);
    if (found == rule.fields.end()) return;
    (void)std::sscanf(found->second.c_str(), "%hhu.%hhu.%hhu.%hhu", &bytes[0], &bytes[1], &bytes[2],
                      &bytes[3]);
  };
  address(7, parts.src);
  address(8, parts.dst);
  parts.protocol = static_cast<std::uint8_t>(number(11, 17));
  parts.src_port = static_cast<std::uint16_t>(number(12, 7));
  parts.dst_port = static_cast<std::uint16_t>(number(13, 9));
  parts.payload = 0;
  Frame frame = frame_of(parts);
  parts.payload = FRAME_BYTES - frame.size();
  return frame_of(parts);
}

std::vector<Frame> mixed_frames(const RuleList& list) {
  std::vector<Frame> frames;
  for (std::size_t i = 0; i < MIXED; ++i) {
    frames.push_back(plain_frame_for(list[i * (list.size() - 1) / (MIXED - 1)]));
  }
  return frames;
}

// Each rule's frame from a source port of its own, where the rule lets it choose.
std::vector<Frame> new_frames(const RuleList& list) {
  constexpr std::uint32_t SRC_PORT_FIELD = 12;
  std::vector<Frame> frames;
  for (std::size_t i = 0; i < NEW; ++i) {
    PolicyRule rule = list[i * 7919 % list.size()];
    rule.fields.try_emplace(SRC_PORT_FIELD, std::to_string(1024 + i));
    frames.push_back(plain_frame_for(rule));
  }
  return frames;
}

class Wire {
 public:
  Wire() {
    _namespace.add_wire("sender", "port");
    _from = std::make_unique<FrameSocket>("sender");
  }

  // Seconds for one frame. Goes on in `frames` where it ended the last time.
  double send(const std::vector<Frame>& frames, std::size_t count) {
    std::vector<iovec> data(BATCH);
    std::vector<mmsghdr> messages(BATCH);
    double seconds = 0;
    for (std::size_t sent = 0; sent < count; sent += BATCH) {
      for (std::size_t i = 0; i < BATCH; ++i) {
        const Frame& frame = frames[_next++ % frames.size()];
        data[i] = {const_cast<std::uint8_t*>(frame.data()), frame.size()};
        messages[i].msg_hdr.msg_iov = &data[i];
        messages[i].msg_hdr.msg_iovlen = 1;
      }
      const Stopwatch watch;
      if (sendmmsg(_from->descriptor(), messages.data(), BATCH, 0) != BATCH) give_up("cannot send");
      seconds += watch.seconds();
    }
    return seconds / static_cast<double>(count / BATCH * BATCH);
  }

 private:
  NetworkNamespace _namespace;
  std::unique_ptr<FrameSocket> _from;
  std::size_t _next = 0;
};

SwitchPolicy policy_of(SharedRuleList rules) {
  SwitchPolicy policy;
  policy.ports.push_back({"port", "", index_of("port"), 0, std::move(rules), {}});
  return policy;
}

double processor_ms() {
  timespec time{};
  (void)clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
}

// Processor time: this process never waits, and others may be about.
double apply_ms(EbpfDataPath& data_path, const SwitchPolicy& policy, PolicyReport& report) {
  const double before = processor_ms();
  report = data_path.apply(policy);
  if (!report.refusals.empty()) give_up(report.refusals[0].reason);
  return processor_ms() - before;
}

// How much longer a frame takes with `on` than with `off`.
template <typename On, typename Off>
double ratio(Wire& wire, const Options& options, const std::vector<Frame>& frames, On on, Off off) {
  double with = 1e9;
  double without = 1e9;
  for (std::size_t i = 0; i < options.rounds; ++i) {
    off();
    without = std::min(without, wire.send(frames, options.frames));
    on();
    with = std::min(with, wire.send(frames, options.frames));
  }
  return with / without;
}

std::unique_ptr<InterfaceHook> best_hook() {
  if (TcxHook::is_supported()) return std::make_unique<TcxHook>();
  return std::make_unique<ClsactHook>();
}

struct Row {
  std::string kind;
  std::size_t rules;
  double first, middle, last, mix, as_new;
};

double bound_for(std::size_t rules) {
  return rules <= 1000 ? 1.15 : rules <= 10000 ? 1.20 : 1.30;
}

Row measure(Wire& wire, EbpfDataPath& data_path, const Options& options, RuleSetKind kind,
            std::size_t count) {
  const RuleList list = make_rule_set(kind, count, SEED);
  auto changed = std::make_shared<RuleList>(list);
  (*changed)[count / 2].fields[13] = "7777";
  const auto rules = std::make_shared<const RuleList>(list);
  PolicyReport report;
  const SwitchPolicy wanted = policy_of(rules);
  const double switch_ms = apply_ms(data_path, wanted, report);
  const double memory = static_cast<double>(report.memory_bytes) / 1e6;
  const double change_ms = apply_ms(data_path, policy_of(changed), report);

  (void)apply_ms(data_path, policy_of(nullptr), report);

  // By hand from here on: loading the list for each round would measure cold tables.
  const ListPart part{0, rules};
  const auto compiled = compile({&part, 1}, {});
  const LoadedList loaded(std::get<CompiledList>(compiled), best_table_form(), -1);
  const std::unique_ptr<InterfaceHook> hook = best_hook();
  const auto on = [&] { hook->attach(index_of("port"), loaded.program(), -1); };
  const auto off = [&] { hook->detach(index_of("port"), loaded.program()); };
  on();
  const auto of_rule = [&](std::size_t place) {
    return ratio(wire, options, {plain_frame_for(list[place])}, on, off);
  };
  Row row{std::string(name_of(kind)),
          count,
          of_rule(0),
          of_rule(count / 2),
          of_rule(count - 1),
          ratio(wire, options, mixed_frames(list), on, off),
          ratio(wire, options, new_frames(list), on, off)};
  off();
  const double worst = std::max({row.first, row.middle, row.last, row.mix});
  std::printf("%-9s %7zu  %5.2f %6.2f %5.2f %5.2f %5.2f  %s  %8.1f %8.1f %8.1f\n", row.kind.c_str(),
              count, row.first, row.middle, row.last, row.mix, row.as_new,
              at_most(worst, bound_for(count)).c_str(), switch_ms, change_ms, memory);
  std::fflush(stdout);
  return row;
}

void measure_nftables(Wire& wire, const Options& options, NftForm form, std::size_t count) {
  const RuleList list = make_rule_set(RuleSetKind::ACL, count, SEED);
  const NftablesFilter filter(list, form);
  const std::string what =
      form == NftForm::CHAIN ? "rule by rule" : std::to_string(filter.layers()) + " maps in turn";
  NftablesFilter::unload();
  const Stopwatch watch;
  const bool is_loaded = filter.load();
  const double load_ms = watch.seconds() * 1e3;
  if (!is_loaded) {
    std::printf("nftables, %s: not here, or it does not take %zu rules\n", what.c_str(), count);
    return;
  }
  Options few = options;
  few.rounds = std::min<std::size_t>(options.rounds, 5);
  const auto on = [&] {
    NftablesFilter::unload();
    if (!filter.load()) give_up("nft does not load what it loaded before");
  };
  const std::vector<Frame> first{plain_frame_for(list[0])};
  const std::vector<Frame> last{plain_frame_for(list[count - 1])};
  const double of_first = ratio(wire, few, first, on, NftablesFilter::unload);
  const double of_last = ratio(wire, few, last, on, NftablesFilter::unload);
  const double of_mix = ratio(wire, few, mixed_frames(list), on, NftablesFilter::unload);
  NftablesFilter::unload();
  std::printf("nftables, %s, %zu acl rules: first %.2f, last %.2f, mix %.2f; loading %.0f ms\n",
              what.c_str(), count, of_first, of_last, of_mix, load_ms);
  std::fflush(stdout);
}

// A plot of the mix by the number of rules, a line for each kind.
void write_svg(const std::string& path, const std::vector<Row>& rows) {
  constexpr double WIDTH = 640;
  constexpr double HEIGHT = 320;
  constexpr double MARGIN = 60;
  double most_rules = 0;
  double most = 1.3;
  for (const Row& row : rows) {
    most_rules = std::max(most_rules, static_cast<double>(row.rules));
    most = std::max(most, row.mix);
  }
  const auto x = [&](double rules) { return MARGIN + rules / most_rules * (WIDTH - 2 * MARGIN); };
  const auto y = [&](double value) {
    return HEIGHT - MARGIN - (value - 1) / (most - 1) * (HEIGHT - 2 * MARGIN);
  };
  std::ofstream file(path);
  file << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << WIDTH << "\" height=\"" << HEIGHT
       << "\" font-family=\"sans-serif\" font-size=\"12\">\n<rect width=\"100%\" height=\"100%\" "
          "fill=\"white\"/>\n<text x=\"60\" y=\"24\">Time of a frame, as a ratio to no policy, by "
          "number of rules (mix)</text>\n";
  for (double value = 1; value <= most + 0.001; value += 0.1) {
    file << "<line x1=\"60\" x2=\"580\" y1=\"" << y(value) << "\" y2=\"" << y(value)
         << "\" stroke=\"#ddd\"/><text x=\"30\" y=\"" << y(value) + 4 << "\">" << value
         << "</text>\n";
  }
  const char* const colours[] = {"#1b6ca8", "#c0392b", "#2e8b57"};
  std::string last_kind;
  int line = -1;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const Row& row = rows[i];
    const auto at = static_cast<double>(row.rules);
    if (row.kind != last_kind) {
      ++line;
      file << "<text x=\"" << 80 + 110 * line << "\" y=\"" << HEIGHT - 8 << "\" fill=\""
           << colours[line % 3] << "\">" << row.kind << "</text>\n";
    } else {
      file << "<line x1=\"" << x(static_cast<double>(rows[i - 1].rules)) << "\" y1=\""
           << y(rows[i - 1].mix) << "\" x2=\"" << x(at) << "\" y2=\"" << y(row.mix)
           << "\" stroke=\"" << colours[line % 3] << "\" stroke-width=\"2\"/>\n";
    }
    last_kind = row.kind;
    file << "<circle cx=\"" << x(at) << "\" cy=\"" << y(row.mix) << "\" r=\"3\" fill=\""
         << colours[line % 3] << "\"/><text x=\"" << x(at) - 15 << "\" y=\"" << HEIGHT - 40 << "\">"
         << row.rules << "</text>\n";
  }
  file << "</svg>\n";
}

}  // namespace

int main(int argc, char** argv) {
  const Options options = read_options(argc, argv);
  if (geteuid() != 0) {
    std::printf("skipped: needs root\n");
    return 0;
  }
  run_on_cpu(0);
  print_conditions("a packet before a list of rules, as ratios to no policy");
  const PinFolder folder;
  Wire wire;
  EbpfDataPath data_path(folder.path());
  std::printf("tables in %s\n",
              best_table_form() == TableForm::ARENA ? "an arena" : "an array map");
  std::printf(
      "kind        rules  first middle  last   mix   new  bound of the worst but new   switch ms  "
      "one changed ms   MB\n");
  std::vector<Row> rows;
  for (const RuleSetKind kind : {RuleSetKind::ACL, RuleSetKind::FIREWALL, RuleSetKind::CHAIN}) {
    for (const std::size_t count : options.rules) {
      rows.push_back(measure(wire, data_path, options, kind, count));
    }
  }
  for (const std::size_t count : options.rules) {
    if (count > 10000) continue;
    for (const NftForm form : {NftForm::CHAIN, NftForm::LAYERS}) {
      measure_nftables(wire, options, form, count);
    }
  }
  if (!options.svg.empty()) write_svg(options.svg, rows);
  data_path.remove_everything();
  return 0;
}
