#include "tools/policyctl/commands/context.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string_view>

#include "framework/base/exceptions.h"
#include "tools/policyctl/change/replace_file.h"
#include "tools/policyctl/render/json_output.h"

namespace {

// Of a file that never ends the memory would end.
constexpr std::size_t MOST_BYTES = std::size_t{1} << 30U;

[[noreturn]] void refuse_unreadable(const std::string& name) {
  const int error = errno == 0 ? EIO : errno;
  throw Failure(ExitStatus::BAD_FILE, name + ": " + std::strerror(error) + ".");
}

// Throws Failure BAD_FILE.
std::string read_all(std::istream& in, const std::string& name, std::size_t expected = 0) {
  std::string text;
  text.reserve(std::min(expected, MOST_BYTES));
  errno = 0;
  try {
    std::array<char, std::size_t{64} << 10U> part{};
    while (in.read(part.data(), part.size()) || in.gcount() > 0) {
      text.append(part.data(), static_cast<std::size_t>(in.gcount()));
      if (text.size() > MOST_BYTES) {
        throw Failure(ExitStatus::BAD_FILE, name + ": it is larger than 1 GiB.");
      }
    }
  } catch (const std::ios_base::failure&) {
    in.setstate(std::ios::badbit);
  }
  if (in.bad()) refuse_unreadable(name);
  return text;
}

// A device or a pipe is written to as it is.
int write_to_device(const std::string& file, const std::string& text) {
  const int fd = open(file.c_str(), O_WRONLY | O_CLOEXEC);
  if (fd < 0) return errno;
  int error = write_all(fd, text);
  if (close(fd) != 0 && error == 0) error = errno;
  return error;
}

mode_t mode_of_new_files() {
  const mode_t taken = umask(0);
  umask(taken);
  return 0666U & ~taken;
}

// 0 or an errno.
int write_over(const std::string& file, const std::string& text) {
  struct stat there {};
  if (stat(file.c_str(), &there) != 0) {
    there.st_mode = S_IFREG | mode_of_new_files();
  } else if (S_ISDIR(there.st_mode)) {
    return EISDIR;
  } else if (access(file.c_str(), W_OK) != 0) {
    return errno;
  }
  if (!S_ISREG(there.st_mode)) return write_to_device(file, text);
  // What a link leads to is replaced, not the link.
  std::error_code unknown;
  const std::filesystem::path path = std::filesystem::weakly_canonical(file, unknown);
  const std::string name = unknown ? file : path.string();
  const std::string draft = name + ".new-" + std::to_string(getpid());
  return replace_file({name, draft, there.st_mode & 07777U}, text);
}

}  // namespace

SourceText read_source(const std::string& file) {
  if (file == "-") return {"standard input", read_all(std::cin, "standard input")};
  errno = 0;
  std::ifstream in(file, std::ios::binary);
  if (!in.is_open()) refuse_unreadable(file);
  std::error_code unknown;
  const std::uintmax_t size = std::filesystem::file_size(file, unknown);
  return {file, read_all(in, file, unknown ? 0 : size)};
}

void write_file(const Context& context, const std::string& file, const std::string& text) {
  if (file == "-") {
    context.out << text << std::flush;
    return;
  }
  const int error = write_over(file, text);
  if (error == 0) return;
  throw Failure(ExitStatus::REFUSED, file + ": " + std::strerror(error) + ".");
}

ExitStatus run_reporting(const Context& context, const std::function<ExitStatus()>& run) {
  try {
    return run();
  } catch (const Failure& failure) {
    return report_failure(context, failure);
  } catch (const XorpException& problem) {
    return report_failure(context, Failure(ExitStatus::REFUSED, problem.str()));
  } catch (const std::exception& problem) {
    return report_failure(context, Failure(ExitStatus::REFUSED, problem.what()));
  }
}
