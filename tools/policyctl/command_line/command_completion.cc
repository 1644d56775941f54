#include "tools/policyctl/command_line/command_completion.h"

#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <optional>
#include <ostream>

#include "tools/policyctl/change/checkpoints.h"
#include "tools/policyctl/change/read_switch.h"
#include "tools/policyctl/command_line/command_line.h"
#include "tools/policyctl/commands/import_command.h"
#include "tools/policyctl/entries/object_uses.h"
#include "tools/policyctl/entries/selection.h"
#include "tools/policyctl/render/offers.h"
#include "tools/policyctl/render/topics.h"

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
  const CLI::App* command;
  const CLI::Option* value_of = nullptr;  // an option whose value it is
  std::vector<Word> given;                // words of the command that are no options
};

const CLI::Option* find_option(const CLI::App& app, const std::string& name) {
  const CLI::Option* const own = app.get_option_no_throw(name);
  const bool has_parent = own == nullptr && app.get_parent() != nullptr;
  return has_parent ? app.get_parent()->get_option_no_throw(name) : own;
}

bool find_place(const std::vector<std::string>& words, Place& place) {
  for (std::size_t i = 0; i + 1 < words.size(); ++i) {
    const std::string& word = words[i];
    if (place.value_of != nullptr) {
      place.value_of = nullptr;
    } else if (word.starts_with('-') && word.size() > 1) {
      const CLI::Option* const option = find_option(*place.command, word);
      if (option != nullptr && option->get_items_expected_max() > 0) place.value_of = option;
    } else if (place.command->get_parent() != nullptr) {
      place.given.push_back({word, 1, word.size(), false});
    } else {
      place.command = find_command(*place.command, word);
      if (place.command == nullptr) return false;
    }
  }
  return true;
}

class Completing {
 public:
  Completing(const Context& context, const CLI::App& app, std::string_view partial)
      : _context(context), _app(app), _partial(partial) {}

  void complete(const Place& place) {
    if (place.value_of != nullptr) {
      if (place.value_of->get_type_name() == "FILE") _context.out << FILES << '\n';
    } else if (_partial.starts_with('-') && _partial != "-") {
      offer_options(*place.command);
      if (place.command != &_app) offer_options(_app);
    } else if (place.command == &_app) {
      offer_commands();
    } else {
      complete_positional(place);
    }
  }

 private:
  void offer(std::string_view word, std::string_view help = {}) {
    if (!word.starts_with(_partial)) return;
    _context.out << word;
    if (!help.empty()) _context.out << '\t' << help.substr(0, help.find('\n'));
    _context.out << '\n';
  }

  void offer_options(const CLI::App& app) {
    for (const CLI::Option* option : app.get_options()) {
      if (!option->nonpositional()) continue;
      for (const std::string& name : option->get_lnames()) {
        offer("--" + name, option->get_description());
      }
      for (const std::string& name : option->get_snames()) {
        offer("-" + name, option->get_description());
      }
    }
  }

  void offer_commands() {
    const auto is_shown = [](const CLI::App* command) { return !command->get_group().empty(); };
    for (const CLI::App* command : _app.get_subcommands(is_shown)) {
      offer(command->get_name(), command->get_description());
    }
  }

  void complete_positional(const Place& place) {
    std::size_t at = place.given.size();
    for (const CLI::Option* option : place.command->get_options()) {
      if (!option->get_positional()) continue;
      const auto most = static_cast<std::size_t>(option->get_items_expected_max());
      if (at < most) return complete_argument(option->get_name(), place);
      at -= most;
    }
  }

  // An argument by its name on the command line.
  void complete_argument(const std::string& name, const Place& place) {
    if (name == "FILE") _context.out << FILES << '\n';
    if (name == "FROM" || name == "TO") offer_sides();
    if (name == "WHAT") offer_forms(selection_forms(), place.given);
    if (name == "OBJECT") offer_forms(object_forms(), place.given);
    if (name == "LIST") offer_forms(list_forms(), place.given);
    if (name == "N") offer_checkpoints("");
    if (name == "SHELL") {
      for (const char* const shell : {"bash", "fish", "zsh"}) offer(shell);
    }
    if (name == "FORMAT") {
      for (const ImportFormatName& format : import_formats()) offer(format.name, format.help);
    }
    if (name == "TOPIC") {
      if (place.given.empty()) offer_commands();
      for (const std::string& topic : language_topics()) offer(topic);
    }
  }

  void offer_sides() {
    offer("switch", "the switch as it is");
    offer_checkpoints("checkpoint:");
    _context.out << FILES << '\n';
  }

  void offer_checkpoints(const std::string& prefix) {
    std::size_t number = 0;
    for (const Checkpoint& each : list_checkpoints(StateDirectory(_context.place))) {
      offer(prefix + std::to_string(++number), each.time + "  " + each.why);
    }
  }

  void offer_forms(const std::vector<std::string_view>& forms, const std::vector<Word>& given) {
    Expected expected;
    for (const std::string_view form : forms) expect_after(parse_pattern(form), given, expected);
    for (std::size_t i = 0; i + 1 < given.size(); ++i) {
      if (given[i].text == "acl") expected.acl = decimal_number(given[i + 1].text).value_or(0);
    }
    for (const std::string_view literal : expected.literals) offer(literal);
    if (expected.argument == nullptr) return;
    expected.literals.clear();
    const Entries live = read_live(expected);
    for (const Offer& each : offers(expected, _partial, live)) offer(each.word, each.help);
  }

  // No more is asked for than is offered.
  [[nodiscard]] Entries read_live(const Expected& expected) const {
    const EntryKind* const kind = kind_named_by(*expected.argument);
    if (kind == nullptr) return {};
    _context.out << std::flush;
    end_in_time(_context.patience);
    const auto session = _context.connect();
    return read_names(*session, *kind, key_of(expected.acl));
  }

  const Context& _context;
  const CLI::App& _app;
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

ExitStatus complete_command(const Context& context, const CLI::App& app,
                            const std::vector<std::string>& words) {
  if (words.empty()) return ExitStatus::DONE;
  Context here = context;
  here.patience = PATIENCE;
  Place place{&app, nullptr, {}};
  try {
    read_place(here, words);
    if (find_place(words, place)) Completing(here, app, words.back()).complete(place);
  } catch (const Failure&) {
    // Nobody is there to be told.
  } catch (const CLI::Error&) {
    // Nor of a wrong -F.
  }
  return ExitStatus::DONE;
}
