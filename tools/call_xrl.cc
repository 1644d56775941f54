// call_xrl: sends requests and prints their answers.
#include <unistd.h>

#include <iostream>
#include <random>

#include "framework/base/event_loop.h"
#include "framework/base/exceptions.h"
#include "framework/xrl/router/xrl_std_router.h"
#include "tools/call_options.h"
#include "tools/profile_fetch.h"
#include "tools/request_pipe.h"
#include "tools/request_sequence.h"

namespace {

constexpr int ALL_OKAY = 0;
constexpr int SOME_FAILED = 1;

int complain(const std::string& problem, int status) {
  std::cerr << "call_xrl: " << problem << std::endl;
  return status;
}

int no_finder(const CallOptions& options) {
  return complain("NO_FINDER no finder answers at " + options.finder.host + ":" +
                      std::to_string(options.finder.port) + ".",
                  SOME_FAILED);
}

bool finder_answers(EventLoop& loop, const XrlRouter& router, Duration patience) {
  bool given_up = false;
  Timer give_up(loop, [&given_up] { given_up = true; });
  give_up.schedule_after(patience);
  while (!router.ready() && !given_up) loop.run();
  return router.ready();
}

int pass_on_input(EventLoop& loop, XrlSender& sender) {
  RequestPipe pipe(loop, sender, STDIN_FILENO, std::cout);
  while (!pipe.is_done()) loop.run();
  if (!pipe.problem().empty()) return complain("standard input: " + pipe.problem(), SOME_FAILED);
  return pipe.any_failed() ? SOME_FAILED : ALL_OKAY;
}

int send_given(EventLoop& loop, XrlSender& sender, CallOptions& options) {
  const Duration patience = options.wait_for_targets ? options.patience : Duration::zero();
  RequestSequence sequence(loop, sender, std::move(options.requests), patience, std::cout,
                           std::cerr);
  while (!sequence.is_done()) loop.run();
  return sequence.any_failed() ? SOME_FAILED : ALL_OKAY;
}

int send_requests(CallOptions options) {
  EventLoop loop;
  XrlStdRouter router(loop, "", options.finder.host.c_str(), options.finder.port, false);
  if (!finder_answers(loop, router, options.patience)) return no_finder(options);
  return options.from_input ? pass_on_input(loop, router) : send_given(loop, router, options);
}

// Entries come as requests, so this process is a target while it fetches; its
// name differs from that of any other which does the same.
int fetch_profile(const CallOptions& options) {
  const std::string name = "profile-client-" + std::to_string(std::random_device()());
  EventLoop loop;
  XrlStdRouter router(loop, name.c_str(), options.finder.host.c_str(), options.finder.port, false);
  ProfileFetch fetch(loop, router, router,
                     {"policy", options.profile, router.instance_name(), options.patience},
                     std::cout, std::cerr);
  if (!finder_answers(loop, router, options.patience)) return no_finder(options);
  fetch.start();
  while (!fetch.is_done()) loop.run();
  return fetch.failed() ? SOME_FAILED : ALL_OKAY;
}

int run(CallOptions options) {
  return options.profile.empty() ? send_requests(std::move(options)) : fetch_profile(options);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(parse_call_options(argc, argv));
  } catch (const CallUsage& usage) {
    if (usage.status() != 0) return complain(usage.what(), usage.status());
    std::cout << usage.what();
    return 0;
  } catch (const XorpException& problem) {
    return complain(problem.str(), SOME_FAILED);
  } catch (const std::exception& problem) {
    return complain(problem.what(), SOME_FAILED);
  }
}
