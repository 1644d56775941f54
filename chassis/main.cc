// chassis: runs the simulated switch that a file describes.
#include <CLI/CLI.hpp>
#include <array>
#include <cstdio>
#include <exception>
#include <fstream>
#include <string>

#include "chassis/chassis.h"
#include "framework/base/comm.h"
#include "framework/base/event_loop.h"
#include "framework/base/xlog.h"
#include "framework/base/xlog_follow_up.h"

namespace {

constexpr int EXIT_BAD_FILE = 1;
constexpr int EXIT_USAGE = 2;

struct Options {
  FinderPlace finder;
  std::string file;
};

// 0, or the status to leave with; `leave` is set when there is nothing to do.
int read_command_line(int argc, char** argv, Options& options, bool& leave) {
  CLI::App app(
      "Runs a simulated switch: its interface manager, card manager, VLAN manager and "
      "line-card managers.",
      "chassis");
  app.add_option_function<std::string>(
         "-F",
         [&options](const std::string& text) {
           if (!parse_finder_place(text, options.finder)) {
             throw CLI::ValidationError("-F", "HOST[:PORT] is expected, not " + text);
           }
         },
         "Where the finder is")
      ->type_name("HOST[:PORT]");
  app.add_option("FILE", options.file, "The switch's description (JSON)")->required();
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    leave = true;
    return app.exit(error) == 0 ? 0 : EXIT_USAGE;
  }
  return 0;
}

SwitchDescription read_description(const std::string& file) {
  std::ifstream in(file, std::ios::binary);
  std::string text;
  std::array<char, 65536> chunk{};
  while (in) {
    in.read(chunk.data(), chunk.size());
    text.append(chunk.data(), static_cast<std::size_t>(in.gcount()));
  }
  // At the end of a file that was opened and read whole.
  if (!in.eof()) throw DescriptionError("the file cannot be read.");
  return parse_description(text);
}

void announce(const SwitchModel& model) {
  std::printf("chassis: %zu interfaces, %zu VLANs, %zu cards\n", model.interfaces().atoms().size(),
              model.vlans().size(), model.cards().size());
  std::fflush(stdout);
}

void serve(const SwitchDescription& description, const FinderPlace& finder) {
  EventLoop loop;
  const XlogFollowUp follow_up(loop);
  Chassis chassis(loop, description, finder);
  while (!chassis.is_ready() && !chassis.is_done()) loop.run();
  announce(chassis.model());
  while (!chassis.is_done()) loop.run();
}

// 0 after an orderly end, or the status of a bad file.
int run_switch(const Options& options) {
  try {
    serve(read_description(options.file), options.finder);
    return 0;
  } catch (const DescriptionError& error) {
    std::fprintf(stderr, "chassis: %s: %s\n", options.file.c_str(), error.what());
    return EXIT_BAD_FILE;
  }
}

int run(int argc, char** argv) {
  Options options;
  bool leave = false;
  int status = read_command_line(argc, argv, options, leave);
  if (leave) return status;
  xlog_init(argv[0], "");
  xlog_add_default_output();
  xlog_start();
  comm_init();
  status = run_switch(options);
  comm_exit();
  xlog_stop();
  xlog_exit();
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "chassis: %s\n", error.what());
    return EXIT_BAD_FILE;
  }
}
