// policyd leaves when it is told to: what it withdraws, what it waits for, and
// how it ends.
#include <array>
#include <cerrno>
#include <memory>

#include "chassis/interfaces/lcmgr_tgt.h"
#include "chassis/switch_target.h"
#include "framework/xrl/xrl_key.h"
#include "tests/integration/real_daemon.h"
#include "tests/integration/router_holder.h"

namespace {

class OrderlyStop : public RealDaemon {};

TEST_F(OrderlyStop, TheCommandIsAnsweredAndTheProcessEndsWithStatusZero) {
  start_all();
  EXPECT_EQ(shut_down(), "100");
  EXPECT_EQ(plane.policyd->wait(), 0);
  EXPECT_TRUE(until([this] {
    return ask("finder/finder/0.2/get_xrl_targets").find(":txt=policy") == std::string::npos;
  }));
}

TEST_F(OrderlyStop, WithoutASwitchItEndsToo) {
  start_without_switch();
  EXPECT_EQ(shut_down(), "100");
  EXPECT_EQ(plane.policyd->wait(), 0);
}

// Stands between policyd and the finder, passes all on and writes down what
// policyd says.
class Tap {
 public:
  Tap(EventLoop& loop, const NetAddress& finder)
      : _loop(loop),
        _finder(finder),
        _listener(loop.network().listen(NetAddress::tcp(IPv4::loopback(), 0))),
        _watch(std::make_unique<Watch>(loop, _listener, IoInterest::READ,
                                       [this](IoInterest) { accept(); })) {}
  ~Tap() {
    _watch.reset();
    _loop.network().close(_listener);
  }
  Tap(const Tap&) = delete;
  Tap& operator=(const Tap&) = delete;

  [[nodiscard]] std::string address() const {
    return _loop.network().local_address(_listener).str();
  }
  // Everything policyd wrote to the finder, connection after connection.
  [[nodiscard]] std::string said() const {
    std::string all;
    for (const auto& pair : _pairs) all += pair->said;
    return all;
  }

 private:
  struct Pair {
    Pair(EventLoop& event_loop, int from_policyd, int to_finder)
        : loop(event_loop), policyd(from_policyd), finder(to_finder) {}
    ~Pair() {
      up.reset();
      down.reset();
      loop.network().close(policyd);
      loop.network().close(finder);
    }
    Pair(const Pair&) = delete;
    Pair& operator=(const Pair&) = delete;

    EventLoop& loop;
    int policyd;
    int finder;
    std::string said;
    std::unique_ptr<Watch> up;
    std::unique_ptr<Watch> down;
  };

  void accept() {
    NetAddress peer;
    const int policyd = _loop.network().accept(_listener, peer);
    if (policyd < 0) return;
    const int finder = _loop.network().connect(_finder);
    Pair& pair = *_pairs.emplace_back(std::make_unique<Pair>(_loop, policyd, finder));
    pair.up = std::make_unique<Watch>(_loop, policyd, IoInterest::READ, [this, &pair](IoInterest) {
      pass_on(pair, pair.policyd, pair.finder, &pair.said);
    });
    pair.down = std::make_unique<Watch>(_loop, finder, IoInterest::READ, [this, &pair](IoInterest) {
      pass_on(pair, pair.finder, pair.policyd, nullptr);
    });
  }

  void pass_on(Pair& pair, int from, int to, std::string* record) {
    std::array<std::uint8_t, 65536> bytes{};
    const std::ptrdiff_t got = _loop.network().read(from, bytes);
    if (got == -EAGAIN) return;
    if (got <= 0) {
      pair.up.reset();
      pair.down.reset();
      return;
    }
    const auto length = static_cast<std::size_t>(got);
    if (record != nullptr) record->append(reinterpret_cast<const char*>(bytes.data()), length);
    // Far less is on the way here than a socket buffers.
    EXPECT_EQ(_loop.network().write(to, std::span(bytes).first(length)), got);
  }

  EventLoop& _loop;
  NetAddress _finder;
  int _listener;
  std::unique_ptr<Watch> _watch;
  std::vector<std::unique_ptr<Pair>> _pairs;
};

// The places at which a stream asks for a method of the finder.
std::vector<std::size_t> requests_in(const std::string& stream, std::string_view method) {
  const XrlKey key = well_known_xrl_key(method);
  const std::string bytes(key.begin(), key.end());
  std::vector<std::size_t> found;
  for (std::size_t at = stream.find(bytes); at != std::string::npos;
       at = stream.find(bytes, at + 1)) {
    found.push_back(at + bytes.size());
  }
  return found;
}

TEST_F(OrderlyStop, InterestIsWithdrawnInTheCardManagerFirstAndInTheVlanManagerThen) {
  plane.start_finder();
  NetAddress finder;
  ASSERT_TRUE(NetAddress::parse(plane.finder_address(), finder));
  Tap tap(plane.client().loop(), finder);
  plane.policyd = std::make_unique<ChildProcess>(
      std::vector<std::string>{program("policyd"), "-F", tap.address()});
  // Its mirror of the interface tree has an interest of its own, in "sif".
  const auto is_wanted = [this](const std::string& class_name) {
    const std::string answer = ask("finder/finder/0.2/get_interests");
    return answer.find(":txt=" + class_name, answer.find("&classes:")) != std::string::npos;
  };
  ASSERT_TRUE(until([&] { return is_wanted("card_manager") && is_wanted("vlan"); }));
  EXPECT_EQ(shut_down(), "100");
  ASSERT_TRUE(until([&] { return !is_wanted("card_manager") && !is_wanted("vlan"); }));
  EXPECT_EQ(plane.policyd->wait(), 0);

  const std::string said = tap.said();
  const std::vector<std::size_t> withdrawn =
      requests_in(said, "finder_event_notifier/0.1/deregister_class_event_interest");
  ASSERT_EQ(withdrawn.size(), 2U);
  const std::size_t frame = 128;  // holds a whole request of this kind
  EXPECT_NE(said.substr(withdrawn[0], withdrawn[1] - withdrawn[0]).find("card_manager"),
            std::string::npos);
  EXPECT_NE(said.substr(withdrawn[1], frame).find("vlan"), std::string::npos);
}

// A line card that is there and takes its time: it answers when its own loop is
// turned.
class SlowLineCard : private RouterHolder, public CommonHandlers<XrlLcmgrTargetBase> {
 public:
  SlowLineCard(EventLoop& loop, const ControlPlane& plane)
      : SlowLineCard(std::make_unique<XrlStdRouter>(loop, "lcmgr021", plane.host().c_str(),
                                                    plane.port(), false)) {}
  [[nodiscard]] bool is_ready() const { return RouterHolder::router()->ready(); }
  [[nodiscard]] int requests() const { return _requests; }

  XrlCmdError lcmgr_0_1_set_port_cos_mapping(std::uint32_t /*unit*/, std::uint32_t /*slot*/,
                                             std::uint32_t /*port*/, std::uint32_t /*priority*/,
                                             std::uint32_t /*queue*/) override {
    ++_requests;
    return XrlCmdError::OKAY();
  }

 private:
  explicit SlowLineCard(std::unique_ptr<XrlStdRouter> its_router)
      : RouterHolder(std::move(its_router)),
        CommonHandlers<XrlLcmgrTargetBase>(RouterHolder::router()) {}
  int _requests = 0;
};

TEST_F(OrderlyStop, RequestsThatAwaitTheirReplyAreWaitedFor) {
  start_all(R"({"interfaces": [{"name": "eth-0/1/1"}], "vlans": [20]})");
  ASSERT_EQ(chassis("stop_target?name:txt=lcmgr021"), "100");
  EventLoop its_loop;
  SlowLineCard card(its_loop, plane);
  while (!card.is_ready()) its_loop.run();
  hold({{"set_cos_mapping?priorities:list=:u32=0,:u32=1&queues:list=:u32=5,:u32=6", "100"}});
  EXPECT_EQ(shut_down(), "100");

  // Interest is withdrawn at once, and what is asked meanwhile is answered.
  ASSERT_TRUE(until([this] {
    return ask("finder/finder/0.2/get_interests").find(":txt=policy-") == std::string::npos;
  }));
  EXPECT_EQ(ask("policy/common/0.1/get_status"), "100 status:u32=4&reason:txt=");
  EXPECT_EQ(ask("policy/common/0.1/get_status"), "100 status:u32=4&reason:txt=");
  hold({{"get_cos_mapping?priorities:list=:u32=0", "100 queues:list=:u32=2"}});
  EXPECT_EQ(card.requests(), 0);

  while (card.requests() < 2) its_loop.run();
  its_loop.run();
  EXPECT_EQ(plane.policyd->wait(), 0);
}

}  // namespace
