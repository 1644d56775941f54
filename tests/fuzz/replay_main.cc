// Stands in for the fuzzer in ordinary builds: runs the fuzz target once over
// every file of the given folders, findings of the past among them.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

void replay(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  const std::string read{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  // Nothing lies behind it, so that who reads on is noticed.
  const auto input = std::make_unique<std::uint8_t[]>(read.size());
  std::copy(read.begin(), read.end(), input.get());
  LLVMFuzzerTestOneInput(input.get(), read.size());
}

}  // namespace

int main(int argc, char** argv) {
  int replayed = 0;
  try {
    for (int i = 1; i < argc; ++i) {
      for (const auto& entry : std::filesystem::directory_iterator(argv[i])) {
        replay(entry.path());
        ++replayed;
      }
    }
  } catch (const std::exception& problem) {
    std::fprintf(stderr, "%s\n", problem.what());
    return EXIT_FAILURE;
  }
  std::printf("%d inputs replayed\n", replayed);
  return replayed > 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
