#include "tools/policyctl/entries/selection.h"

#include <gtest/gtest.h>

#include "tools/policyctl/failure.h"
#include "tools/policyctl/language/read_configuration.h"
#include "tools/policyctl/language/write_configuration.h"

namespace {

using Words = std::vector<std::string>;

constexpr const char* EDGE = R"(cos flag on
time-range night 22 6 on 0 0
acl 10 type 0
  rule 1 permit
  rule 20 deny
acl 11 type 1
interface eth-0/1/1
  filter acl 10 rule 1
vlan 100
  filter acl 10 rule 1
)";

Entries edge() {
  return read_configuration(EDGE).configuration;
}

std::string narrowed(const Words& words) {
  Entries configuration = edge();
  Selection::parse(words).narrow(configuration);
  return write_configuration(configuration);
}

// The message and the advice of what `run` throws.
template <typename Run>
std::string failure_of(ExitStatus status, Run run) {
  try {
    run();
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.status(), status);
    return failure.message() + " " + worded(failure.advice(), Where::COMMAND_LINE);
  }
  return "none";
}

TEST(Selection, SaysWhichWordIsWrong) {
  const auto refusal = [](const Words& words) {
    return failure_of(ExitStatus::USAGE, [&] { (void)Selection::parse(words); });
  };
  EXPECT_EQ(refusal({"alc", "10"}), "'alc' is not expected here. Is 'acl' meant?");
  EXPECT_EQ(refusal({"acl"}), "something is missing behind 'acl'. Expected: ACL.");
  EXPECT_EQ(refusal({"acl", "x"}),
            "'x' is no number 0..4294967295. ACL: number of an access control list.");
  EXPECT_EQ(refusal({"vlan", "1", "2"}), "'2' is one word too many. ");
  EXPECT_EQ(refusal({"anything"}),
            "'anything' is not expected here. Expected: cos, time-ranges, time-range, acls, acl, "
            "interfaces, interface, vlans, vlan.");
}

TEST(Selection, RefusesASingleThingThatIsNotThereAndOffersTheNearest) {
  const auto refusal = [](const Words& words) {
    return failure_of(ExitStatus::REFUSED, [&] { Selection::parse(words).require(edge()); });
  };
  EXPECT_EQ(
      refusal({"interface", "eth-0/1/2"}),
      "there is no interface eth-0/1/2 on the switch. Is 'eth-0/1/1' meant? See 'policyctl show "
      "interfaces'.");
  EXPECT_EQ(
      refusal({"acl", "10", "rule", "30"}),
      "there is no acl 10 rule 30 on the switch. Is '20' meant? See 'policyctl show acl 10'.");
  EXPECT_EQ(refusal({"time-range", "nihgt"}),
            "there is no time-range nihgt on the switch. Is 'night' meant? See 'policyctl show "
            "time-ranges'.");
  EXPECT_EQ(refusal({"vlan", "100"}), "none");
  EXPECT_EQ(refusal({"acls"}), "none");
}

TEST(Selection, DropsWhatIsNotSelected) {
  const std::string head = "cos flag on\ntime-range night 22 6 on 0 0\n";
  const std::string interface = "interface eth-0/1/1\n  filter acl 10 rule 1\n";
  const std::string vlan = "vlan 100\n  filter acl 10 rule 1\n";
  EXPECT_EQ(narrowed({}), EDGE);
  EXPECT_EQ(narrowed({"acl", "10", "rule", "20"}),
            head + "acl 10 type 0\n  rule 20 deny\n" + interface + vlan);
  EXPECT_EQ(narrowed({"acl", "12"}), head + interface + vlan);
  const std::string acls = "acl 10 type 0\n  rule 1 permit\n  rule 20 deny\nacl 11 type 1\n";
  EXPECT_EQ(narrowed({"interfaces"}), head + acls + interface);
  EXPECT_EQ(narrowed({"vlan", "101"}), head + acls);
}

}  // namespace
