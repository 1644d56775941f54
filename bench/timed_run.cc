#include "bench/timed_run.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "bench/measure.h"

namespace {

// What it writes goes to `out`. -1 when it cannot be started.
pid_t start(const std::vector<std::string>& argv, int out) {
  std::vector<char*> words;
  for (const std::string& word : argv) words.push_back(const_cast<char*>(word.c_str()));
  words.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, out, STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, out, STDERR_FILENO);
  pid_t pid = -1;
  if (posix_spawnp(&pid, words[0], &actions, nullptr, words.data(), environ) != 0) pid = -1;
  posix_spawn_file_actions_destroy(&actions);
  return pid;
}

}  // namespace

TimedRun run_timed(const std::vector<std::string>& argv) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) give_up("there is no pipe to be had");
  TimedRun run;
  const Stopwatch watch;
  const pid_t pid = start(argv, ends[1]);
  close(ends[1]);
  if (pid < 0) {
    close(ends[0]);
    run.status = 127;
    run.output = argv[0] + " cannot be started";
    return run;
  }
  char bytes[65536];
  for (ssize_t got = 0; (got = read(ends[0], bytes, sizeof bytes)) > 0;) {
    if (run.output.empty()) run.first_byte_seconds = watch.seconds();
    run.output.append(bytes, static_cast<std::size_t>(got));
  }
  close(ends[0]);
  int status = 0;
  rusage used{};
  if (wait4(pid, &status, 0, &used) != pid) give_up("a process was lost");
  run.seconds = watch.seconds();
  run.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  run.peak_memory = static_cast<std::size_t>(used.ru_maxrss) * 1024;
  return run;
}

TimedRun run_timed_expecting(int status, const std::vector<std::string>& argv) {
  TimedRun run = run_timed(argv);
  if (run.status == status) return run;
  std::string line;
  for (const std::string& word : argv) line += word + " ";
  give_up(line + "ended with " + std::to_string(run.status) + ": " + run.output);
}
