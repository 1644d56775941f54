// TemporaryFolder: a folder of a test's own, with a name that nobody else on this
// machine has, which goes with all that is in it.
#pragma once

#include <filesystem>
#include <string>

class TemporaryFolder {
 public:
  // Within `parent`, for the user alone. Throws std::runtime_error when there can
  // be none.
  explicit TemporaryFolder(
      const std::filesystem::path& parent = std::filesystem::temp_directory_path());
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  [[nodiscard]] const std::filesystem::path& path() const { return _path; }
  // The path of what has that name in it, whether it is there or not.
  [[nodiscard]] std::string path_of(const std::string& name) const { return _path / name; }
  // Makes or replaces a file, and the folders it is in; its path. Throws
  // std::runtime_error when that fails.
  std::string write(const std::string& name, const std::string& content) const;

 private:
  std::filesystem::path _path;
};
