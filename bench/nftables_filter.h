// nftables before the packets that come in by "port", with the lists of bench/rule_sets.h.
#pragma once

#include <cstddef>
#include <string>

#include "linuxcard/classifier/policy.h"

enum class NftForm {
  CHAIN,   // a rule for each of the list
  LAYERS,  // concatenated maps: each holds rules that do not overlap, and is asked in turn
};

class NftablesFilter {
 public:
  NftablesFilter(const RuleList& rules, NftForm form);

  // False where there is no nftables for what comes in, or it refuses.
  [[nodiscard]] bool load() const;
  static void unload();
  [[nodiscard]] std::size_t layers() const { return _layers; }

 private:
  void write_chain(const RuleList& rules);
  void write_layers(const RuleList& rules);

  std::string _script;
  std::size_t _layers = 0;
};
