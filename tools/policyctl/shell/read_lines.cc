#include <cerrno>
#include <cstring>
#include <istream>

#include "tools/policyctl/failure.h"
#include "tools/policyctl/shell/line_source.h"

namespace {

class StreamLines : public LineSource {
 public:
  explicit StreamLines(std::istream& in) : _in(in) {}

  std::optional<std::string> next(const std::string& /*prompt*/) override {
    std::string line;
    errno = 0;
    if (std::getline(_in, line)) return line;
    const int error = errno == 0 ? EIO : errno;
    if (!_in.bad()) return std::nullopt;
    throw Failure(ExitStatus::BAD_FILE,
                  std::string("standard input: ") + std::strerror(error) + ".");
  }

 private:
  std::istream& _in;
};

}  // namespace

std::unique_ptr<LineSource> read_lines(std::istream& in) {
  return std::make_unique<StreamLines>(in);
}
