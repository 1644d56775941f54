#include "tools/policyctl/shell/shell_help.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "tools/policyctl/commands/argument_offers.h"
#include "tools/policyctl/language/joined.h"
#include "tools/policyctl/language/statement_candidates.h"
#include "tools/policyctl/render/offers.h"
#include "tools/policyctl/render/topics.h"
#include "tools/policyctl/shell/shell_forms.h"

namespace {

constexpr std::size_t MOST_LISTED = 60;

// A line up to the cursor: whole words, and the one that is being typed.
struct TypedLine {
  Words words;
  std::span<const Word> before;
  std::string_view partial;
};

// None within quotes and comments, where nothing can be told.
bool split(std::string_view line, TypedLine& typed) {
  if (typed.words.split(line)) return false;
  typed.before = typed.words.all();
  if (typed.before.empty()) return line.find_first_not_of(" \t") == std::string_view::npos;
  const Word& last = typed.before.back();
  const std::size_t end = last.column - 1 + last.length;
  if (line.find_first_not_of(" \t", end) != std::string_view::npos) return false;
  if (end < line.size()) return true;
  if (last.quoted) return false;
  typed.partial = last.text;
  typed.before = typed.before.first(typed.before.size() - 1);
  return true;
}

std::string common_beginning(const Offers& offers) {
  std::string common = offers.front().word;
  for (const Offer& offer : offers) {
    const auto [end, other] =
        std::mismatch(common.begin(), common.end(), offer.word.begin(), offer.word.end());
    common.erase(end, common.end());
  }
  return common;
}

std::string listing_of(const Offers& offers) {
  std::vector<HelpRow> rows;
  for (std::size_t i = 0; i < std::min(offers.size(), MOST_LISTED); ++i) {
    rows.push_back({offers[i].word, offers[i].help});
  }
  if (offers.size() > MOST_LISTED) {
    rows.push_back({"... and " + std::to_string(offers.size() - MOST_LISTED) + " more", ""});
  }
  return columns(rows);
}

}  // namespace

Expected ShellHelp::expected(std::span<const Word> words) const {
  Expected expected = expected_after(_candidate.context(), words);
  shell_forms().expect_after(_candidate.context(), words, expected);
  if (!expected.above) expected.above = _candidate.open_key().numbers[0];
  return expected;
}

// Nobody is there to be told of what cannot be found out.
Offers ShellHelp::beside_the_switch(const Expected& expected, std::string_view partial) const {
  if (expected.argument == nullptr) return {};
  if (expected.argument->names == Named::FILES) return file_offers(partial);
  try {
    Offers offers = argument_offers(_context, *expected.argument);
    std::erase_if(offers, [&](const Offer& offer) { return !offer.word.starts_with(partial); });
    return offers;
  } catch (const Failure&) {
    return {};
  }
}

Offers ShellHelp::all_offers(const Expected& expected, std::string_view partial) const {
  Offers all = beside_the_switch(expected, partial);
  for (Offer& offer : offers(expected, partial, _candidate.configuration())) {
    all.push_back(std::move(offer));
  }
  return all;
}

LineHelp::Completed ShellHelp::complete(std::string_view before) const {
  TypedLine typed;
  if (!split(before, typed)) return {};
  const Offers all = all_offers(expected(typed.before), typed.partial);
  if (all.empty()) return {};
  const std::string common = common_beginning(all);
  const bool can_insert = common.starts_with(typed.partial) && !all.front().is_example;
  const bool is_whole = all.size() == 1 && !common.ends_with('/');
  if (can_insert && (is_whole || common.size() > typed.partial.size())) {
    return {common.substr(typed.partial.size()) + (is_whole ? " " : ""), ""};
  }
  return {"", listing_of(all)};
}

std::string ShellHelp::keyword_help(std::span<const Word> words, std::string_view keyword) const {
  std::vector<Word> longer(words.begin(), words.end());
  longer.push_back({keyword, 1, keyword.size(), false});
  const std::vector<const Statement*> open =
      candidates(_candidate.context(), longer, longer.size());
  const bool is_command = shell_forms().begin_with(longer[0].text, _candidate.context());
  if (open.size() == 1 && longer.size() > 1) return std::string(open.front()->help);
  const std::string_view help = shell_forms().help_of(_candidate.context(), longer);
  if (is_command && open.empty() && !help.empty()) return std::string(help);
  if (open.size() == 1) return std::string(open.front()->help);
  return joined(expected(longer).literals);
}

std::string ShellHelp::problem_of(std::span<const Word> words) const {
  std::optional<Fault> fault;
  if (shell_forms().begin_with(words[0].text, _candidate.context())) {
    std::size_t form = 0;
    fault = shell_forms().match(_candidate.context(), words, form);
  } else {
    StatementMatch match;
    fault = match.match(_candidate.context(), words);
  }
  if (!fault) return "  Nothing may follow.\n";
  return "  " + fault->message + " " + worded(fault->advice, Where::SHELL) + "\n";
}

std::string ShellHelp::explain(std::string_view before) const {
  TypedLine typed;
  if (!split(before, typed)) return {};
  const Expected next = expected(typed.before);
  Offers all = placeholders(next);
  if (!typed.partial.empty()) all.clear();
  for (Offer& offer : all_offers(next, typed.partial)) {
    const auto& literals = next.literals;
    if (std::find(literals.begin(), literals.end(), offer.word) != literals.end()) {
      offer.help = keyword_help(typed.before, offer.word);
    }
    all.push_back(std::move(offer));
  }
  if (all.empty() && !typed.partial.empty()) all = placeholders(next);
  if (next.may_end && typed.partial.empty())
    all.push_back({"Enter", "the line may end here", false});
  if (all.empty()) return problem_of(typed.words.all());
  return listing_of(all);
}
