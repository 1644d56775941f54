// xrlgen --root FOLDER --out FOLDER [--import FILE.xif]... FILE
//
// Writes the client stub of an interface file or the target base of a target
// file below the --out folder, at the path that FILE has below the --root
// folder: policy/interfaces/policy.tgt becomes policy/interfaces/policy_tgt.h
// and policy_tgt.cc. A target finds its interfaces among the imported files.
// A file that would not change is left alone, so nothing is built anew for it.

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "framework/xrlgen/checker.h"
#include "framework/xrlgen/emitter.h"
#include "framework/xrlgen/parser.h"

namespace {

namespace fs = std::filesystem;

constexpr int EXIT_USAGE = 2;

struct Options {
  fs::path root;
  fs::path out;
  fs::path file;
  std::vector<fs::path> imports;
};

std::optional<Options> parse_command_line(const std::vector<std::string>& words) {
  Options options;
  for (std::size_t i = 0; i < words.size(); ++i) {
    const std::string& word = words[i];
    if (word.empty() || word.front() != '-') {
      if (!options.file.empty()) return std::nullopt;
      options.file = word;
      continue;
    }
    if (++i == words.size()) return std::nullopt;
    if (word == "--root")
      options.root = words[i];
    else if (word == "--out")
      options.out = words[i];
    else if (word == "--import")
      options.imports.emplace_back(words[i]);
    else
      return std::nullopt;
  }
  if (options.root.empty() || options.out.empty() || options.file.empty()) return std::nullopt;
  return options;
}

std::optional<std::string> read_if_there(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  // A folder can be opened, but reading it would throw something that does not name it.
  if (!file || fs::is_directory(path)) return std::nullopt;
  return std::string(std::istreambuf_iterator<char>(file), {});
}

std::string read(const fs::path& path) {
  std::optional<std::string> text = read_if_there(path);
  if (!text) throw std::runtime_error(path.string() + ": cannot be read");
  return *std::move(text);
}

void write_if_changed(const fs::path& path, const std::string& text) {
  if (read_if_there(path) == text) return;
  fs::create_directories(path.parent_path());
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file << text;
  file.close();
  if (!file) throw std::runtime_error(path.string() + ": cannot be written");
}

xrlgen::Interface load_interface(const Options& options, const fs::path& path) {
  xrlgen::Interface interface =
      xrlgen::parse_interface(path.lexically_relative(options.root).string(), read(path));
  xrlgen::check_interface(interface);
  return interface;
}

xrlgen::Generated generate(const Options& options, const std::string& header_path) {
  if (options.file.extension() == ".xif")
    return xrlgen::emit_client(load_interface(options, options.file), header_path);

  const xrlgen::Target target = xrlgen::parse_target(
      options.file.lexically_relative(options.root).string(), read(options.file));
  std::vector<xrlgen::Interface> known;
  for (const fs::path& path : options.imports) known.push_back(load_interface(options, path));
  xrlgen::check_unique(known);
  return xrlgen::emit_target_base(target, xrlgen::resolve_target(target, known), header_path);
}

void run(const Options& options) {
  // "policy/interfaces/policy.tgt" -> "policy/interfaces/policy_tgt"
  fs::path stem = options.file.lexically_relative(options.root);
  const std::string kind = stem.extension().string().substr(1);
  stem.replace_filename(stem.stem().string() + "_" + kind);

  const std::string header_path = stem.string() + ".h";
  const xrlgen::Generated generated = generate(options, header_path);
  write_if_changed(options.out / header_path, generated.header);
  write_if_changed(options.out / (stem.string() + ".cc"), generated.source);
}

}  // namespace

int main(int argc, char** argv) {
  const std::optional<Options> options =
      parse_command_line(std::vector<std::string>(argv + 1, argv + argc));
  if (!options || (options->file.extension() != ".xif" && options->file.extension() != ".tgt")) {
    std::cerr << "usage: xrlgen --root FOLDER --out FOLDER [--import FILE.xif]... "
                 "FILE.xif|FILE.tgt\n";
    return EXIT_USAGE;
  }
  try {
    run(*options);
  } catch (const std::exception& problem) {
    std::cerr << problem.what() << "\n";
    return EXIT_FAILURE;
  }
  return EXIT_SUCCESS;
}
