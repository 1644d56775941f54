#include "tests/support/temporary_folder.h"

#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <system_error>

TemporaryFolder::TemporaryFolder(const std::filesystem::path& parent) {
  std::string pattern = parent / "policyd-test-XXXXXX";
  if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no folder " + pattern);
  _path = pattern;
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(_path, ignored);
}

std::string TemporaryFolder::write(const std::string& name, const std::string& content) const {
  const std::filesystem::path file = _path / name;
  std::filesystem::create_directories(file.parent_path());
  std::ofstream out(file, std::ios::binary);
  out << content;
  out.close();
  if (!out) throw std::runtime_error("no file " + file.string());
  return file;
}
