#include "linuxcard/propose.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <system_error>

namespace {

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

// "p2" before "p10".
bool comes_before(const std::string& a, const std::string& b) {
  std::size_t i = 0;
  std::size_t j = 0;
  while (i < a.size() && j < b.size()) {
    if (is_digit(a[i]) && is_digit(b[j])) {
      const std::size_t end_a = std::min(a.find_first_not_of("0123456789", i), a.size());
      const std::size_t end_b = std::min(b.find_first_not_of("0123456789", j), b.size());
      const std::size_t size_a = end_a - i;
      const std::size_t size_b = end_b - j;
      if (size_a != size_b) return size_a < size_b;
      const int order = a.compare(i, size_a, b, j, size_b);
      if (order != 0) return order < 0;
      i = end_a;
      j = end_b;
    } else if (a[i] != b[j]) {
      return a[i] < b[j];
    } else {
      ++i;
      ++j;
    }
  }
  return a.size() - i < b.size() - j;
}

bool port_comes_before(const PlacedLink& a, const PlacedLink& b) {
  if (a.place.port != b.place.port) return comes_before(a.place.port, b.place.port);
  return comes_before(a.link.name, b.link.name);
}

std::string ports_of_slot(std::size_t slot, const std::string& device,
                          std::vector<PlacedLink> links) {
  std::sort(links.begin(), links.end(), port_comes_before);
  std::string text = "\n# " + device + "\n";
  std::size_t number = 0;
  for (const PlacedLink& link : links) {
    text += "port 1/" + std::to_string(slot) + "/" + std::to_string(++number) + " = " +
            link.link.name + "\n";
  }
  return text;
}

std::vector<PlacedLink> of_kinds(const std::vector<PlacedLink>& links,
                                 std::initializer_list<std::string_view> kinds) {
  std::vector<PlacedLink> found;
  for (const PlacedLink& link : links) {
    if (std::find(kinds.begin(), kinds.end(), link.link.kind) != kinds.end()) found.push_back(link);
  }
  std::sort(found.begin(), found.end(), port_comes_before);
  return found;
}

std::string first_line(const std::filesystem::path& file) {
  std::ifstream in(file);
  std::string line;
  std::getline(in, line);
  return line;
}

}  // namespace

LinkPlace place_of_link(const std::string& name) {
  const std::filesystem::path folder = std::filesystem::path("/sys/class/net") / name;
  std::error_code none;
  const auto device = std::filesystem::read_symlink(folder / "device", none);
  if (none) return {};
  LinkPlace place{device.filename().string(), first_line(folder / "phys_port_name")};
  if (place.port.empty()) place.port = first_line(folder / "dev_port");
  return place;
}

std::string propose_configuration(const std::vector<PlacedLink>& links) {
  std::map<std::string, std::vector<PlacedLink>, decltype(&comes_before)> devices(&comes_before);
  for (const PlacedLink& link : links) {
    if (!link.place.bus.empty()) devices[link.place.bus].push_back(link);
  }
  std::string text = "# Ports of this switch and what Linux calls them.\n";
  std::size_t slot = 0;
  for (const auto& [device, ports] : devices) text += ports_of_slot(++slot, device, ports);
  const std::vector<PlacedLink> virtual_links = of_kinds(links, {"veth"});
  if (devices.empty() && !virtual_links.empty()) {
    text += ports_of_slot(++slot, "virtual links", virtual_links);
  }
  std::size_t number = 0;
  for (const PlacedLink& lag : of_kinds(links, {"bond", "team"})) {
    if (number == 0) text += "\n";
    text += "lag" + std::to_string(++number) + " = " + lag.link.name + "\n";
  }
  const std::vector<PlacedLink> bridges = of_kinds(links, {"bridge"});
  if (bridges.size() == 1) text += "\nbridge = " + bridges.front().link.name + "\n";
  return text;
}
