#include "tools/policyctl/language/bytes.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace {

TEST(Bytes, StayWhatTheyAreWhileOthersOfEverySizeComeAndGo) {
  std::mt19937 random(1);
  std::vector<std::pair<std::string, Bytes>> kept(300);
  for (std::size_t step = 0; step < 20000; ++step) {
    // Small ones, and those that are too large to be kept together.
    const std::string text(random() % (step % 10 == 0 ? 3000 : 60), static_cast<char>(step));
    auto& [wanted, bytes] = kept[random() % kept.size()];
    ASSERT_EQ(bytes.view(), wanted);
    wanted = text;
    bytes = Bytes(text);
  }
  for (const auto& [wanted, bytes] : kept) EXPECT_EQ(bytes.view(), wanted);
}

TEST(Bytes, AreSharedUntilTheLastHolderLetsGo) {
  Bytes copy;
  {
    const Bytes first(std::string_view("shared"));
    copy = first;
    EXPECT_EQ(copy.view().data(), first.view().data());
  }
  const Bytes other(std::string_view("other!"));
  EXPECT_EQ(copy.view(), "shared");
}

}  // namespace
