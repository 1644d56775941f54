// policyctl beside a policyd whose answers make no sense.
#include "framework/xrl/xrl_args_codec.h"
#include "framework/xrl/xrl_atom_list.h"
#include "tests/integration/policyctl_fixture.h"

namespace {

template <typename... Values>
XrlAtomList list(const Values&... values) {
  XrlAtomList list;
  (list.append(values), ...);
  return list;
}

XrlCmdError three_lists_of_different_size(void*, XrlArgsReader&, XrlArgsWriter& out) {
  out.list("acls", list(1U, 2U));
  out.list("types", list(0U));
  out.list("descriptions", list("a", "b"));
  return XrlCmdError::OKAY();
}

XrlCmdError a_time_range_without_numbers(void*, XrlArgsReader&, XrlArgsWriter& out) {
  out.list("names", list("night"));
  for (const char* const numbers : {"number1s", "number2s", "flags", "number3s", "number4s"}) {
    out.list(numbers, XrlAtomList());
  }
  return XrlCmdError::OKAY();
}

struct SenselessAnswer {
  const char* method;
  XrlCmdMap::Handler answer;
  const char* what;  // of the switch is asked for
  const char* message;
};

class Senseless : public PolicyctlFixture, public testing::WithParamInterface<SenselessAnswer> {};

TEST_P(Senseless, AnswerIsNamedAndNotActedUpon) {
  ControlPlane::kill(plane.policyd);
  const auto policyd = plane.make_router("policy");
  ASSERT_TRUE(policyd->add_handler(GetParam().method, GetParam().answer, this));
  ASSERT_TRUE(plane.client().turn_until([&] { return policyd->ready(); }));
  const auto tool = start_policyctl({"show", GetParam().what});
  const std::string message = std::string("policyctl: could not ") + GetParam().message;
  Timer tick(plane.client().loop(), [&tick] { tick.schedule_after(std::chrono::milliseconds(5)); });
  tick.schedule_after({});
  EXPECT_TRUE(plane.client().turn_until([&] { return tool->errors().ends_with("\n"); }));
  EXPECT_EQ(tool->wait(), 69);
  EXPECT_TRUE(tool->errors().starts_with(message)) << tool->errors();
}

const SenselessAnswer ANSWERS[] = {
    {"policy_config/0.1/get_acls", three_lists_of_different_size, "acls",
     "read the access control lists: the answer makes no sense.\n"},
    {"policy_config/0.1/get_time_ranges", a_time_range_without_numbers, "time-ranges",
     "read the time ranges: the answer makes no sense.\n"},
};
INSTANTIATE_TEST_SUITE_P(Answers, Senseless, testing::ValuesIn(ANSWERS));

}  // namespace
