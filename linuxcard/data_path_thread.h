// DataPathThread: runs a data path in a thread of its own, which is the only one to touch
// it.
#pragma once

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

#include "framework/base/event_loop.h"
#include "linuxcard/data_path_runner.h"

class DataPathThread final : public DataPathRunner {
 public:
  // `make` runs in the thread, at first and again for each call as long as it throws; what
  // it throws is the problem of that call.
  using Make = std::function<std::unique_ptr<DataPath>()>;
  DataPathThread(EventLoop& loop, Make make);
  // Waits for the call that is under way; those behind it are dropped, and no answer is
  // given any more. What is in force stays.
  ~DataPathThread() override;

  void apply(std::shared_ptr<const SwitchPolicy> policy, Applied applied) override;
  void set_active_time_ranges(std::set<std::string> active) override;
  void count(Counted counted) override;

 private:
  using Answer = std::function<void()>;
  // Runs in the thread with the data path, or with null and the reason why there is none;
  // what it answers runs in the loop.
  using Job = std::function<Answer(DataPath*, const std::string&)>;

  void add(Job job);
  void work();
  Answer run(const Job& job);
  void answer();

  Make _make;
  std::unique_ptr<DataPath> _data_path;  // the thread's
  int _wake;                             // an eventfd: there are answers
  std::unique_ptr<Watch> _watch;
  std::mutex _mutex;  // guards what follows
  std::condition_variable _changed;
  bool _ending = false;
  std::deque<Job> _jobs;
  std::deque<Answer> _answers;
  std::thread _thread;
};
