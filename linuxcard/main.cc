// linuxcard: makes this machine's own kernel the switch that policyd's policy is for.
#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdio>
#include <exception>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>

#include "framework/base/comm.h"
#include "framework/base/event_loop.h"
#include "framework/base/xlog.h"
#include "framework/base/xlog_follow_up.h"
#include "linuxcard/data_path_thread.h"
#include "linuxcard/ebpf/ebpf_data_path.h"
#include "linuxcard/linuxcard.h"
#include "linuxcard/privileges.h"
#include "linuxcard/propose.h"

namespace {

constexpr int EXIT_FAULT = 1;
constexpr int EXIT_USAGE = 2;

struct Options {
  FinderPlace finder;
  std::string file;
  std::string state_file;
  std::string pins = "/sys/fs/bpf/linuxcard";
  bool propose = false;
  bool remove = false;
};

void add_options(CLI::App& app, Options& options) {
  app.add_option_function<std::string>(
         "-F",
         [&options](const std::string& text) {
           if (!parse_finder_place(text, options.finder)) {
             throw CLI::ValidationError("-F", "HOST[:PORT] is expected, not " + text);
           }
         },
         "Where the finder is")
      ->type_name("HOST[:PORT]");
  app.add_option("--state", options.state_file,
                 "Keeps what the next start needs in that file, which need not exist")
      ->type_name("FILE");
  app.add_option("--pins", options.pins, "Where in a BPF file system what is in force stands")
      ->type_name("FOLDER")
      ->capture_default_str();
  app.add_flag("--propose", options.propose, "Writes a configuration for this machine, and leaves");
  app.add_flag("--remove", options.remove,
               "Takes everything out of the kernel that an earlier run left, and leaves");
  app.add_option("FILE", options.file, "The configuration: which links are the switch");
}

// 0, or the status to leave with; `leave` is set when there is nothing to do.
int read_command_line(int argc, char** argv, Options& options, bool& leave) {
  CLI::App app("Makes this machine's own kernel the switch that policyd's policy is for.",
               "linuxcard");
  add_options(app, options);
  try {
    app.parse(argc, argv);
    if (options.file.empty() && !options.propose && !options.remove) {
      throw CLI::RequiredError("FILE");
    }
  } catch (const CLI::ParseError& error) {
    leave = true;
    return app.exit(error) == 0 ? 0 : EXIT_USAGE;
  }
  return 0;
}

Configuration read_configuration(const std::string& file) {
  std::ifstream in(file, std::ios::binary);
  if (!in) throw ConfigurationError("the file cannot be read");
  return parse_configuration(std::string(std::istreambuf_iterator<char>(in), {}));
}

void propose() {
  EventLoop loop;
  KernelRouteSocket socket(loop);
  LinkFollower links(loop, socket, [](const LinkTable&) {});
  while (!links.is_complete()) loop.run();
  std::vector<PlacedLink> placed;
  for (const auto& [index, link] : links.table().links) {
    placed.push_back({link, place_of_link(link.name)});
  }
  std::fputs(propose_configuration(placed).c_str(), stdout);
}

void announce(const Linuxcard& card) {
  std::printf("linuxcard: %zu interfaces, %zu VLANs\n", card.model().interfaces().atoms().size(),
              card.model().vlans().size());
  std::fflush(stdout);
}

void serve(const Options& options) {
  Linuxcard::Options card_options{read_configuration(options.file), options.finder,
                                  options.state_file,
                                  [] { return local_moment(std::time(nullptr)); }};
  EventLoop loop;
  const XlogFollowUp follow_up(loop);
  KernelRouteSocket socket(loop);
  drop_privileges();
  DataPathThread data_path(loop, [&options]() -> std::unique_ptr<DataPath> {
    return std::make_unique<EbpfDataPath>(options.pins);
  });
  Linuxcard card(loop, socket, data_path, std::move(card_options));
  while (!card.is_ready() && !card.is_done()) loop.run();
  announce(card);
  while (!card.is_done()) loop.run();
}

void run_as(const Options& options) {
  if (options.propose) {
    propose();
  } else if (options.remove) {
    EbpfDataPath(options.pins).remove_everything();
  } else {
    serve(options);
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
  try {
    run_as(options);
  } catch (const ConfigurationError& error) {
    std::fprintf(stderr, "linuxcard: %s: %s\n", options.file.c_str(), error.what());
    status = EXIT_FAULT;
  }
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
    std::fprintf(stderr, "linuxcard: %s\n", error.what());
    return EXIT_FAULT;
  }
}
