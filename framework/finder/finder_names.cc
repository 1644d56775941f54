#include "framework/finder/finder_names.h"

#include <algorithm>
#include <vector>

#include "framework/base/network.h"

namespace finder_names {
namespace {

bool is_name_character(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
         c == '-' || c == '.' || c == ':' || c == '@';
}

bool is_word(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), is_name_character);
}

std::string problem_of_names(const FinderTarget& target) {
  if (!is_name(target.class_name)) return "the class name is malformed.";
  if (!is_name(target.instance_name)) return "the instance name is malformed.";
  return {};
}

// Positions in the texts count from 1: what stands there may be of any length
// and any bytes, so it is not repeated.
std::string problem_of_addresses(const std::vector<std::string>& addresses) {
  if (addresses.empty()) return "a target needs an address.";
  if (addresses.size() > finder_limits::MAX_ADDRESSES_PER_TARGET) {
    return "a target may have at most " + std::to_string(finder_limits::MAX_ADDRESSES_PER_TARGET) +
           " addresses.";
  }
  for (std::size_t i = 0; i < addresses.size(); ++i) {
    NetAddress parsed;
    if (addresses[i].size() > finder_limits::MAX_ADDRESS_BYTES ||
        !NetAddress::parse(addresses[i], parsed)) {
      return "address " + std::to_string(i + 1) + " is malformed.";
    }
  }
  return {};
}

std::string problem_of_methods(const std::vector<FinderMethod>& methods) {
  if (methods.size() > finder_limits::MAX_METHODS_PER_TARGET) {
    return "a target may have at most " + std::to_string(finder_limits::MAX_METHODS_PER_TARGET) +
           " methods.";
  }
  std::vector<std::string_view> names;
  names.reserve(methods.size());
  for (std::size_t i = 0; i < methods.size(); ++i) {
    if (!is_method(methods[i].name)) return "method " + std::to_string(i + 1) + " is malformed.";
    names.emplace_back(methods[i].name);
  }
  std::sort(names.begin(), names.end());
  const auto twice = std::adjacent_find(names.begin(), names.end());
  if (twice != names.end()) return "the method '" + std::string(*twice) + "' is given twice.";
  return {};
}

}  // namespace

bool is_name(std::string_view text) {
  return text.size() <= finder_limits::MAX_NAME_BYTES && is_word(text);
}

bool is_method(std::string_view text) {
  if (text.size() > finder_limits::MAX_METHOD_BYTES) return false;
  const std::size_t version = text.find('/');
  if (version == std::string_view::npos) return false;
  const std::size_t method = text.find('/', version + 1);
  if (method == std::string_view::npos) return false;
  return is_word(text.substr(0, version)) &&
         is_word(text.substr(version + 1, method - version - 1)) &&
         is_word(text.substr(method + 1));
}

std::string problem_of(const FinderTarget& target) {
  std::string problem = problem_of_names(target);
  if (problem.empty()) problem = problem_of_addresses(target.addresses);
  if (problem.empty()) problem = problem_of_methods(target.methods);
  return problem;
}

}  // namespace finder_names
