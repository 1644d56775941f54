// docs/policyctl.schema.json has the members that the table of entry kinds says, and no
// others.
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <string>

#include "tools/policyctl/language/configuration.h"
#include "tools/policyctl/language/entry_kind.h"

namespace {

using Json = nlohmann::json;
using Members = std::set<std::string>;

class Schema : public testing::Test {
 protected:
  Schema() { std::ifstream(POLICYCTL_SCHEMA) >> _schema; }

  [[nodiscard]] const Json& configuration() const {
    return _schema.at("definitions").at("configuration");
  }
  // What a reference leads to.
  [[nodiscard]] const Json& resolved(const Json& part) const {
    if (!part.contains("$ref")) return part;
    const auto at = part.at("$ref").get<std::string>();
    return resolved(_schema.at("definitions").at(at.substr(at.rfind('/') + 1)));
  }
  [[nodiscard]] const Json& member(const Json& part, const std::string& name) const {
    return resolved(resolved(part).at("properties").at(name));
  }
  [[nodiscard]] Members members(const Json& part) const {
    Members names;
    for (const auto& each : resolved(part).at("properties").items()) names.insert(each.key());
    return names;
  }

 private:
  Json _schema;
};

// Whether an entry of the kind can stand below that head.
bool can_stand_below(const EntryKind& kind, const EntryKind& head) {
  const bool has_name = head.facts().json.value.arguments[0] == "interface";
  const EntryKey key = has_name ? key_of(std::string_view("eth-0/1/1")) : key_of(20);
  const auto refused = *kind.facts().refused;
  return stands_below(kind, head) && (refused == nullptr || refused(key).message.empty());
}

Members own_members(const EntryKind& kind) {
  const auto arguments = kind.facts().json.value.arguments;
  Members names(arguments.begin(), arguments.end());
  for (const EntryKind* child : entry_kinds()) {
    if (can_stand_below(*child, kind)) names.emplace(child->facts().json.value.member);
  }
  return names;
}

TEST_F(Schema, HasAMemberForEachKindAndNoOther) {
  Members top;
  std::map<std::string, Members> within;
  for (const EntryKind* kind : entry_kinds()) {
    if (*kind->facts().below != &TOP_LEVEL) continue;
    const JsonForm& form = kind->facts().json;
    top.emplace(form.within.empty() ? form.member : form.within);
    if (!form.within.empty()) within[std::string(form.within)].emplace(form.member);
  }
  EXPECT_EQ(members(configuration()), top);
  for (const auto& [name, expected] : within) {
    EXPECT_EQ(members(member(configuration(), name)), expected) << name;
  }
}

TEST_F(Schema, HasAMemberForEachThingThatAnEntrySays) {
  const auto expect_kind = [this](const EntryKind& kind, const Json& above) {
    const JsonForm& form = kind.facts().json;
    const Json& own = member(above, std::string(form.member));
    if (form.is_list) {
      EXPECT_EQ(members(own.at("items")), own_members(kind)) << form.member;
    } else if (own_members(kind).size() > 1) {
      EXPECT_EQ(members(own), own_members(kind)) << form.member;
    } else {
      EXPECT_FALSE(own.contains("properties")) << form.member;
    }
  };
  for (const EntryKind* kind : entry_kinds()) {
    if (*kind->facts().below != &TOP_LEVEL) continue;
    const JsonForm& form = kind->facts().json;
    expect_kind(*kind, form.within.empty() ? configuration()
                                           : member(configuration(), std::string(form.within)));
    for (const EntryKind* child : entry_kinds()) {
      if (!can_stand_below(*child, *kind)) continue;
      expect_kind(*child, member(configuration(), std::string(form.member)).at("items"));
    }
  }
}

}  // namespace
