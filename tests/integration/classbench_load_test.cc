// classbench2xrl as a process, and what a real policyd makes of whole sets.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "tests/integration/control_plane.h"
#include "tests/support/temporary_folder.h"
#include "tools/classbench/classbench_requests.h"

namespace {

ProcessResult shell(const std::string& command) {
  return run_process({"/bin/sh", "-c", command});
}

ProcessResult convert(std::vector<std::string> words) {
  words.insert(words.begin(), program("classbench2xrl"));
  return run_process(std::move(words));
}

constexpr const char* LINE =
    "@10.0.0.0/8\t0.0.0.0/0\t0 : 65535\t80 : 80\t0x06/0xFF\t0x0000/0x0000\t\n";

TEST(Classbench2xrl, PrintsTheRequestsWithStatusZero) {
  const TemporaryFolder folder;
  const ProcessResult result =
      convert({folder.write("file", LINE), "--acl", "7", "--action", "0", "--first-rule", "5"});
  EXPECT_EQ(result.output,
            "finder://policy/policy_config/0.1/create_acl?acl:u32=7&type:u32=0\n"
            "finder://policy/policy_config/0.1/create_rule?acl:u32=7&rule:u32=5&action:u32=0"
            "&flags:list=:u32=7,:u32=11,:u32=13&values:list=:txt=10.0.0.0/8,:txt=6,:txt=80\n");
  EXPECT_EQ(result.errors, "");
  EXPECT_EQ(result.status, 0);
}

TEST(Classbench2xrl, PrintsNothingOfABadSetAndTellsThePlaceWithStatus65) {
  const TemporaryFolder folder;
  const std::string file = folder.write("file", std::string(LINE) + "@10.0.0.0/8 x\n");
  const ProcessResult result = convert({file, "--acl", "7"});
  EXPECT_EQ(result.output, "");
  EXPECT_EQ(result.errors, "classbench2xrl: " + file + ":2:12: tab expected\n");
  EXPECT_EQ(result.status, 65);
}

TEST(Classbench2xrl, LeavesWithStatus66WhenThereIsNothingToRead) {
  EXPECT_EQ(convert({"/nowhere", "--acl", "7"}).errors,
            "classbench2xrl: /nowhere: No such file or directory\n");
  EXPECT_EQ(convert({"/nowhere", "--acl", "7"}).status, 66);
  EXPECT_EQ(convert({"/", "--acl", "7"}).status, 66);
}

TEST(Classbench2xrl, LeavesWithStatus74WhenItCannotWrite) {
  const TemporaryFolder folder;
  const ProcessResult result =
      shell(program("classbench2xrl") + " --acl 7 " + folder.write("file", LINE) + " > /dev/full");
  EXPECT_EQ(result.errors, "classbench2xrl: the requests cannot be written\n");
  EXPECT_EQ(result.status, 74);
}

TEST(Classbench2xrl, LeavesWithStatus2WhenTheCommandLineIsWrong) {
  for (const std::vector<std::string>& words :
       std::vector<std::vector<std::string>>{{},
                                             {"set"},
                                             {"--acl", "1"},
                                             {"set", "--acl", "-1"},
                                             {"set", "--acl", "4294967296"},
                                             {"set", "--acl", "1", "--action", "2"},
                                             {"set", "--acl", "1", "--first-rule", "one"},
                                             {"set", "--acl", "1", "other"}}) {
    EXPECT_EQ(convert(words).status, 2) << testing::PrintToString(words);
  }
  EXPECT_EQ(convert({"--help"}).status, 0);
}

// The request that reads the rule back, and what is to be answered.
struct Reading {
  std::string request;
  std::string answer;
};

Reading reading_of(const Xrl& create_rule) {
  Xrl request{create_rule.target, "policy_config/0.1/get_rule", {}};
  request.args.add(*create_rule.args.find("acl"));
  request.args.add(*create_rule.args.find("rule"));
  XrlArgs answer;
  answer.add(*create_rule.args.find("action"));
  answer.add(XrlAtom("description", ""));
  answer.add(*create_rule.args.find("flags"));
  answer.add(*create_rule.args.find("values"));
  return {request.str() + "\n", "100 " + answer.str() + "\n"};
}

class ClassbenchLoad : public testing::TestWithParam<const char*> {};

TEST_P(ClassbenchLoad, EveryRuleIsReadBackAsItWasCreated) {
  ControlPlane plane;
  plane.start_finder();
  plane.start_policyd();
  ASSERT_TRUE(plane.client().until(
      [&] { return plane.client().ask("policy/common/0.1/get_status").starts_with("100"); }));
  const std::string set = std::string(EXAMPLES) + "/" + GetParam();
  const std::string call_xrl = program("call_xrl") + " -F " + plane.finder_address() + " - ";

  const ProcessResult loaded =
      shell(program("classbench2xrl") + " --acl 10 '" + set + "' | " + call_xrl);
  EXPECT_EQ(loaded.errors, "");
  ASSERT_EQ(loaded.status, 0);

  std::ifstream file(set);
  std::istringstream requests(classbench_requests(file, {10, 1, 1}));
  std::string line;
  std::getline(requests, line);  // creates the ACL
  Reading all;
  while (std::getline(requests, line)) {
    const Reading one = reading_of(Xrl::parse(line));
    all.request += one.request;
    all.answer += one.answer;
  }
  const TemporaryFolder folder;
  const ProcessResult read = shell(call_xrl + "< " + folder.write("file", all.request));
  EXPECT_EQ(read.status, 0);
  EXPECT_TRUE(read.output == all.answer);
}

INSTANTIATE_TEST_SUITE_P(Examples, ClassbenchLoad,
                         testing::Values("classbench-acl1-1k.rules", "classbench-acl1-10k.rules"));

}  // namespace
