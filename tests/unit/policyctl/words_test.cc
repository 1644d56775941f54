#include "tools/policyctl/language/words.h"
#include "framework/base/shown_character.h"

#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <string>
#include <vector>

#include "tests/unit/policyctl/random_configuration.h"

namespace {

std::vector<std::string> texts(std::string_view line) {
  Words words;
  const std::optional<WordFault> fault = words.split(line);
  EXPECT_FALSE(fault) << line;
  std::vector<std::string> texts;
  for (const Word& word : words.all()) texts.emplace_back(word.text);
  return texts;
}

using Texts = std::vector<std::string>;

// "COLUMN+LENGTH MESSAGE", or nothing.
std::string fault(std::string_view line) {
  Words words;
  const std::optional<WordFault> fault = words.split(line);
  if (!fault) return {};
  return std::to_string(fault->column) + "+" + std::to_string(fault->length) + " " + fault->message;
}

TEST(Words, BlanksTabsAndCarriageReturnsSeparate) {
  EXPECT_EQ(texts(" cos\tflag  on \r"), (Texts{"cos", "flag", "on"}));
  EXPECT_EQ(texts(""), Texts{});
  EXPECT_EQ(texts(" \t\r "), Texts{});
}

TEST(Words, ACommentBeginsAtTheStartOfAWordOnly) {
  EXPECT_EQ(texts("# cos flag on"), Texts{});
  EXPECT_EQ(texts("cos # \"flag"), Texts{"cos"});
  EXPECT_EQ(texts("cos#1 flag"), (Texts{"cos#1", "flag"}));
  EXPECT_EQ(texts("\"# no comment\" on"), (Texts{"# no comment", "on"}));
}

TEST(Words, EachEscapeStandsForItsByte) {
  EXPECT_EQ(texts(R"("a\"b" "c\\d" "e\nf" "g\th" "\x41\x7a\xfF\x00")"),
            (Texts{"a\"b", "c\\d", "e\nf", "g\th", std::string("Az\xff\0", 4)}));
  EXPECT_EQ(texts(R"("")"), Texts{""});
}

TEST(Words, ABackslashOutsideOfQuotesIsABackslash) {
  EXPECT_EQ(texts(R"(a\nb \)"), (Texts{R"(a\nb)", "\\"}));
}

TEST(Words, EachKnowsItsPlaceInBytesAndWhetherItWasQuoted) {
  Words words;
  ASSERT_FALSE(words.split("  a \"b\\\"\" \xc3\xa4 d"));
  ASSERT_EQ(words.all().size(), 4U);
  const auto place = [&words](std::size_t i) {
    return std::tuple(words.all()[i].column, words.all()[i].length, words.all()[i].quoted);
  };
  EXPECT_EQ(place(0), std::tuple(3U, 1U, false));
  EXPECT_EQ(place(1), std::tuple(5U, 5U, true));
  EXPECT_EQ(place(2), std::tuple(11U, 2U, false));
  EXPECT_EQ(place(3), std::tuple(14U, 1U, false));
}

TEST(Words, AnUnknownEscapeIsAFaultWhereItStands) {
  const std::string message = R"( no such escape; there are \" \\ \n \t and \xHH.)";
  EXPECT_EQ(fault(R"(a "b\qc")"), "5+2" + message);
  EXPECT_EQ(fault(R"("\x4")"), "2+2" + message);
  EXPECT_EQ(fault(R"("\xg0")"), "2+2" + message);
  EXPECT_EQ(fault(R"("\x0g")"), "2+2" + message);
  EXPECT_EQ(fault(R"("\x)"), "2+2" + message);
  EXPECT_EQ(fault(R"("\)"), "2+1" + message);
}

TEST(Words, AMissingQuoteIsAFaultFromItsBeginToTheEndOfTheLine) {
  EXPECT_EQ(fault(R"(acl "edge in)"), "5+8 the closing quote is missing.");
  EXPECT_EQ(fault(R"("a\")"), "1+4 the closing quote is missing.");
  EXPECT_EQ(fault("\""), "1+1 the closing quote is missing.");
}

TEST(Words, AQuoteStandsByItself) {
  EXPECT_EQ(fault(R"("a"b)"), "4+1 a blank is missing behind the closing quote.");
  EXPECT_EQ(fault(R"("a"#)"), "4+1 a blank is missing behind the closing quote.");
  EXPECT_EQ(fault(R"(a"b")"), "2+1 a quote may only begin a word.");
}

TEST(Words, AControlCharacterStandsInQuotesOnly) {
  EXPECT_EQ(fault("ab\x01"), "3+1 a control character may only stand in quotes.");
  EXPECT_EQ(fault(std::string_view("a\0b", 3)),
            "2+1 a control character may only stand in quotes.");
  EXPECT_EQ(fault("\x7f"), "1+1 a control character may only stand in quotes.");
  EXPECT_EQ(texts("\"a\x01\x7f\tb\""), Texts{"a\x01\x7f\tb"});
}

TEST(Words, TheWordsBeforeAFaultAreThere) {
  Words words;
  ASSERT_TRUE(words.split("acl 10 \"open"));
  EXPECT_EQ(words.all().size(), 2U);
}

TEST(Words, AreForgottenWithTheNextLine) {
  Words words;
  ASSERT_FALSE(words.split(R"("a\tb" c)"));
  ASSERT_FALSE(words.split("d"));
  ASSERT_EQ(words.all().size(), 1U);
  EXPECT_EQ(words.all()[0].text, "d");
}

TEST(Words, AreWrittenWithoutQuotesWhereNoneAreNeeded) {
  EXPECT_EQ(as_word("eth-0/3/1"), "eth-0/3/1");
  EXPECT_EQ(as_word("a#b"), "a#b");
  EXPECT_EQ(as_word(""), R"("")");
  EXPECT_EQ(as_word("#b"), R"("#b")");
  EXPECT_EQ(as_word("a b"), R"("a b")");
  EXPECT_EQ(as_word("a\\b"), R"("a\\b")");
  EXPECT_EQ(as_word("\""), R"("\"")");
  EXPECT_EQ(as_word("\xc3\xa4"), "\"\xc3\xa4\"");
  EXPECT_EQ(as_quoted_word("a"), R"("a")");
}

TEST(Words, AreWrittenWithEscapesForWhatCannotBeShown) {
  EXPECT_EQ(as_word("\n\t\r\x1b\x7f"), R"("\n\t\x0d\x1b\x7f")");
  EXPECT_EQ(as_word(std::string_view("\0", 1)), R"("\x00")");
  EXPECT_EQ(as_word("\xc3"), R"("\xc3")") << "half a character";
  EXPECT_EQ(as_word("\xc2\x85"), R"("\xc2\x85")") << "a control character";
  EXPECT_EQ(as_word("\xed\xa0\x80"), R"("\xed\xa0\x80")") << "a surrogate";
  EXPECT_EQ(as_word("\xf0\x9f\x98\x80"), "\"\xf0\x9f\x98\x80\"");
}

TEST(Words, ShownCharactersAreWellFormedUtf8) {
  EXPECT_EQ(shown_character(""), 0U);
  EXPECT_EQ(shown_character("ab"), 1U);
  EXPECT_EQ(shown_character("\x1f"), 0U);
  EXPECT_EQ(shown_character("\xc2\xa0"), 2U);
  EXPECT_EQ(shown_character("\xc1\xbf"), 0U) << "overlong";
  EXPECT_EQ(shown_character("\xe0\x9f\xbf"), 0U) << "overlong";
  EXPECT_EQ(shown_character("\xe0\xa0\x80"), 3U);
  EXPECT_EQ(shown_character("\xf0\x8f\xbf\xbf"), 0U) << "overlong";
  EXPECT_EQ(shown_character("\xf4\x8f\xbf\xbf"), 4U);
  EXPECT_EQ(shown_character("\xf4\x90\x80\x80"), 0U) << "beyond the last one";
  EXPECT_EQ(shown_character("\xf5\x80\x80\x80"), 0U);
  EXPECT_EQ(shown_character("\x80"), 0U);
  EXPECT_EQ(shown_character("\xe2\x82"), 0U) << "cut off";
}

TEST(Words, EveryByteComesBack) {
  for (int value = 0; value < 256; ++value) {
    const std::string byte(1, static_cast<char>(value));
    EXPECT_EQ(texts(as_word(byte)), Texts{byte}) << value;
    EXPECT_EQ(texts(as_quoted_word("a" + byte)), Texts{"a" + byte}) << value;
  }
}

TEST(Words, AnyTextsComeBack) {
  EXPECT_TRUE(rc::check([] {
    const auto given = *rc::gen::container<Texts>(gen_text());
    std::string line;
    for (const std::string& text : given) line += as_word(text) + " ";
    RC_ASSERT(line.find('\n') == std::string::npos);
    RC_ASSERT(texts(line) == given);
  }));
}

TEST(Words, AnyLineIsReadOrRefusedWithinItsBounds) {
  EXPECT_TRUE(rc::check([] {
    const std::string line = *gen_text();
    Words words;
    const std::optional<WordFault> fault = words.split(line);
    for (const Word& word : words.all()) {
      RC_ASSERT(word.column >= 1 && word.column - 1 + word.length <= line.size());
    }
    if (fault) RC_ASSERT(fault->column >= 1 && fault->column - 1 + fault->length <= line.size());
  }));
}

TEST(Harmless, EscapesWhatATerminalObeysOrDoesNotShow) {
  EXPECT_EQ(harmless("plain \xc3\xa4\n"), "plain \xc3\xa4\n");
  EXPECT_EQ(harmless("a\x1b[31m\x07"), "a\\x1b[31m\\x07");
  EXPECT_EQ(harmless("\xc2\x9b"), "\\xc2\\x9b");
  EXPECT_EQ(harmless("\xe2\x80\xae"), "\\xe2\\x80\\xae");
  EXPECT_EQ(harmless("\xff"), "\\xff");
}

TEST(Harmless, MayBeOneLine) {
  EXPECT_EQ(harmless_line("plain \xc3\xa4\n\x1b[2J\tx\r"), "plain \xc3\xa4\\n\\x1b[2J\\tx\\x0d");
}

}  // namespace
