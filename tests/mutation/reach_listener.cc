// Notes for each test which faults it came by and how long it took, as a line of the
// file MUTANTS_NOTES: the test's name, its milliseconds, the numbers of the faults.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <fstream>
#include <utility>
#include <vector>

#include "tests/mutation/mutant.h"

namespace {

using Reached = std::vector<unsigned char>;

Reached take_reached() {
  Reached taken(mutation::reached, mutation::reached + mutation::MOST);
  std::fill_n(mutation::reached, mutation::MOST, static_cast<unsigned char>(0));
  return taken;
}

class ReachListener final : public ::testing::EmptyTestEventListener {
 public:
  explicit ReachListener(const char* path)
      : _notes(path, std::ios::app), _before_all(take_reached()) {}

  void OnTestSuiteStart(const ::testing::TestSuite& /*suite*/) override {
    take_reached();
    _first_of_suite = true;
  }
  void OnTestStart(const ::testing::TestInfo& /*test*/) override {
    Reached before = take_reached();
    // What a suite begins with belongs to each of its tests.
    if (_first_of_suite) _before_suite = std::move(before);
    _first_of_suite = false;
  }
  void OnTestEnd(const ::testing::TestInfo& test) override {
    const Reached reached = take_reached();
    _notes << test.test_suite_name() << '.' << test.name() << '\t' << test.result()->elapsed_time()
           << '\t';
    for (std::size_t i = 0; i < mutation::MOST; ++i) {
      if (reached[i] != 0 || _before_suite[i] != 0 || _before_all[i] != 0) _notes << i << ' ';
    }
    _notes << std::endl;
  }

 private:
  std::ofstream _notes;
  Reached _before_all;
  Reached _before_suite;
  bool _first_of_suite = true;
};

__attribute__((constructor)) void listen() {
  const char* const path = std::getenv("MUTANTS_NOTES");
  if (path == nullptr || mutation::reached == nullptr) return;
  ::testing::UnitTest::GetInstance()->listeners().Append(new ReachListener(path));
}

}  // namespace
