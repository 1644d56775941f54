#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "tests/support/temporary_folder.h"

namespace {

namespace fs = std::filesystem;

class Xrlgen : public testing::Test {
 protected:
  void write(const std::string& path, const std::string& text) { _folder.write(path, text); }

  [[nodiscard]] std::string read(const std::string& path) const {
    std::ifstream file(_folder.path_of(path));
    return std::string(std::istreambuf_iterator<char>(file), {});
  }

  // Exit status, and what it wrote to standard error.
  struct Outcome {
    int status;
    std::string errors;
  };
  Outcome run(const std::string& arguments) {
    const std::string command =
        "cd '" + _folder.path().string() + "' && '" XRLGEN "' " + arguments + " 2>errors";
    const int status = std::system(command.c_str());  // NOLINT(cert-env33-c): our own words
    return {WEXITSTATUS(status), read("errors")};
  }

  const TemporaryFolder _folder;
};

}  // namespace

TEST_F(Xrlgen, WritesAClientBelowTheOutFolderAtThePathBelowTheRoot) {
  write("src/a/b/light.xif", "interface light/0.1 { read on; }");
  const Outcome outcome = run("--root src --out gen src/a/b/light.xif");
  EXPECT_EQ(outcome.status, 0) << outcome.errors;
  EXPECT_NE(read("gen/a/b/light_xif.h").find("from a/b/light.xif."), std::string::npos);
  EXPECT_NE(read("gen/a/b/light_xif.cc").find("#include \"a/b/light_xif.h\""), std::string::npos);
}

TEST_F(Xrlgen, WritesATargetBaseOfImportedInterfaces) {
  write("light.xif", "interface light/0.1 { read on; }");
  write("fan.xif", "interface fan/0.1 { read off; }");
  write("tray.tgt", "target tray { implements fan/0.1; implements light/0.1; }");
  const Outcome outcome = run("--root . --out gen --import light.xif --import fan.xif tray.tgt");
  EXPECT_EQ(outcome.status, 0) << outcome.errors;
  EXPECT_NE(read("gen/tray_tgt.h").find("virtual XrlCmdError fan_0_1_off() = 0;"),
            std::string::npos);
}

TEST_F(Xrlgen, LeavesAFileAloneThatWouldNotChange) {
  write("light.xif", "interface light/0.1 { read on; }");
  EXPECT_EQ(run("--root . --out gen light.xif").status, 0);
  const fs::file_time_type long_ago{};
  fs::last_write_time(_folder.path_of("gen/light_xif.h"), long_ago);
  write("light.xif", "interface light/0.1 { read on ; }");
  EXPECT_EQ(run("--root . --out gen light.xif").status, 0);
  EXPECT_EQ(fs::last_write_time(_folder.path_of("gen/light_xif.h")), long_ago);
}

TEST_F(Xrlgen, NamesAMistakeAndWritesNothing) {
  write("light.xif", "interface light/0.1 {\n  read on ? class:u32;\n}");
  const Outcome outcome = run("--root . --out gen light.xif");
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.errors, "light.xif:2:13: bad name: 'class' is reserved in C++\n");
  EXPECT_FALSE(fs::exists(_folder.path_of("gen")));
}

TEST_F(Xrlgen, NamesAMistakeInAnImport) {
  write("light.xif", "interface light/0.1 { }");
  write("tray.tgt", "target tray { implements light/0.1; }");
  const Outcome outcome = run("--root . --out gen --import light.xif tray.tgt");
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.errors, "light.xif:1:11: interface 'light/0.1' has no methods\n");
}

TEST_F(Xrlgen, NamesAFileThatIsNotThere) {
  const Outcome outcome = run("--root . --out gen light.xif");
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.errors, "light.xif: cannot be read\n");
}

TEST_F(Xrlgen, NamesAFileThatItCannotWrite) {
  write("light.xif", "interface light/0.1 { read on; }");
  fs::create_directories(_folder.path_of("gen/light_xif.cc"));
  const Outcome outcome = run("--root . --out gen light.xif");
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.errors, "gen/light_xif.cc: cannot be written\n");
}

TEST_F(Xrlgen, ExplainsItself) {
  const std::string usage =
      "usage: xrlgen --root FOLDER --out FOLDER [--import FILE.xif]... FILE.xif|FILE.tgt\n";
  for (const char* arguments : {"", "light.xif", "''", "--root . light.xif", "--root . --out gen",
                                "--root . --out gen a.txt", "--root . --out gen a.xif b.xif",
                                "--colour red a.xif", "--root . --out gen a.xif --import"}) {
    const Outcome outcome = run(arguments);
    EXPECT_EQ(outcome.status, 2) << arguments;
    EXPECT_EQ(outcome.errors, usage) << arguments;
  }
}
