#include "framework/finder/finder_options.h"

#include <getopt.h>

#include <cstdio>

#include "framework/base/decimal.h"

namespace {

FinderOptions::Outcome wrong(const char* what, const char* text) {
  static_cast<void>(std::fprintf(stderr, "finder: '%s' is no %s\n", text, what));
  return FinderOptions::Outcome::WRONG;
}

}  // namespace

const char* FinderOptions::usage() {
  return "Usage: finder [-i ADDRESS] [-p PORT] [--allow NET]... [-h]\n"
         "  -i ADDRESS   listen on this IPv4 address (127.0.0.1)\n"
         "  -p PORT      listen on this port, 0 for any free one (19999)\n"
         "  --allow NET  serve the hosts of NET too, written A.B.C.D/LEN; without\n"
         "               it this host alone is served\n"
         "  -h           print this and leave\n"
         "Environment:\n"
         "  XRL_COOKIE_FILE  a file of mode 0600 that holds the secret which every\n"
         "                   process must show\n";
}

FinderOptions::Outcome FinderOptions::parse(int argc, char* argv[], FinderOptions& options) {
  constexpr int ALLOW = 256;  // no character
  static const option LONG_OPTIONS[] = {{"allow", required_argument, nullptr, ALLOW},
                                        {"help", no_argument, nullptr, 'h'},
                                        {nullptr, 0, nullptr, 0}};
  for (;;) {
    switch (::getopt_long(argc, argv, "i:p:h", LONG_OPTIONS, nullptr)) {
      case -1:
        return optind == argc ? Outcome::SERVE : wrong("option", argv[optind]);
      case 'i':
        if (!IPv4::parse(optarg, options.address.host)) return wrong("IPv4 address", optarg);
        break;
      case 'p':
        if (!parse_decimal(optarg, options.address.port)) return wrong("port", optarg);
        break;
      case ALLOW:
        if (!options.allowed.add(optarg)) return wrong("net (A.B.C.D/LEN)", optarg);
        break;
      case 'h':
        return Outcome::HELP;
      default:
        return Outcome::WRONG;  // getopt_long() said why
    }
  }
}
