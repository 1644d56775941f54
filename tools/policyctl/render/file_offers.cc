#include "tools/policyctl/render/file_offers.h"

#include <algorithm>
#include <filesystem>
#include <string>

#include "tools/policyctl/language/words.h"

namespace fs = std::filesystem;

Offers file_offers(std::string_view partial) {
  const std::size_t slash = partial.rfind('/');
  const std::string folder(slash == std::string_view::npos ? "" : partial.substr(0, slash + 1));
  const std::string_view begins = partial.substr(folder.size());
  Offers offers;
  std::error_code problem;
  for (fs::directory_iterator at(folder.empty() ? "." : folder, problem), end;
       !problem && at != end; at.increment(problem)) {
    std::string name = at->path().filename().string();
    if (!name.starts_with(begins) || (begins.empty() && name.starts_with('.'))) continue;
    std::error_code unknown;
    if (at->is_directory(unknown)) name += '/';
    offers.push_back({as_word(folder + name), "", false});
  }
  std::sort(offers.begin(), offers.end(),
            [](const Offer& a, const Offer& b) { return a.word < b.word; });
  return offers;
}
