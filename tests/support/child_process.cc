#include "tests/support/child_process.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <poll.h>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <ostream>
#include <stdexcept>
#include <utility>

#include "tests/support/occurrences.h"
#include "tests/support/patience.h"

namespace {

std::array<int, 2> make_pipe() {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  return ends;
}

[[noreturn]] void become(const ChildProcess::Options& options, int output, int errors,
                         std::vector<char*>& argv) {
  // A child that outlives a crashed test would disturb the next run.
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  dup2(output, STDOUT_FILENO);
  dup2(errors, STDERR_FILENO);
  const int input = open("/dev/null", O_RDONLY);
  dup2(input, STDIN_FILENO);
  for (const auto& [name, value] : options.environment) setenv(name.c_str(), value.c_str(), 1);
  if (options.cpu >= 0) {
    cpu_set_t cpus;
    CPU_ZERO(&cpus);
    CPU_SET(static_cast<std::size_t>(options.cpu), &cpus);
    sched_setaffinity(0, sizeof cpus, &cpus);
  }
  execv(options.argv[0].c_str(), argv.data());
  _exit(127);
}

}  // namespace

ChildProcess::ChildProcess(Options options) {
  const auto output = make_pipe();
  const auto errors = make_pipe();
  std::vector<char*> argv;
  for (std::string& argument : options.argv) argv.push_back(argument.data());
  if (!options.argv0.empty()) argv[0] = options.argv0.data();
  argv.push_back(nullptr);
  _pid = fork();
  if (_pid < 0) throw std::runtime_error("no process");
  if (_pid == 0) become(options, output[1], errors[1], argv);
  close(output[1]);
  close(errors[1]);
  _output.fd = output[0];
  _errors.fd = errors[0];
  _output.reader = std::thread([this] { collect(_output); });
  _errors.reader = std::thread([this] { collect(_errors); });
}

ChildProcess::~ChildProcess() {
  if (!_reaped) {
    ::kill(_pid, SIGKILL);
    int status = 0;
    waitpid(_pid, &status, 0);
  }
  join();
  close(_output.fd);
  close(_errors.fd);
}

void ChildProcess::signal(int number) const {
  ::kill(_pid, number);
}

int ChildProcess::wait() {
  if (_reaped) return _status;
  const int handle = static_cast<int>(syscall(SYS_pidfd_open, _pid, 0));
  pollfd ended{handle, POLLIN, 0};
  const int ready = poll(&ended, 1, static_cast<int>(PATIENCE.count()) * 1000);
  close(handle);
  if (ready != 1) throw std::runtime_error("the process does not end");
  int status = 0;
  waitpid(_pid, &status, 0);
  _reaped = true;
  _status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  join();
  return _status;
}

bool ChildProcess::wait_for_output(const std::string& text, int times) {
  return wait_for(_output, text, times);
}

bool ChildProcess::wait_for_errors(const std::string& text, int times) {
  return wait_for(_errors, text, times);
}

std::string ChildProcess::output() {
  return read(_output);
}

std::string ChildProcess::errors() {
  return read(_errors);
}

void ChildProcess::collect(Stream& stream) {
  std::array<char, 4096> bytes{};
  for (;;) {
    const ssize_t got = ::read(stream.fd, bytes.data(), bytes.size());
    if (got < 0 && errno == EINTR) continue;
    const std::lock_guard lock(_mutex);
    if (got <= 0) {
      stream.ended = true;
      _changed.notify_all();
      return;
    }
    stream.text.append(bytes.data(), static_cast<std::size_t>(got));
    _changed.notify_all();
  }
}

bool ChildProcess::wait_for(Stream& stream, const std::string& text, int times) {
  std::unique_lock lock(_mutex);
  _changed.wait_for(lock, PATIENCE,
                    [&] { return stream.ended || occurrences(stream.text, text) >= times; });
  return occurrences(stream.text, text) >= times;
}

std::string ChildProcess::read(Stream& stream) {
  const std::lock_guard lock(_mutex);
  return stream.text;
}

void ChildProcess::join() {
  if (_output.reader.joinable()) _output.reader.join();
  if (_errors.reader.joinable()) _errors.reader.join();
}

std::ostream& operator<<(std::ostream& out, const ProcessResult& result) {
  return out << "status " << result.status << "\noutput " << result.output << "\nerrors "
             << result.errors;
}

ProcessResult run_process(std::vector<std::string> argv) {
  ChildProcess process(std::move(argv));
  const int status = process.wait();
  return {status, process.output(), process.errors()};
}
