#include "framework/finder/finder_target_lists.h"

#include <algorithm>
#include <string_view>

FinderTargetLists finder_target_lists(const FinderTarget& target) {
  FinderTargetLists lists;
  for (const std::string& address : target.addresses) lists.addresses.append(address);
  for (const FinderMethod& method : target.methods) {
    lists.methods.append(method.name);
    lists.keys.append(XrlAtom::unnamed(XrlAtom::Binary(method.key.begin(), method.key.end())));
  }
  return lists;
}

std::string read_finder_target_lists(const XrlAtomList& addresses, const XrlAtomList& methods,
                                     const XrlAtomList& keys, FinderTarget& target) {
  if (methods.size() != keys.size()) {
    return std::to_string(methods.size()) + " methods have " + std::to_string(keys.size()) +
           " keys.";
  }
  for (const std::string_view address : addresses.texts()) {
    if (target.addresses.size() > finder_limits::MAX_ADDRESSES_PER_TARGET) break;
    target.addresses.emplace_back(address);
  }
  const XrlAtomList::Texts key_bytes = keys.binaries();
  auto key = key_bytes.begin();
  for (const std::string_view method : methods.texts()) {
    if (target.methods.size() > finder_limits::MAX_METHODS_PER_TARGET) break;
    if ((*key).size() != sizeof(XrlKey)) {
      return "key " + std::to_string(target.methods.size() + 1) + " is not " +
             std::to_string(sizeof(XrlKey)) + " bytes long.";
    }
    FinderMethod& added = target.methods.emplace_back(FinderMethod{std::string(method), {}});
    std::copy((*key).begin(), (*key).end(), added.key.begin());
    ++key;
  }
  return {};
}
