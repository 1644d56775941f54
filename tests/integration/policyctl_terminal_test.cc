// policyctl show as a person at a terminal sees it.
#include "tests/integration/real_daemon.h"
#include "tests/support/patience.h"

namespace {

class PolicyctlTerminal : public RealDaemon {
 protected:
  void SetUp() override {
    start_all();
    hold({{"create_acl?acl:u32=10&type:u32=0", "100"},
          {"create_rule?acl:u32=10&rule:u32=1&action:u32=0&flags:list=:u32=11&values:list=:txt=17",
           "100"},
          {"set_acl_description?acl:u32=10&description:txt=" + std::string(100, 'x'), "100"}});
  }

  // What a terminal of that many lines, 60 columns wide, is given, whatever the
  // caller's own is like.
  [[nodiscard]] std::string at_terminal(int lines, const std::string& arguments,
                                        std::map<std::string, std::string> environment = {}) const {
    environment.insert({{"PAGER", "sed s/^/paged:/"},
                        {"TERM", "xterm"},
                        {"SHELL", "/bin/sh"},
                        {"LC_ALL", "C.UTF-8"},
                        {"NO_COLOR", ""}});
    const std::string command = "stty cols 60 rows " + std::to_string(lines) + "; exec " +
                                program("policyctl") + " -F " + plane.finder_address() +
                                " --timeout " + PATIENCE_S + " " + arguments;
    ChildProcess::Options options;
    options.argv = {"/usr/bin/script", "-qec", command, "/dev/null"};
    options.environment = std::move(environment);
    ChildProcess process(std::move(options));
    EXPECT_EQ(process.wait(), 0);
    std::string text = process.output();
    std::erase(text, '\r');
    return text;
  }
};

TEST_F(PolicyctlTerminal, ShowsTablesAsWideAsTheWindow) {
  EXPECT_EQ(at_terminal(24, "show acls", {{"NO_COLOR", "1"}}),
            "1 access control list:\n"
            "ACL  TYPE  RULES  BINDINGS  DESCRIPTION\n"
            " 10     0      1         0  " +
                std::string(31, 'x') + "\xe2\x80\xa6\n");
}

TEST_F(PolicyctlTerminal, ColoursThemUnlessToldNotTo) {
  const std::string coloured =
      "\033[1mRULE\033[0m  \033[1mACTION\033[0m  \033[1mPROTOCOL\033[0m\n"
      "   1  \033[31mdeny\033[0m    17\n";
  EXPECT_TRUE(at_terminal(24, "show acl 10").ends_with(coloured));
  EXPECT_TRUE(at_terminal(24, "show acl 10", {{"NO_COLOR", "1"}})
                  .ends_with("RULE  ACTION  PROTOCOL\n   1  deny    17\n"));
}

TEST_F(PolicyctlTerminal, PagesWhatIsLongerThanTheWindow) {
  EXPECT_TRUE(at_terminal(4, "show acl 10", {{"NO_COLOR", "1"}}).starts_with("acl 10 type 0"));
  EXPECT_TRUE(
      at_terminal(3, "show acl 10", {{"NO_COLOR", "1"}}).starts_with("paged:acl 10 type 0"));
  EXPECT_TRUE(at_terminal(3, "show --text").starts_with("paged:cos flag off\npaged:"));
}

TEST_F(PolicyctlTerminal, NeedsNoPager) {
  for (const char* pager : {"", "/nowhere/pager 2>/dev/null"}) {
    EXPECT_TRUE(at_terminal(3, "show --text", {{"PAGER", pager}}).starts_with("cos flag off\n"));
  }
}

TEST_F(PolicyctlTerminal, PrintsNothingAgainThatItsPagerHad) {
  EXPECT_EQ(at_terminal(3, "show --text", {{"PAGER", "sed -n 1p; false"}}), "cos flag off\n");
}

TEST_F(PolicyctlTerminal, ShowsTextThatCanBeAppliedWhenAsked) {
  EXPECT_EQ(
      at_terminal(24, "show --text acl 10"),
      "acl 10 type 0 description \"" + std::string(100, 'x') + "\"\n  rule 1 deny protocol 17\n");
}

}  // namespace
