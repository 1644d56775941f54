// classbench2xrl: prints a ClassBench packet filter set as requests, for `call_xrl -`.
#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>

#include "tools/classbench/classbench_requests.h"

namespace {

constexpr int FAILED = 1;
constexpr int USAGE_ERROR = 2;
// As sysexits.h numbers them.
constexpr int BAD_SET = 65;
constexpr int NO_SET = 66;
constexpr int NO_OUTPUT = 74;

int complain(const std::string& problem, int status) {
  std::cerr << "classbench2xrl: " << problem << std::endl;
  return status;
}

int convert(const std::string& file, const ClassbenchNumbers& numbers) {
  std::ifstream set(file);
  if (!set) return complain(file + ": " + std::strerror(errno), NO_SET);
  std::string requests;
  try {
    requests = classbench_requests(set, numbers);
  } catch (const ClassbenchError& error) {
    if (!set.bad()) return complain(file + ":" + error.what(), BAD_SET);
  }
  if (set.bad()) return complain(file + ": cannot be read", NO_SET);
  std::cout << requests << std::flush;
  return std::cout ? 0 : complain("the requests cannot be written", NO_OUTPUT);
}

int run(int argc, char** argv) {
  CLI::App app(
      "Prints the requests that make an ACL of a ClassBench packet filter set, a rule a line:\n"
      "  classbench2xrl --acl 10 acl1.rules | call_xrl -\n"
      "Exit status: 0 all printed, 2 the command line is wrong, 65 the set is wrong (nothing is\n"
      "printed), 66 it cannot be read, 74 the requests cannot be written.",
      "classbench2xrl");
  std::string file;
  ClassbenchNumbers numbers;
  app.add_option("FILE", file, "the set")->type_name("")->required();
  app.add_option("--acl", numbers.acl, "the ACL's number")->type_name("N")->required();
  app.add_option("--action", numbers.action, "the action of every rule, 0 or 1 (default 1)")
      ->type_name("N")
      ->check(CLI::Range(0, 1).description(""));
  app.add_option("--first-rule", numbers.first_rule,
                 "the number of the first rule (default 1); the others count up from it")
      ->type_name("N");
  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp&) {
    std::cout << app.help();
    return 0;
  } catch (const CLI::ParseError& error) {
    return complain(error.what(), USAGE_ERROR);
  }
  return convert(file, numbers);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const std::exception& problem) {
    return complain(problem.what(), FAILED);
  }
}
