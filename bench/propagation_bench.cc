// propagation_bench: how long a class-of-service map takes to the line cards.
//
// set_cos_mapping of 8 pairs goes to every port of a chassis of 16 line cards,
// 1,024 ports by default: 8,192 requests from policyd to 16 line-card managers.
// Times from sending the command until
//   answered    the command is answered: all requests are queued; policyd does
//               nothing else so long
//   shown       get_cos_mapping, asked over and over, shows the map, and
//   programmed  all line cards have had all of their requests.
// Beside it the same number of raw framed TCP echoes of the same sizes, 64 in
// flight. Rounds alternate; medians are printed. Twice:
//   one CPU   all processes and the echo's both ends on one CPU
//   two CPUs  policyd and the echo server on one, everything else on the other
//
//     propagation_bench [PORTS] [ROUNDS]      (default 1024, a multiple of 16, and 25)

#include <array>
#include <cstdio>
#include <string>
#include <vector>

#include "bench/control_plane.h"
#include "bench/measure.h"
#include "bench/raw_echo.h"
#include "chassis/interfaces/chassis_xif.h"
#include "policy/interfaces/policy_config_xif.h"
#include "tests/support/temporary_folder.h"

namespace {

constexpr std::uint32_t SLOTS = 16;
constexpr std::uint32_t PAIRS = 8;
// set_port_cos_mapping and its answer, with their frames.
constexpr EchoSizes SIZES{80, 13};
constexpr std::size_t ECHOES_IN_FLIGHT = 64;
constexpr double MOST_ECHOES = 4;

std::string port_name(std::uint32_t slot, std::uint32_t port) {
  return "eth-0/" + std::to_string(slot) + "/" + std::to_string(port);
}

std::string description(std::uint32_t ports_per_slot) {
  std::string interfaces;
  std::string cards;
  for (std::uint32_t slot = 1; slot <= SLOTS; ++slot) {
    for (std::uint32_t port = 1; port <= ports_per_slot; ++port) {
      interfaces += (interfaces.empty() ? "" : ", ");
      interfaces += "{\"name\": \"" + port_name(slot, port) + "\"}";
    }
    cards += (cards.empty() ? "" : ", ") + std::to_string(16 + slot);
  }
  return "{\"interfaces\": [" + interfaces + "], \"cards\": [" + cards + "]}";
}

XrlAtomList list_of(const std::array<std::uint32_t, PAIRS>& numbers) {
  XrlAtomList list;
  for (const std::uint32_t number : numbers) list.append(number);
  return list;
}

// A switch whose policyd follows it, and the person who configures it.
class Switch {
 public:
  Switch(const std::string& description_file, std::uint32_t ports_per_slot, int policyd_cpu)
      : _ports_per_slot(ports_per_slot),
        _policyd_process(_plane.start_policyd(policyd_cpu)),
        _chassis_process(_plane.start_chassis(description_file, -1)),
        _policyd(&_plane.router()),
        _chassis(&_plane.router()) {
    _plane.wait_for_policyd();
    // The ports arrive together.
    while (!has_port(port_name(SLOTS, ports_per_slot))) {
    }
  }

  struct Times {
    double answered;
    double shown;
    double programmed;
  };
  // Every call sets a map that differs from the one before for every priority.
  Times set_map() {
    ++_maps;
    std::array<std::uint32_t, PAIRS> queues{};
    for (std::uint32_t priority = 0; priority < PAIRS; ++priority) {
      queues[priority] = (priority + _maps) % PAIRS;
    }
    const XrlAtomList map = list_of(queues);
    Times times{};
    const Stopwatch watch;
    set_cos_mapping(map, [&] { times.answered = watch.seconds(); });
    while (!(shown_map() == map)) {
    }
    times.shown = watch.seconds();
    while (requests_of_line_cards() != std::size_t{_maps} * SLOTS * _ports_per_slot * PAIRS) {
    }
    times.programmed = watch.seconds();
    for (std::uint32_t slot = 1; slot <= SLOTS; ++slot) {
      if (!(programmed_map(port_name(slot, _ports_per_slot)) == map)) {
        give_up("a line card was programmed otherwise");
      }
    }
    return times;
  }

 private:
  bool has_port(const std::string& name) {
    bool heard = false;
    bool has = false;
    _policyd.send_get_port_cos_value("policy", name,
                                     callback([&](const XrlError& error, const std::uint32_t*) {
                                       heard = true;
                                       has = error.is_okay();
                                     }));
    _plane.wait_until([&] { return heard; });
    return has;
  }

  template <typename Answered>
  void set_cos_mapping(const XrlAtomList& map, Answered answered) {
    _policyd.send_set_cos_mapping("policy", _priorities, map,
                                  callback([answered](const XrlError& error) {
                                    if (!error.is_okay()) give_up(error.str());
                                    answered();
                                  }));
  }

  XrlAtomList shown_map() {
    XrlAtomList shown;
    bool heard = false;
    _policyd.send_get_cos_mapping("policy", _priorities,
                                  callback([&](const XrlError& error, const XrlAtomList* queues) {
                                    if (!error.is_okay()) give_up(error.str());
                                    heard = true;
                                    shown = *queues;
                                  }));
    _plane.wait_until([&] { return heard; });
    return shown;
  }

  std::size_t requests_of_line_cards() {
    std::size_t all = 0;
    std::uint32_t heard = 0;
    for (std::uint32_t slot = 1; slot <= SLOTS; ++slot) {
      _chassis.send_get_line_card_requests(
          "chassis", slot, callback([&](const XrlError& error, const std::uint64_t* requests) {
            if (!error.is_okay()) give_up(error.str());
            ++heard;
            all += *requests;
          }));
    }
    _plane.wait_until([&] { return heard == SLOTS; });
    return all;
  }

  XrlAtomList programmed_map(const std::string& port) {
    XrlAtomList programmed;
    bool heard = false;
    _chassis.send_get_port_cos_mapping(
        "chassis", port,
        callback([&](const XrlError& error, const XrlAtomList*, const XrlAtomList* queues) {
          if (!error.is_okay()) give_up(error.str());
          heard = true;
          programmed = *queues;
        }));
    _plane.wait_until([&] { return heard; });
    return programmed;
  }

  std::uint32_t _ports_per_slot;
  std::uint32_t _maps = 0;
  const XrlAtomList _priorities = list_of({0, 1, 2, 3, 4, 5, 6, 7});
  ControlPlane _plane;
  std::unique_ptr<ChildProcess> _policyd_process;
  std::unique_ptr<ChildProcess> _chassis_process;
  XrlPolicyConfigV0p1Client _policyd;
  XrlChassisV0p1Client _chassis;
};

void measure(const char* name, int server_cpu, std::uint32_t ports, std::size_t rounds) {
  RawEcho echo(SIZES, server_cpu);
  const TemporaryFolder folder;
  const std::string file = folder.write("switch.json", description(ports / SLOTS));
  Switch the_switch(file, ports / SLOTS, server_cpu);
  the_switch.set_map();

  std::vector<double> raw;
  std::vector<double> answered;
  std::vector<double> shown;
  std::vector<double> programmed;
  for (std::size_t round = 0; round < rounds; ++round) {
    raw.push_back(echo.run(std::size_t{ports} * PAIRS, ECHOES_IN_FLIGHT));
    const Switch::Times times = the_switch.set_map();
    answered.push_back(times.answered);
    shown.push_back(times.shown);
    programmed.push_back(times.programmed);
  }
  const double echoes = median(raw);
  const auto told = [&](const char* what, const std::vector<double>& times) {
    const double of_echoes = median(times) / echoes;
    std::printf("%-10s  %-10s  %8.3f ms   of the echoes %5.2f (%s)\n", name, what,
                median(times) * 1e3, of_echoes, at_most(of_echoes, MOST_ECHOES).c_str());
  };
  std::printf("%-10s  %-10s  %8.3f ms\n", name, "raw echoes", echoes * 1e3);
  told("answered", answered);
  told("shown", shown);
  told("programmed", programmed);
  std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
  const auto ports = static_cast<std::uint32_t>(size_argument(argc, argv, 1, 1024, SLOTS));
  const std::size_t rounds = size_argument(argc, argv, 2, 25);
  if (ports % SLOTS != 0) give_up("the ports are no multiple of 16");
  print_conditions(("propagation_bench: a map of 8 pairs to " + std::to_string(ports) +
                    " ports, beside " + std::to_string(ports * PAIRS) + " raw echoes")
                       .c_str());
  run_on_cpu(0);
  measure("one CPU", 0, ports, rounds);
  measure("two CPUs", 1, ports, rounds);
}
