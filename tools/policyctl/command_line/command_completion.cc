#include "tools/policyctl/command_line/command_completion.h"

#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <optional>
#include <ostream>
#include <span>

#include "tools/policyctl/change/read_switch.h"
#include "tools/policyctl/command_line/command_line.h"
#include "tools/policyctl/commands/argument_offers.h"
#include "tools/policyctl/commands/command.h"
#include "tools/policyctl/language/words.h"
#include "tools/policyctl/render/offers.h"

namespace {

// Unless the line that is completed says how long to wait.
constexpr auto PATIENCE = std::chrono::milliseconds(300);
constexpr std::string_view FILES = "<files>";

// Whatever this process waits for then, it is over.
void end_in_time(Duration limit) {
  struct sigaction action {};
  action.sa_handler = [](int) { _exit(0); };
  sigaction(SIGALRM, &action, nullptr);
  const auto microseconds = std::chrono::duration_cast<std::chrono::microseconds>(limit).count();
  constexpr std::int64_t SECOND = 1000000;
  itimerval timer{};
  timer.it_value.tv_sec = microseconds / SECOND;
  timer.it_value.tv_usec = microseconds % SECOND;
  setitimer(ITIMER_REAL, &timer, nullptr);
}

// Where on a command line the word stands that is to be completed.
struct Place {
  const Command* command = nullptr;         // null: it is one itself
  const CommandOption* value_of = nullptr;  // an option whose value it is
  std::vector<Word> given;                  // words of the command that are no options
};

const CommandOption* find_option(const Command* command, std::string_view word) {
  const auto find = [word](std::span<const CommandOption> options) {
    const auto at = std::find_if(options.begin(), options.end(),
                                 [word](const CommandOption& o) { return o.dashed() == word; });
    return at == options.end() ? nullptr : &*at;
  };
  const CommandOption* const own = command == nullptr ? nullptr : find(command->options);
  return own == nullptr ? find(common_options()) : own;
}

bool find_place(const std::vector<std::string>& words, Place& place) {
  for (std::size_t i = 0; i + 1 < words.size(); ++i) {
    const std::string& word = words[i];
    if (place.value_of != nullptr) {
      place.value_of = nullptr;
    } else if (word.starts_with('-') && word.size() > 1) {
      const CommandOption* const option = find_option(place.command, word);
      if (option != nullptr && option->takes_value()) place.value_of = option;
    } else if (place.command != nullptr) {
      place.given.push_back({word, 1, word.size(), false});
    } else {
      place.command = find_command(word);
      if (place.command == nullptr) return false;
    }
  }
  return true;
}

class Completing {
 public:
  Completing(const Context& context, std::string_view partial)
      : _context(context), _partial(partial) {}

  void complete(const Place& place) {
    if (place.value_of != nullptr) {
      complete_argument(place.value_of->value, {});
    } else if (_partial.starts_with('-') && _partial != "-") {
      if (place.command != nullptr) offer_options(place.command->options);
      offer_options(common_options());
    } else if (place.command == nullptr) {
      offer_commands();
    } else {
      complete_positional(place);
    }
  }

 private:
  void offer(std::string_view word, std::string_view help = {}) {
    if (!word.starts_with(_partial)) return;
    _context.out << harmless_line(word);
    if (!help.empty()) _context.out << '\t' << harmless_line(help.substr(0, help.find('\n')));
    _context.out << '\n';
  }

  void offer_options(std::span<const CommandOption> options) {
    for (const CommandOption& option : options) {
      if (can_be_typed(option.typed, Where::COMMAND_LINE)) offer(option.dashed(), option.help);
    }
  }

  void offer_commands() {
    for (const Command& command : commands()) {
      const bool is_one = can_be_typed(command.typed, Where::COMMAND_LINE) && command.is_told_of();
      if (is_one) offer(command.name, command.help);
    }
  }

  void complete_positional(const Place& place) {
    std::size_t at = place.given.size();
    for (const CommandArgument& argument : place.command->arguments) {
      if (!can_be_typed(argument.typed, Where::COMMAND_LINE)) continue;
      if (at == 0 || takes_many_words(argument.type)) {
        return complete_argument(argument.type, place.given);
      }
      --at;
    }
  }

  // By its type.
  void complete_argument(const Argument& argument, const std::vector<Word>& given) {
    if (argument.names == Named::FILES || argument.names == Named::SIDES) {
      _context.out << FILES << '\n';
    }
    for (const Offer& each : argument_offers(_context, argument)) offer(each.word, each.help);
    Expected expected;
    expected.argument = &argument;
    const std::vector<ArgumentForm> forms = forms_of(argument);
    if (!forms.empty()) expected = {};
    for (const ArgumentForm& form : forms) {
      expect_after(parse_pattern(form.words), given, expected);
    }
    for (const std::string_view literal : expected.literals) offer(literal);
    if (expected.argument == nullptr) return;
    expected.literals.clear();
    const Entries live = read_live(expected);
    for_each_offer(expected, _partial, live,
                   [this](const Offer& each) { offer(each.word, each.help); });
  }

  // No more is asked for than is offered.
  [[nodiscard]] Entries read_live(const Expected& expected) const {
    const EntryKind* const kind = kind_named_by(*expected.argument);
    if (kind == nullptr) return {};
    _context.out << std::flush;
    end_in_time(_context.patience);
    const auto session = _context.connect();
    return read_names(*session, *kind, key_of(expected.above.value_or(0)));
  }

  const Context& _context;
  std::string_view _partial;
};

// The words before decide which switch is meant, and how long it may take.
void read_place(Context& context, const std::vector<std::string>& words) {
  for (std::size_t i = 0; i + 2 < words.size(); ++i) {
    if (words[i] == "-F") set_finder(context, words[i + 1]);
    if (words[i] != "--timeout") continue;
    const std::optional<std::uint32_t> seconds = decimal_number(words[i + 1]);
    if (seconds && *seconds > 0) context.patience = std::chrono::seconds(*seconds);
  }
}

}  // namespace

ExitStatus complete_command(const Context& context, const std::vector<std::string>& words) {
  if (words.empty()) return ExitStatus::DONE;
  Context here = context;
  here.patience = PATIENCE;
  Place place;
  try {
    read_place(here, words);
    if (find_place(words, place)) Completing(here, words.back()).complete(place);
  } catch (const Failure&) {
    // Nobody is there to be told.
  } catch (const CLI::Error&) {
    // Nor of a wrong -F.
  }
  return ExitStatus::DONE;
}
