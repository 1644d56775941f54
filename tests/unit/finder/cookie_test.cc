#include "framework/xrl/router/cookie.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "tests/support/temporary_folder.h"

namespace {

const std::string COOKIE = "0123456789abcdef";

// A file of one's own in a folder that goes with the test.
class CookieFile : public testing::Test {
 protected:
  ~CookieFile() override { ::unsetenv("XRL_COOKIE_FILE"); }

  void write(const std::string& content, mode_t mode = 0600) {
    _folder.write("cookie", content);
    ASSERT_EQ(::chmod(_path.c_str(), mode), 0);
  }
  // What read_cookie_file() says is wrong, without the path in front.
  std::string problem() {
    std::string cookie = "untouched";
    std::string error;
    if (read_cookie_file(_path, cookie, error)) return "read";
    EXPECT_EQ(cookie, "untouched");
    const std::string prefix = "cookie file '" + _path + "': ";
    EXPECT_EQ(error.substr(0, prefix.size()), prefix);
    return error.substr(prefix.size());
  }
  std::string cookie() {
    std::string read;
    std::string error;
    EXPECT_TRUE(read_cookie_file(_path, read, error)) << error;
    return read;
  }

  const TemporaryFolder _folder;
  const std::string _path = _folder.path_of("cookie");
};

TEST_F(CookieFile, IsReadAsItIs) {
  write(COOKIE);
  EXPECT_EQ(cookie(), COOKIE);
}

TEST_F(CookieFile, MayHoldAnyBytes) {
  const std::string bytes("\0\xff\n\r\t 0123456789abcdef", 22);
  write(bytes);
  EXPECT_EQ(cookie(), bytes);
}

TEST_F(CookieFile, LosesOneLineBreakAtItsEnd) {
  write(COOKIE + "\n");
  EXPECT_EQ(cookie(), COOKIE);
  write(COOKIE + "\n\n");
  EXPECT_EQ(cookie(), COOKIE + "\n");
}

TEST_F(CookieFile, MayBeReadOnly) {
  write(COOKIE, 0400);
  EXPECT_EQ(cookie(), COOKIE);
}

TEST_F(CookieFile, IsRefusedWhenOthersMayTouchIt) {
  for (const mode_t mode : {0644U, 0640U, 0604U, 0620U, 0602U, 0601U, 0700U, 01600U, 04600U}) {
    write(COOKIE, mode);
    EXPECT_EQ(problem(), "its mode must be 0600 or stricter.") << std::oct << mode;
  }
}

TEST_F(CookieFile, IsRefusedWhenAnotherUserOwnsIt) {
  write(COOKIE);
  if (::geteuid() == 0) {
    ASSERT_EQ(::chown(_path.c_str(), 65534, 65534), 0);
    EXPECT_EQ(problem(), "owned by another user.");
    return;
  }
  std::string cookie;
  std::string error;
  EXPECT_FALSE(read_cookie_file("/etc/passwd", cookie, error));
  EXPECT_EQ(error, "cookie file '/etc/passwd': owned by another user.");
}

TEST_F(CookieFile, IsRefusedWhenItIsMissing) {
  EXPECT_EQ(problem(), "No such file or directory.");
}

TEST_F(CookieFile, IsRefusedWhenItIsNoRegularFile) {
  ASSERT_EQ(::mkfifo(_path.c_str(), 0600), 0);
  EXPECT_EQ(problem(), "not a regular file.");
}

TEST_F(CookieFile, IsRefusedWhenItCannotBeRead) {
  std::string cookie = "untouched";
  std::string error;
  EXPECT_FALSE(read_cookie_file("/proc/self/mem", cookie, error));
  EXPECT_EQ(error, "cookie file '/proc/self/mem': Input/output error.");
  EXPECT_EQ(cookie, "untouched");
}

TEST_F(CookieFile, HasALengthFrom16To255) {
  write("");
  EXPECT_EQ(problem(), "shorter than 16 bytes.");
  write(std::string(15, 'x') + "\n");
  EXPECT_EQ(problem(), "shorter than 16 bytes.");
  write(std::string(16, 'x'));
  EXPECT_EQ(cookie().size(), 16U);
  write(std::string(255, 'x') + "\n");
  EXPECT_EQ(cookie().size(), 255U);
  write(std::string(256, 'x'));
  EXPECT_EQ(problem(), "longer than 255 bytes.");
  write(std::string(1U << 20U, 'x'));
  EXPECT_EQ(problem(), "longer than 255 bytes.");
}

TEST_F(CookieFile, IsNamedByTheEnvironment) {
  write(COOKIE);
  ASSERT_EQ(::setenv("XRL_COOKIE_FILE", _path.c_str(), 1), 0);
  std::string cookie;
  std::string error;
  EXPECT_TRUE(read_cookie_from_environment(cookie, error)) << error;
  EXPECT_EQ(cookie, COOKIE);
}

TEST_F(CookieFile, ThatTheEnvironmentNamesMustBeThere) {
  ASSERT_EQ(::setenv("XRL_COOKIE_FILE", _path.c_str(), 1), 0);
  std::string cookie = "untouched";
  std::string error;
  EXPECT_FALSE(read_cookie_from_environment(cookie, error));
  EXPECT_EQ(error, "cookie file '" + _path + "': No such file or directory.");
  EXPECT_EQ(cookie, "untouched");
}

TEST_F(CookieFile, IsNotNeededWhenTheEnvironmentNamesNone) {
  for (const char* value : {"", static_cast<const char*>(nullptr)}) {
    if (value != nullptr) {
      ASSERT_EQ(::setenv("XRL_COOKIE_FILE", value, 1), 0);
    } else {
      ::unsetenv("XRL_COOKIE_FILE");
    }
    std::string cookie = "old";
    std::string error;
    EXPECT_TRUE(read_cookie_from_environment(cookie, error));
    EXPECT_EQ(cookie, "");
  }
}

TEST(Cookies, MatchOnlyWhenEveryByteIsEqual) {
  EXPECT_TRUE(cookies_match("", ""));
  EXPECT_TRUE(cookies_match(COOKIE, COOKIE));
  EXPECT_FALSE(cookies_match(COOKIE, ""));
  EXPECT_FALSE(cookies_match(COOKIE, COOKIE.substr(1)));
  for (std::size_t i = 0; i < COOKIE.size(); ++i) {
    std::string other = COOKIE;
    other[i] = static_cast<char>(other[i] ^ 0x80);
    EXPECT_FALSE(cookies_match(COOKIE, other)) << "byte " << i;
  }
}

}  // namespace
