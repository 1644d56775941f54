#include <istream>

#include "tools/policyctl/shell/line_source.h"

namespace {

class StreamLines : public LineSource {
 public:
  explicit StreamLines(std::istream& in) : _in(in) {}

  std::optional<std::string> next(const std::string& /*prompt*/) override {
    std::string line;
    if (!std::getline(_in, line)) return std::nullopt;
    return line;
  }

 private:
  std::istream& _in;
};

}  // namespace

std::unique_ptr<LineSource> read_lines(std::istream& in) {
  return std::make_unique<StreamLines>(in);
}
