// Which bytes may be shown as they are, at the edges of what may not.
#include "framework/base/shown_character.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Texts = std::vector<std::string>;

TEST(ShownCharacter, IsAWholeOneOfItsLength) {
  EXPECT_EQ(shown_character(""), 0U);
  for (const std::string& text :
       Texts{" ", "~", "\xc2\xa0", "\xdf\xbf", "\xe0\xa0\x80", "\xed\x9f\xbf", "\xee\x80\x80",
             "\xf0\x90\x80\x80", "\xf4\x8f\xbf\xbf"}) {
    EXPECT_EQ(shown_character(text), text.size()) << text;
    EXPECT_EQ(shown_character(text + "x"), text.size()) << text;
  }
}

TEST(ShownCharacter, IsNoneThatIsDamagedOrAControl) {
  for (const std::string& text :
       Texts{"\x1f", "\x7f", "\x80", "\xc1\xbf", "\xc2", "\xc2\x9f", "\xe0\x9f\xbf", "\xe2\x82",
             "\xe2\x82 ", "\xed\xa0\x80", "\xf0\x8f\xbf\xbf", "\xf4\x90\x80\x80",
             "\xf5\x80\x80\x80"}) {
    EXPECT_EQ(shown_character(text), 0U) << text.size();
  }
}

TEST(ShownCharacter, IsNoneThatChangesHowOthersAreShown) {
  for (const std::string& text :
       Texts{"\xd8\x9c", "\xe2\x80\x8b", "\xe2\x80\x8f", "\xe2\x80\xa8", "\xe2\x80\xae",
             "\xe2\x81\xa0", "\xe2\x81\xaf", "\xef\xbb\xbf", "\xf3\xa0\x80\x81"}) {
    EXPECT_EQ(shown_character(text), 0U) << text;
  }
  for (const std::string& text :
       Texts{"\xd8\x9b", "\xe2\x80\x8a", "\xe2\x80\x90", "\xe2\x80\xa7", "\xe2\x80\xaf",
             "\xe2\x81\x9f", "\xe2\x81\xb0", "\xef\xbb\xbe", "\xf3\x9f\x80\x81"}) {
    EXPECT_EQ(shown_character(text), text.size()) << text;
  }
}

}  // namespace
