// A real policyd beside a model of it, under random commands: every answer,
// everything that can be read back and every warning equal.
#include "tests/integration/command_model.h"

#include <algorithm>
#include <iostream>
#include <iterator>
#include <map>
#include <sstream>

#include "tests/integration/real_daemon.h"

namespace {

constexpr int ROUNDS = 20;
constexpr int COMMANDS_A_ROUND = 1200;
// Under way at a time.
constexpr std::size_t WINDOW = 256;

const std::vector<std::string> PORTS{"eth-0/1/1", "eth-0/1/2", "eth-0/2/1", "lag1", "vlan-if"};

class PolicydAndModel : public RealDaemon, public testing::WithParamInterface<std::uint32_t> {
 protected:
  void post(const CommandModel::Exchange& exchange) {
    ++_sent;
    ASSERT_TRUE(plane.client().post(
        exchange.request, [this, exchange, number = _sent](const std::string& answer) {
          ++_answered;
          EXPECT_EQ(answer, exchange.answer)
              << "seed " << GetParam() << " command " << number << "\n  " << exchange.request.str();
        }));
    ASSERT_TRUE(wait_until_under_way(WINDOW - 1));
  }
  bool wait_until_under_way(std::size_t most) {
    return plane.client().turn_until([&] { return _sent - _answered <= most; });
  }
  void read_all_back(CommandModel& model) {
    for (const CommandModel::Exchange& exchange : model.read_back()) post(exchange);
    ASSERT_TRUE(wait_until_under_way(0));
  }

  // An interface comes or goes, and a mapping reaches every line card.
  void change_the_switch(CommandModel& model, int round) {
    const std::string name = "eth-0/1/" + std::to_string(10 + round / 2);
    if (round % 2 == 0) {
      ASSERT_EQ(chassis("add_interface?name:txt=" + name), "100");
      ASSERT_TRUE(until([&] { return has_port(name); }));
      model.add_port(name);
      ++_ports;
    } else {
      ASSERT_EQ(chassis("remove_interface?name:txt=" + name), "100");
      ASSERT_TRUE(until([&] { return !has_port(name); }));
      model.remove_port(name);
      --_ports;
    }
    const auto priority = static_cast<std::uint32_t>(round % 8);
    const auto queue = static_cast<std::uint32_t>((round * 5 + 3) % 8);
    const std::uint64_t before = line_card_requests();
    hold({{"set_cos_mapping?priorities:list=:u32=" + std::to_string(priority) +
               "&queues:list=:u32=" + std::to_string(queue),
           "100"}});
    ASSERT_TRUE(until([&] { return line_card_requests() == before + _ports; }));
    // The cards have answered; policyd has read that before it reads the second
    // of two requests sent one after the other.
    for (int i = 0; i < 2; ++i) ASSERT_TRUE(has_port("lag1"));
    model.confirm_mapping(priority, queue);
  }

  // Of a place the log has a hundred lines in ten seconds and tells how many more there
  // were; of users that are ports, and of VLANs, it is told at one place each.
  void expect_logged(const Lines& warnings) {
    EXPECT_EQ(shut_down(), "100");
    EXPECT_EQ(plane.policyd->wait(), 0);
    std::map<std::string, Lines> logged;
    for (const std::string& line : lines_of(plane.policyd->errors())) {
      const std::size_t place = line.find(" WARNING policyd POLICY +");
      const std::size_t message = line.find(": ", place) + 2;
      if (place != std::string::npos) {
        logged[line.substr(place, message - place)].push_back(line.substr(message));
      }
    }
    std::size_t told = 0;
    for (const auto& [place, lines] : logged) told += expect_lines(lines, warnings);
    EXPECT_EQ(told, warnings.size());
    static_cast<void>(take_warnings(0));
  }

 private:
  static std::size_t expect_lines(const Lines& lines, const Lines& warnings) {
    const auto is_of_port = [](const std::string& text) {
      return text.find(" in port ") != std::string::npos;
    };
    Lines of_place;
    std::copy_if(warnings.begin(), warnings.end(), std::back_inserter(of_place),
                 [&](const std::string& text) { return is_of_port(text) == is_of_port(lines[0]); });
    std::size_t told = 0;
    for (const std::string& line : lines) {
      if (line.starts_with("and ")) {
        told += std::stoul(line.substr(4));
      } else {
        EXPECT_EQ(line, told < of_place.size() ? of_place[told] : "nothing");
        ++told;
      }
    }
    return told;
  }
  static Lines lines_of(const std::string& text) {
    std::istringstream in(text);
    Lines lines;
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
  }

  std::uint64_t line_card_requests() {
    std::uint64_t sum = 0;
    for (const char* slot : {"0", "1", "2"}) {
      const std::string answer = chassis(std::string("get_line_card_requests?slot:u32=") + slot);
      sum += std::stoull(answer.substr(answer.find('=') + 1));
    }
    return sum;
  }

  std::size_t _ports = PORTS.size();
  std::size_t _sent = 0;
  std::size_t _answered = 0;
};

TEST_P(PolicydAndModel, AnswerEveryCommandAlike) {
  std::cout << "seed " << GetParam() << ": " << ROUNDS * COMMANDS_A_ROUND << " commands\n";
  start_all();
  CommandModel model(GetParam(), PORTS);
  for (int round = 0; round < ROUNDS && !HasFailure(); ++round) {
    for (int i = 0; i < COMMANDS_A_ROUND && !HasFailure(); ++i) post(model.draw());
    ASSERT_TRUE(wait_until_under_way(0));
    if (!HasFatalFailure()) change_the_switch(model, round);
    if (!HasFatalFailure()) read_all_back(model);
  }
  expect_logged(model.warnings());
}

INSTANTIATE_TEST_SUITE_P(Seeds, PolicydAndModel, testing::Values(1U, 2U, 3U));

}  // namespace
