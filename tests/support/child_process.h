// A real process under test: started, listened to, and gone when the test is.
#pragma once

#include <sys/types.h>

#include <condition_variable>
#include <iosfwd>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

class ChildProcess {
 public:
  struct Options {
    std::vector<std::string> argv;
    std::map<std::string, std::string> environment;  // added to this process's own
    int cpu = -1;                                    // to run on; -1: any
    std::string argv0;                               // instead of argv[0]
  };

  explicit ChildProcess(Options options);
  explicit ChildProcess(std::vector<std::string> argv)
      : ChildProcess(Options{std::move(argv), {}, -1, {}}) {}
  // Kills it (-9) when it still runs.
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  [[nodiscard]] pid_t pid() const { return _pid; }
  void signal(int number) const;
  // Waits for its end: the exit status, or 128 + the signal that ended it, as
  // a shell tells it. Throws std::runtime_error past PATIENCE
  // (patience.h).
  int wait();
  // Waits until the text has appeared `times` times; false when the process
  // closed the stream before or PATIENCE ran out.
  bool wait_for_output(const std::string& text, int times = 1);
  bool wait_for_errors(const std::string& text, int times = 1);

  // All it wrote so far; after wait(), all it wrote.
  [[nodiscard]] std::string output();
  [[nodiscard]] std::string errors();

 private:
  struct Stream {
    int fd = -1;
    std::string text;
    bool ended = false;
    std::thread reader;
  };
  void collect(Stream& stream);
  bool wait_for(Stream& stream, const std::string& text, int times);
  [[nodiscard]] std::string read(Stream& stream);
  void join();

  pid_t _pid = -1;
  bool _reaped = false;
  int _status = 0;
  std::mutex _mutex;
  std::condition_variable _changed;
  Stream _output;
  Stream _errors;
};

// A process that has ended: its status as wait() answers it, and all it wrote.
struct ProcessResult {
  int status;
  std::string output;
  std::string errors;
  bool operator==(const ProcessResult&) const = default;
};
std::ostream& operator<<(std::ostream& out, const ProcessResult& result);
// Runs it to its end. Throws as ChildProcess and its wait() do.
[[nodiscard]] ProcessResult run_process(std::vector<std::string> argv);
