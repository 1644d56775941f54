#include "framework/xrl/finder_place.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::string read(std::string_view text) {
  FinderPlace place{"untouched", 1};
  const bool is_place = parse_finder_place(text, place);
  return (is_place ? "" : "refused, ") + place.host + " " + std::to_string(place.port);
}

}  // namespace

TEST(FinderPlace, IsTheUsualOneUntilToldOtherwise) {
  EXPECT_EQ(FinderPlace().host, "127.0.0.1");
  EXPECT_EQ(FinderPlace().port, 19999);
}

TEST(FinderPlace, IsAHostAndMaybeAPort) {
  EXPECT_EQ(read("10.0.0.1"), "10.0.0.1 19999");
  EXPECT_EQ(read("switch-1:1"), "switch-1 1");
  EXPECT_EQ(read("localhost:65535"), "localhost 65535");
}

TEST(FinderPlace, AnythingElseIsRefused) {
  for (const char* text : {"", ":19999", "host:", "host:0", "host:65536", "host:+1", "host:1x",
                           "host:1:2", "host: 1"}) {
    EXPECT_EQ(read(text), "refused, untouched 1") << text;
  }
}
