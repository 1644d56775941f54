// Shell: a person edits a candidate configuration and commits it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tools/policyctl/change/complete.h"
#include "tools/policyctl/commands/context.h"
#include "tools/policyctl/language/read_configuration.h"
#include "tools/policyctl/shell/candidate.h"
#include "tools/policyctl/shell/shell_help.h"

class Shell {
 public:
  // A person is there to be asked again, or a text ends where it ends.
  enum class Lines { TYPED, OF_A_TEXT };

  // Nothing is read yet.
  Shell(const Context& context, Lines lines);

  // The candidate becomes what the switch is. Throws Failure.
  void start_over();

  [[nodiscard]] std::string prompt() const;
  [[nodiscard]] const LineHelp& help() const { return _help; }

  // One line, a statement or a command, `number` of those given, from 1. What is
  // wrong is reported. DONE, or why not.
  ExitStatus run_line(std::string_view line, std::size_t number);
  [[nodiscard]] bool is_over() const { return _is_over; }
  // Called when there are no more lines, or to leave. False, and the person is
  // told, when there is something to commit; true when asked again.
  bool may_leave();

  // The commands, as commands() tells of them. Each throws Failure.
  ExitStatus open(const std::vector<std::string>& head);
  ExitStatus exit();
  ExitStatus top();
  ExitStatus quit();
  ExitStatus compare();
  ExitStatus update();
  ExitStatus commit(std::uint32_t confirm_s);
  ExitStatus roll_back(std::uint32_t checkpoint);
  ExitStatus show(const std::vector<std::string>& what);
  ExitStatus who_uses(const ObjectName& object);
  ExitStatus save(const std::string& file);
  ExitStatus load(const std::string& file);
  ExitStatus check();
  ExitStatus remove(const std::vector<std::string>& entry, bool cascade);
  ExitStatus explain(const std::vector<std::string>& topic);
  [[nodiscard]] Candidate& candidate() { return _candidate; }

 private:
  [[nodiscard]] SwitchConfiguration read_present(SwitchSession& session);
  ExitStatus enter(std::string_view line);
  ExitStatus run_command(std::size_t form, std::span<const Word> words);
  ExitStatus report(const std::vector<Fault>& faults, std::string_view line);
  // The candidate becomes what a text says, unless that has faults, and `outcome` is told.
  ExitStatus become(const SourceText& source, ReadConfiguration read, Unnamed unnamed,
                    const std::string& outcome);

  Context _context;
  Candidate _candidate;
  ShellHelp _help;
  std::string _policyd;  // the instance that the candidate was read from
  bool _is_attended;
  std::size_t _line_number = 0;  // of the line that runs
  bool _is_over = false;
  bool _was_warned = false;  // of edits that are not committed
};
