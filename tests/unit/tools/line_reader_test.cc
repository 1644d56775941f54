#include "tools/line_reader.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <vector>

namespace {

// All lines of a file that holds `content`.
std::vector<std::string> lines_of_file(const std::string& content) {
  std::FILE* const file = std::tmpfile();
  EXPECT_EQ(std::fwrite(content.data(), 1, content.size(), file), content.size());
  std::rewind(file);

  EventLoop loop;
  std::vector<std::string> lines;
  LineReader reader(loop, fileno(file), [&] {
    std::string line;
    while (reader.take(line)) lines.push_back(line);
  });
  reader.want(true);
  while (!reader.at_end()) loop.run();
  EXPECT_EQ(reader.problem(), "");
  std::fclose(file);
  return lines;
}

TEST(LineReader, ReadsAFileLineByLine) {
  EXPECT_EQ(lines_of_file("one\n\nthree\n"), (std::vector<std::string>{"one", "", "three"}));
}

TEST(LineReader, TakesWhatFollowsTheLastLineBreakAsALine) {
  EXPECT_EQ(lines_of_file("one\ntwo"), (std::vector<std::string>{"one", "two"}));
}

TEST(LineReader, AnEmptyFileHasNoLines) {
  EXPECT_TRUE(lines_of_file("").empty());
}

TEST(LineReader, PutsTogetherALineThatIsLongerThanOneRead) {
  const std::string line(300000, 'x');
  EXPECT_EQ(lines_of_file(line + "\nend\n"), (std::vector<std::string>{line, "end"}));
}

TEST(LineReader, EndsAtALineWithoutEnd) {
  const int zeros = ::open("/dev/zero", O_RDONLY | O_CLOEXEC);
  ASSERT_GE(zeros, 0);
  EventLoop loop;
  std::string line;
  LineReader reader(loop, zeros, [&] { EXPECT_FALSE(reader.take(line)); });
  reader.want(true);
  while (!reader.at_end()) loop.run();
  EXPECT_EQ(reader.problem(), "a line is too long.");
  EXPECT_FALSE(reader.take(line));
  ::close(zeros);
}

TEST(LineReader, ReadsNothingThatIsNotWanted) {
  const int zeros = ::open("/dev/zero", O_RDONLY | O_CLOEXEC);
  ASSERT_GE(zeros, 0);
  EventLoop loop;
  Deferred turn(loop, [] {});
  LineReader reader(loop, zeros, [] { ADD_FAILURE() << "it has read"; });
  reader.want(false);
  for (int i = 0; i < 3; ++i) {
    turn.schedule();
    loop.run();
  }
  EXPECT_FALSE(reader.at_end());
  ::close(zeros);
}

TEST(LineReader, TellsThatThereIsNothingToRead) {
  constexpr int NOT_OPEN = 1000;
  EventLoop loop;
  LineReader reader(loop, NOT_OPEN, [] {});
  reader.want(true);
  while (!reader.at_end()) loop.run();
  EXPECT_EQ(reader.problem(), "Bad file descriptor");
}

TEST(LineReader, TellsWhyItCannotRead) {
  const int folder = ::open("/", O_RDONLY | O_CLOEXEC | O_DIRECTORY);
  ASSERT_GE(folder, 0);
  EventLoop loop;
  LineReader reader(loop, folder, [] {});
  reader.want(true);
  while (!reader.at_end()) loop.run();
  EXPECT_EQ(reader.problem(), "Is a directory");
  ::close(folder);
}

}  // namespace
