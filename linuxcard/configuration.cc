#include "linuxcard/configuration.h"

#include <algorithm>
#include <charconv>
#include <cstddef>

#include "platform/managers/switch_model.h"
#include "platform/usp.h"

namespace {

constexpr std::size_t MAX_LINK_NAME_BYTES = 15;
constexpr std::string_view BLANKS = " \t\r";
constexpr std::uint32_t MAX_HOLD_S = 86400;

std::string_view trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(BLANKS);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(BLANKS) - first + 1);
}

bool has_blank(std::string_view text) {
  return text.find_first_of(BLANKS) != std::string_view::npos;
}

bool is_printable(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return c > ' ' && c <= '~'; });
}

class Reader {
 public:
  Configuration run(std::string_view text) {
    if (text.size() > MAX_CONFIGURATION_BYTES) {
      throw ConfigurationError("the file is longer than 4 MiB");
    }
    while (!text.empty()) {
      const std::size_t end = std::min(text.find('\n'), text.size());
      ++_line;
      read_line(trimmed(text.substr(0, std::min(text.find('#'), end))));
      text.remove_prefix(std::min(end + 1, text.size()));
    }
    if (_configuration.ports.empty()) throw ConfigurationError("no port is named");
    return std::move(_configuration);
  }

 private:
  [[noreturn]] void fail(const std::string& problem) const {
    throw ConfigurationError("line " + std::to_string(_line) + ": " + problem);
  }

  void read_line(std::string_view line) {
    if (line.empty()) return;
    const std::size_t equals = line.find('=');
    if (equals == std::string_view::npos) fail("'=' is missing");
    const std::string_view left = trimmed(line.substr(0, equals));
    const std::string_view right = trimmed(line.substr(equals + 1));
    if (left == "hold") {
      read_hold(right);
      return;
    }
    check_link_name(right);
    if (left == "bridge") {
      if (!_configuration.bridge.empty()) fail("the bridge is named already");
      _configuration.bridge = use_link(right);
    } else if (left.substr(0, 5) == "port " || left.substr(0, 5) == "port\t") {
      read_port(trimmed(left.substr(5)), right);
    } else {
      read_aggregate(left, right);
    }
  }

  void read_port(std::string_view name, std::string_view link) {
    Usp usp;
    if (ifname_to_usp(name, usp) != 0) {
      fail("'" + std::string(name) + "' is no name of a port; UNIT/SLOT/PORT is expected");
    }
    add(name, link, _configuration.ports);
  }

  void read_aggregate(std::string_view name, std::string_view link) {
    Usp usp;
    if (name.empty() || has_blank(name) || !is_printable(name)) {
      fail("'port NAME', a name, 'bridge' or 'hold' is expected in front of '='");
    }
    if (ifname_to_usp(name, usp) == 0) {
      fail("'" + std::string(name) + "' is the name of a port; 'port' is missing in front of it");
    }
    add(name, link, _configuration.aggregates);
  }

  void add(std::string_view name, std::string_view link,
           std::map<std::string, std::string, std::less<>>& to) {
    if (name.size() > SwitchModel::MAX_INTERFACE_NAME_BYTES) {
      fail("'" + std::string(name) + "' is longer than 48 bytes");
    }
    const auto [known, added] = _names.emplace(name, _line);
    if (!added) fail_again(name, known->second);
    to.emplace(name, use_link(link));
  }

  [[noreturn]] void fail_again(std::string_view name, std::size_t line) const {
    fail("'" + std::string(name) + "' is named in line " + std::to_string(line) + " already");
  }

  void check_link_name(std::string_view link) const {
    const bool fits = !link.empty() && link.size() <= MAX_LINK_NAME_BYTES && is_printable(link) &&
                      link.find_first_of("/:") == std::string_view::npos;
    if (!fits) fail("'" + std::string(link) + "' is no name that a link of Linux can have");
  }

  std::string use_link(std::string_view link) {
    const auto [known, added] = _links.emplace(link, _line);
    if (!added) fail_again(link, known->second);
    return std::string(link);
  }

  void read_hold(std::string_view text) {
    std::uint32_t seconds = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), seconds);
    if (error != std::errc() || end != text.data() + text.size() || seconds > MAX_HOLD_S) {
      fail("'" + std::string(text) + "' is no number of seconds from 0 to 86400");
    }
    _configuration.hold = std::chrono::seconds(seconds);
  }

  Configuration _configuration;
  std::size_t _line = 0;
  std::map<std::string, std::size_t, std::less<>> _names;
  std::map<std::string, std::size_t, std::less<>> _links;
};

}  // namespace

Configuration parse_configuration(std::string_view text) {
  return Reader().run(text);
}
