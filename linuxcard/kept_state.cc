#include "linuxcard/kept_state.h"

#include <cstdio>
#include <fstream>
#include <sstream>

namespace {

constexpr const char* HEAD = "linuxcard 1";

// "queues 1/1/1 0 0 1 1 2 2 3 3"
bool read_queues(std::istringstream& words, QueueMaps& queues) {
  std::string port;
  QueueMap map{};
  words >> port;
  for (std::uint8_t& queue : map) {
    unsigned number = 0;
    if (!(words >> number) || number >= PRIORITIES) return false;
    queue = static_cast<std::uint8_t>(number);
  }
  queues[port] = map;
  return true;
}

}  // namespace

KeptState read_kept_state(const std::string& file) {
  std::ifstream in(file);
  std::string line;
  if (!std::getline(in, line) || line != HEAD) return {};
  KeptState state;
  while (std::getline(in, line)) {
    std::istringstream words(line);
    std::string what;
    words >> what;
    if (what == "policy") {
      words >> state.instance;
    } else if (what != "queues" || !read_queues(words, state.queues)) {
      return {};
    }
  }
  return state;
}

bool write_kept_state(const std::string& file, const KeptState& state) {
  const std::string beside = file + ".new";
  std::ofstream out(beside, std::ios::trunc);
  out << HEAD << "\n";
  if (!state.instance.empty()) out << "policy " << state.instance << "\n";
  for (const auto& [port, map] : state.queues) {
    out << "queues " << port;
    for (const std::uint8_t queue : map) out << " " << unsigned{queue};
    out << "\n";
  }
  out.close();
  return out && std::rename(beside.c_str(), file.c_str()) == 0;
}
