// One set of rules for several programs, in the language of each.
#pragma once

#include <cstddef>
#include <string>

struct RuleFiles {
  std::string classbench;  // paths
  std::string flows;
  std::string packet_filter;
};

// Writes `count` rules to files in the folder, named after it: those of the
// ClassBench set `source` and, when there are not enough, those again with other
// addresses. The set is complete in `classbench` alone. A flow of OpenFlow and a
// rule of nftables leave out the TCP flags, because the set asks for bits that they
// do not know; a flow leaves out what is a range of ports, too, because it would
// become several.
[[nodiscard]] RuleFiles write_rule_files(const std::string& folder, const std::string& source,
                                         std::size_t count);
