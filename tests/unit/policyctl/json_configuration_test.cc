// A configuration as `policyctl --json` prints it.
#include "tools/policyctl/render/json_configuration.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "tests/support/typed_configuration.h"
#include "tools/policyctl/render/json_output.h"

namespace {

Json printed(const Configuration& configuration) {
  std::ostringstream out;
  print_configuration_json(out, configuration.entries());
  return Json::parse(out.str());
}

TEST(JsonConfiguration, HasTheFiltersAndRemarksOfARecord) {
  Configuration configuration;
  Bindings bindings;
  bindings.filters = {{10, 2}, {10, 1}};
  bindings.remarks = {{{10, 3}, {REMARK_DSCP, 46}},
                      {{11, 1}, {REMARK_PRIORITY, 5}},
                      {{11, 2}, {REMARK_TWO_BIT, 2}}};
  configuration.vlans[20] = bindings;
  bindings.cos_value = 3;
  configuration.interfaces["eth-0/1/1"] = bindings;
  const std::string bound = R"(
    "filters": [{"acl": 10, "rule": 2}, {"acl": 10, "rule": 1}],
    "remarks": [{"acl": 10, "rule": 3, "kind": "dscp", "value": 46},
                {"acl": 11, "rule": 1, "kind": "priority", "value": 5},
                {"acl": 11, "rule": 2, "kind": "two-bit", "value": 2}]}])";
  const Json json = printed(configuration);
  EXPECT_EQ(json.at("interfaces"),
            Json::parse(R"([{"interface": "eth-0/1/1", "cos_value": 3,)" + bound));
  EXPECT_EQ(json.at("vlans"), Json::parse(R"([{"vlan": 20,)" + bound));
}

}  // namespace
