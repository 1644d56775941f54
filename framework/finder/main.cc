// The finder: the name service as a process. It serves until it is killed;
// whoever was registered finds it again and registers anew.
#include <cstdio>
#include <new>
#include <string>
#include <utility>

#include "framework/base/comm.h"
#include "framework/base/event_loop.h"
#include "framework/base/exceptions.h"
#include "framework/base/large_blocks.h"
#include "framework/base/xlog.h"
#include "framework/base/xlog_follow_up.h"
#include "framework/finder/finder_options.h"
#include "framework/finder/finder_server.h"
#include "framework/xrl/router/cookie.h"

namespace {

constexpr int EXIT_FAILED = 1;
constexpr int EXIT_USAGE = 2;

[[noreturn]] void serve(const FinderOptions& options, std::string cookie) {
  comm_init();
  EventLoop loop;
  const XlogFollowUp follow_up(loop);
  const FinderServer server(loop, options.address, options.allowed, std::move(cookie));
  // Whoever started it with port 0 waits for this line.
  std::printf("finder: listening on %s\n", server.address().str().c_str());
  std::fflush(stdout);
  for (;;) loop.run();
}

void start_log(const char* argv0) {
  xlog_init(argv0, "");
  xlog_set_verbose(XLOG_VERBOSE_LOW);
  xlog_level_set_verbose(XLOG_LEVEL_ERROR, XLOG_VERBOSE_HIGH);
  xlog_add_default_output();
  xlog_start();
}

}  // namespace

int main(int argc, char* argv[]) {
  return_large_blocks();
  FinderOptions options;
  switch (FinderOptions::parse(argc, argv, options)) {
    case FinderOptions::Outcome::HELP:
      std::fputs(FinderOptions::usage(), stdout);
      return 0;
    case FinderOptions::Outcome::WRONG:
      std::fputs(FinderOptions::usage(), stderr);
      return EXIT_USAGE;
    case FinderOptions::Outcome::SERVE:
      break;
  }
  std::string cookie;
  std::string error;
  if (read_cookie_from_environment(cookie, error)) {
    start_log(argv[0]);
    try {
      serve(options, std::move(cookie));
    } catch (const XorpException& e) {
      error = e.str();
    } catch (const std::bad_alloc&) {
      error = "out of memory";
    }
  }
  static_cast<void>(std::fprintf(stderr, "finder: %s\n", error.c_str()));
  return EXIT_FAILED;
}
