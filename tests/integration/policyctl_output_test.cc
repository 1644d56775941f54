// policyctl where its results cannot be written.
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "tests/integration/policyctl_fixture.h"
#include "tests/support/patience.h"

namespace {

class Output : public PolicyctlFixture {
 protected:
  // What a shell makes of policyctl with these words and redirections.
  Result by_shell(const std::string& words, const std::string& before = "") {
    ChildProcess shell({"/bin/sh", "-c",
                        before + program("policyctl") + " -F " + plane.finder_address() +
                            " --timeout " + PATIENCE_S + " " + words});
    Result result;
    result.status = shell.wait();
    result.out = shell.output();
    result.err = shell.errors();
    return result;
  }
  static std::string content(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  }
  [[nodiscard]] std::vector<std::string> files() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
      names.push_back(entry.path().filename());
    }
    std::sort(names.begin(), names.end());
    return names;
  }
};

TEST_F(Output, AFullDeviceAsStandardOutputIsAFailureOfEveryCommand) {
  const std::string rules =
      file("a.rules", "@0.0.0.0/0\t0.0.0.0/0\t0 : 65535\t0 : 65535\t0x06/0xFF\t0x0000/0x0000\t\n");
  for (const std::string& words :
       {std::string("show"), std::string("--json show"), std::string("save -"),
        "import classbench " + rules, std::string("completion bash"), std::string("help"),
        std::string("manual"), std::string("--version"), "plan " + file("a.conf", "cos flag on\n"),
        std::string("checkpoints")}) {
    const Result result = by_shell(words + " >/dev/full");
    EXPECT_EQ(result.status, 1) << words;
    EXPECT_EQ(result.err, "policyctl: standard output: No space left on device.\n") << words;
  }
}

TEST_F(Output, AFullDeviceSaysThatTheChangeIsMadeAllTheSame) {
  const Result result = by_shell("apply " + file("a.conf", rules(10, 1, 1)) + " >/dev/full");
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err,
            "policyctl: standard output: No space left on device. The change is made.\n");
  EXPECT_EQ(acls(), rules(10, 1, 1));
}

TEST_F(Output, ALimitOfTheSizeOfFilesRefusesAChangeAndLeavesNoFile) {
  const Result result = by_shell("apply " + file("a.conf", rules(10, 1, 1)), "ulimit -f 0; ");
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.out, "");
  EXPECT_NE(result.err.find(": File too large.\n  Nothing was changed.\n"), std::string::npos)
      << result.err;
  EXPECT_EQ(acls(), "");
  const std::string kept = folder + "/state/127.0.0.1_" + std::to_string(plane.port());
  for (const auto& entry : std::filesystem::directory_iterator(kept)) {
    EXPECT_EQ(entry.path().filename(), "lock");
  }
}

TEST_F(Output, ShowsNoTextOfOthersThatATerminalWouldObey) {
  ASSERT_EQ(
      policyctl({"apply", file("a.conf", "acl 10 type 0 description \"\\x1b[2J\\xc2\\x9b\"\n")})
          .status,
      0);
  // Of its own: it ends the process it is in when it takes too long.
  const auto completing = start_policyctl({"complete", "--", "show", "acl", ""});
  EXPECT_EQ(completing->wait(), 0);
  EXPECT_EQ(completing->output(), "10\t\\x1b[2J\\xc2\\x9b\n");
  EXPECT_EQ(policyctl({"checkpoint", "by \x1b[2J\xe2\x80\xae hand"}).status, 0);
  const std::string kept = policyctl({"checkpoints"}).out;
  EXPECT_NE(kept.find("by  [2J\\xe2\\x80\\xae hand\n"), std::string::npos) << kept;
  const Result saved = policyctl({"save", folder + "/\x1b[2J\n.conf"});
  EXPECT_EQ(saved.out, "Saved to " + folder + "/\\x1b[2J\\n.conf.\n");
  const Result watched = policyctl({"-F", "no\x1b[2Jhost", "watch"});
  EXPECT_EQ(watched.err.find('\x1b'), std::string::npos) << watched.err;
}

TEST_F(Output, AClosedStandardOutputIsAFailure) {
  const Result result = by_shell("show >&-");
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "policyctl: standard output: Bad file descriptor.\n");
}

TEST_F(Output, AReaderThatHasSeenEnoughIsNoFailure) {
  const std::string pipe = folder + "/pipe";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  const Result result =
      by_shell("show >&3", "trap '' PIPE; (exec <" + pipe + ") & exec 3>" + pipe + "; wait; ");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
}

TEST_F(Output, TheStatusOfAFailureIsKept) {
  const Result result = by_shell("--json check " + folder + "/none >/dev/full");
  EXPECT_EQ(result.status, 65);
}

TEST_F(Output, AFileThatCannotBeWrittenWholeStaysAsItWas) {
  const std::string old = file("saved.conf", "cos flag on\n");
  // No file may be larger than 0 blocks.
  const Result result = by_shell("save " + old, "ulimit -f 0; ");
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "policyctl: " + old + ": File too large.\n");
  EXPECT_EQ(content(old), "cos flag on\n");
  EXPECT_EQ(files(), std::vector<std::string>{"saved.conf"});
}

TEST_F(Output, AFileThatIsReplacedKeepsItsModeAndTheLinkToIt) {
  const std::string real = file("real.conf", "");
  const std::string link = folder + "/link.conf";
  ASSERT_EQ(chmod(real.c_str(), 0640), 0);
  std::filesystem::create_symlink("real.conf", link);
  EXPECT_EQ(policyctl({"save", link}).out, "Saved to " + link + ".\n");
  EXPECT_TRUE(std::filesystem::is_symlink(link));
  EXPECT_EQ(content(real), shown());
  struct stat status {};
  ASSERT_EQ(stat(real.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0640U);
}

TEST_F(Output, ADeviceIsWrittenAsItIs) {
  const Result full = policyctl({"save", "/dev/full"});
  EXPECT_EQ(full.status, 1);
  EXPECT_EQ(full.err, "policyctl: /dev/full: No space left on device.\n");
  EXPECT_EQ(policyctl({"save", "/dev/null"}).status, 0);
  EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
}

TEST_F(Output, AFolderIsNoFileToSaveTo) {
  const Result result = policyctl({"save", folder});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "policyctl: " + folder + ": Is a directory.\n");
}

}  // namespace
