// What may be typed next, for people: words to complete, and a line of help for
// each thing that may follow.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/policyctl/language/configuration.h"
#include "tools/policyctl/language/statement_match.h"

struct Offer {
  std::string word;  // as it is typed, quoted where it must be
  std::string help;
  bool is_example = false;  // how it may look; not to be typed for a person
};
using Offers = std::vector<Offer>;

// What begins with `partial` of the words that can be listed: keywords, choices,
// names of what `live` has, names of match fields, and the example of a field
// whose value is next. Keywords have no help.
[[nodiscard]] Offers offers(const Expected& expected, std::string_view partial,
                            const Entries& live);

// The same one by one.
using TakeOffer = std::function<void(Offer)>;
void for_each_offer(const Expected& expected, std::string_view partial, const Entries& live,
                    const TakeOffer& take);

// What cannot be listed, by its name in capitals: {"QUEUE", "0..7, egress queue"}.
[[nodiscard]] Offers placeholders(const Expected& expected);

// Names of files that begin with `partial`, ascending. Folders end in '/'. Hidden files
// are offered to who types the dot.
[[nodiscard]] Offers file_offers(std::string_view partial);
