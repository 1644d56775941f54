// What the data path must do with a frame, written as plainly as it can be: take the frame
// apart, ask the rules one after the other, and stop at the first that matches. It shares
// no code with the classifier, which must agree with it about every frame.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "linuxcard/classifier/policy.h"

namespace model {

using Frame = std::vector<std::uint8_t>;

// Whether a frame has a field: it may be cut off, or hidden behind too much.
enum class Is { ABSENT, THERE, UNREADABLE };

// Where the frame comes in.
struct Place {
  std::string port;
  std::string aggregate;
  std::uint16_t untagged_vlan = 0;
};

// The verdict on one frame.
struct Verdict {
  std::optional<std::size_t> rule;  // index in the list
  bool passes = true;
  Frame frame;  // as it goes on; as it came when it does not
  bool operator==(const Verdict&) const = default;
};

struct Field {
  Is is = Is::ABSENT;
  std::vector<std::uint8_t> bytes;  // big-endian
};

// The fields of a frame by number of the match field, tcp-flags, dscp and all.
using Fields = std::vector<Field>;
[[nodiscard]] Fields fields_of(const Frame& frame);

class FirstMatch {
 public:
  explicit FirstMatch(const RuleList& rules, std::set<std::string> active_time_ranges = {},
                      Place place = {});
  [[nodiscard]] Verdict decide(const Frame& frame) const;

 private:
  struct Test {
    std::uint32_t field;
    std::function<bool(const Field&)> holds;
  };
  struct Rule {
    RuleAction action;
    std::optional<Remark> remark;
    std::vector<Test> tests;
    bool never = false;
  };
  std::vector<Rule> _rules;
};

}  // namespace model
