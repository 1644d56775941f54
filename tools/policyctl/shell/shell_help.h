// ShellHelp: TAB and '?' in the shell, for statements and commands alike.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tools/policyctl/commands/context.h"
#include "tools/policyctl/render/offers.h"
#include "tools/policyctl/shell/candidate.h"
#include "tools/policyctl/shell/line_source.h"

class ShellHelp : public LineHelp {
 public:
  // Both must outlive it.
  ShellHelp(const Context& context, const Candidate& candidate)
      : _context(context), _candidate(candidate) {}

  [[nodiscard]] Completed complete(std::string_view before) const override;
  [[nodiscard]] std::string explain(std::string_view before) const override;

 private:
  [[nodiscard]] Expected expected(std::span<const Word> words) const;
  [[nodiscard]] Offers beside_the_switch(const Expected& expected, std::string_view partial) const;
  [[nodiscard]] Offers all_offers(const Expected& expected, std::string_view partial) const;
  [[nodiscard]] std::string keyword_help(std::span<const Word> words,
                                         std::string_view keyword) const;
  [[nodiscard]] std::string problem_of(std::span<const Word> words) const;

  const Context& _context;
  const Candidate& _candidate;
};
