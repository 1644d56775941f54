#include "linuxcard/data_path_thread.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <exception>
#include <system_error>
#include <utility>

namespace {

int make_eventfd() {
  const int fd = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (fd < 0) throw std::system_error(errno, std::generic_category(), "eventfd");
  return fd;
}

}  // namespace

DataPathThread::DataPathThread(EventLoop& loop, Make make)
    : _make(std::move(make)),
      _wake(make_eventfd()),
      _watch(
          std::make_unique<Watch>(loop, _wake, IoInterest::READ, [this](IoInterest) { answer(); })),
      _thread([this] { work(); }) {}

DataPathThread::~DataPathThread() {
  {
    const std::lock_guard lock(_mutex);
    _ending = true;
  }
  _changed.notify_one();
  _thread.join();
  _watch.reset();
  close(_wake);
}

void DataPathThread::apply(std::shared_ptr<const SwitchPolicy> policy, Applied applied) {
  add([policy = std::move(policy), applied = std::move(applied)](
          DataPath* data_path, const std::string& problem) -> Answer {
    Outcome outcome{{}, problem};
    if (data_path != nullptr) {
      try {
        outcome.report = data_path->apply(*policy);
      } catch (const std::exception& error) {
        outcome.problem = error.what();
      }
    }
    return [applied, outcome = std::move(outcome)] { applied(outcome); };
  });
}

void DataPathThread::set_active_time_ranges(std::set<std::string> active) {
  add([active = std::move(active)](DataPath* data_path, const std::string&) -> Answer {
    if (data_path != nullptr) data_path->set_active_time_ranges(active);
    return [] {};
  });
}

void DataPathThread::count(Counted counted) {
  add([counted = std::move(counted)](DataPath* data_path, const std::string&) -> Answer {
    std::vector<RuleCounters> counters;
    if (data_path != nullptr) counters = data_path->counters();
    return [counted, counters = std::move(counters)] { counted(counters); };
  });
}

void DataPathThread::add(Job job) {
  {
    const std::lock_guard lock(_mutex);
    _jobs.push_back(std::move(job));
  }
  _changed.notify_one();
}

void DataPathThread::work() {
  std::unique_lock lock(_mutex);
  while (true) {
    _changed.wait(lock, [this] { return _ending || !_jobs.empty(); });
    if (_ending) break;
    const Job job = std::move(_jobs.front());
    _jobs.pop_front();
    lock.unlock();
    Answer answer = run(job);
    lock.lock();
    _answers.push_back(std::move(answer));
    static_cast<void>(eventfd_write(_wake, 1));
  }
  lock.unlock();
  _data_path.reset();
}

DataPathThread::Answer DataPathThread::run(const Job& job) {
  std::string problem;
  try {
    if (_data_path == nullptr) _data_path = _make();
    return job(_data_path.get(), problem);
  } catch (const std::exception& error) {
    problem = error.what();
  }
  return job(nullptr, problem);
}

void DataPathThread::answer() {
  std::deque<Answer> answers;
  eventfd_t ignored = 0;
  static_cast<void>(eventfd_read(_wake, &ignored));
  {
    const std::lock_guard lock(_mutex);
    answers.swap(_answers);
  }
  for (const Answer& answer : answers) answer();
}
