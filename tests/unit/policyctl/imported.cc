#include "tests/unit/policyctl/imported.h"

#include <fstream>
#include <iterator>

std::string example(const std::string& name) {
  std::ifstream file(EXAMPLES "/" + name);
  EXPECT_TRUE(file) << name;
  return {std::istreambuf_iterator<char>(file), {}};
}
