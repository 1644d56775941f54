#include "tools/policyctl/render/pager.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <ostream>
#include <string_view>

#include "tools/policyctl/change/replace_file.h"
#include "tools/policyctl/language/statement_match.h"

namespace {

constexpr int NO_SUCH_PROGRAM = 127;  // as a shell tells it

std::string pager_command() {
  const char* const wanted = std::getenv("PAGER");
  return wanted == nullptr ? "less -FRX" : wanted;
}

std::size_t size_from(const char* variable, std::size_t otherwise) {
  const char* const text = std::getenv(variable);
  const auto number = decimal_number(text == nullptr ? "" : text);
  return number.value_or(0) > 0 ? *number : otherwise;
}

// While a pager has the terminal, Ctrl-C is for it, and what it leaves unread is
// no reason to die.
class SignalsIgnored {
 public:
  SignalsIgnored()
      : _interrupt(std::signal(SIGINT, SIG_IGN)), _pipe(std::signal(SIGPIPE, SIG_IGN)) {}
  ~SignalsIgnored() {
    (void)std::signal(SIGINT, _interrupt);
    (void)std::signal(SIGPIPE, _pipe);
  }
  SignalsIgnored(const SignalsIgnored&) = delete;
  SignalsIgnored& operator=(const SignalsIgnored&) = delete;

 private:
  void (*_interrupt)(int);
  void (*_pipe)(int);
};

// Runs a command whose standard input is `input`; its process, or -1.
pid_t start_reader(const std::string& command, int input) {
  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  posix_spawn_file_actions_adddup2(&files, input, STDIN_FILENO);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  sigset_t signals;
  sigemptyset(&signals);
  posix_spawnattr_setsigmask(&attributes, &signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGPIPE);
  posix_spawnattr_setsigdefault(&attributes, &signals);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
  std::string shell = "sh";
  std::string option = "-c";
  std::string line = command;
  char* const argv[] = {shell.data(), option.data(), line.data(), nullptr};
  pid_t process = -1;
  if (posix_spawn(&process, "/bin/sh", &files, &attributes, argv, environ) != 0) process = -1;
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&files);
  return process;
}

// False when there is no such program.
bool page(const std::string& command, const std::string& text) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return false;
  const SignalsIgnored ignored;
  // Colours, and nothing that a screen holds is kept on it.
  setenv("LESS", "FRX", 0);
  const pid_t reader = start_reader(command, ends[0]);
  close(ends[0]);
  // One that has seen enough is no failure.
  if (reader > 0) (void)write_all(ends[1], text);
  close(ends[1]);
  if (reader < 0) return false;
  int status = 0;
  while (waitpid(reader, &status, 0) < 0 && errno == EINTR) continue;
  return !WIFEXITED(status) || WEXITSTATUS(status) != NO_SUCH_PROGRAM;
}

}  // namespace

Window window_of_output() {
  Window window;
  winsize size{};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0) {
    if (size.ws_col > 0) window.columns = size.ws_col;
    if (size.ws_row > 0) window.lines = size.ws_row;
  }
  return {size_from("COLUMNS", window.columns), size_from("LINES", window.lines)};
}

void print_paged(std::ostream& out, const std::string& text) {
  const std::string command = pager_command();
  const auto lines = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
  out << std::flush;
  if (lines < window_of_output().lines || command.empty() || !page(command, text)) {
    out << text << std::flush;
  }
}
