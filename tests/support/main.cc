#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cstdlib>

#include "tests/support/test_log.h"

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  // Tests of fatal ends need no core file of each.
  const rlimit no_core{0, 0};
  (void)::setrlimit(RLIMIT_CORE, &no_core);
  // The caller's own switch has nothing to do with those of the tests.
  (void)::unsetenv("XRL_COOKIE_FILE");
  // Google Test deletes its listeners.
  ::testing::UnitTest::GetInstance()->listeners().Append(new TestLog);
  return RUN_ALL_TESTS();
}
