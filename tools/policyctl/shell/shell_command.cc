#include "tools/policyctl/shell/shell_command.h"

#include <unistd.h>

#include <fstream>
#include <iostream>
#include <ostream>

#include "tools/policyctl/change/state_directory.h"
#include "tools/policyctl/shell/line_source.h"
#include "tools/policyctl/shell/shell.h"

namespace {

constexpr std::size_t MOST_LINES = 1000;

// The lines that were typed, kept from one shell to the next.
class LinesTyped {
 public:
  explicit LinesTyped(const SwitchPlace& place) : _directory(place) {}

  // A disk that is full or not ours to write to keeps nobody from working.
  std::vector<std::string> load(std::ostream& err) {
    std::vector<std::string> lines;
    try {
      const std::string text = _directory.read(NAME).value_or("");
      for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find('\n', at), text.size());
        lines.push_back(text.substr(at, end - at));
        at = end + 1;
      }
      if (lines.size() > MOST_LINES) {
        lines.erase(lines.begin(), lines.end() - static_cast<std::ptrdiff_t>(MOST_LINES));
      }
      std::string kept;
      for (const std::string& line : lines) kept += line + '\n';
      _directory.write(NAME, kept);
      _out.open(_directory.path() + "/" + NAME, std::ios::binary | std::ios::app);
    } catch (const Failure& failure) {
      err << "The lines typed are not kept: " << failure.what() << '\n';
    }
    return lines;
  }

  void add(const std::string& line) {
    if (_out.is_open() && line.find_first_not_of(" \t") != std::string::npos) {
      _out << line << '\n' << std::flush;
    }
  }

 private:
  static constexpr const char* NAME = "history";

  StateDirectory _directory;
  std::ofstream _out;
};

ExitStatus run_person(const Context& context, Shell& shell) {
  LinesTyped typed(context.place);
  const auto lines = edit_lines(shell.help(), typed.load(context.err));
  for (std::size_t number = 1; !shell.is_over(); ++number) {
    const std::optional<std::string> line = lines->next(shell.prompt());
    if (line) {
      typed.add(*line);
      shell.run_line(*line, number);
    } else if (shell.may_leave()) {
      break;
    }
    context.out << std::flush;
    context.err << std::flush;
  }
  return ExitStatus::DONE;
}

ExitStatus run_text(Shell& shell) {
  const auto lines = read_lines(std::cin);
  for (std::size_t number = 1; !shell.is_over(); ++number) {
    const std::optional<std::string> line = lines->next("");
    if (!line) break;
    const ExitStatus status = shell.run_line(*line, number);
    if (status != ExitStatus::DONE) return status;
    // Nobody is there to be asked.
    if (line->starts_with("quit")) break;
  }
  return shell.may_leave() && !shell.candidate().is_edited() ? ExitStatus::DONE
                                                             : ExitStatus::REFUSED;
}

}  // namespace

ExitStatus shell_command(const Context& context) {
  const bool is_terminal = isatty(STDIN_FILENO) != 0 && context.out_is_terminal;
  Shell shell(context, is_terminal ? Shell::Lines::TYPED : Shell::Lines::OF_A_TEXT);
  shell.start_over();
  return is_terminal ? run_person(context, shell) : run_text(shell);
}
