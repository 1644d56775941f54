#include "tests/integration/finder_tap.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <span>

#include "framework/xrl/xrl_key.h"

FinderTap::Pair::~Pair() {
  up.reset();
  down.reset();
  loop.network().close(process);
  loop.network().close(finder);
}

FinderTap::FinderTap(ControlPlane& plane)
    : _loop(plane.client().loop()),
      _listener(_loop.network().listen(NetAddress::tcp(IPv4::loopback(), 0))),
      _watch(std::make_unique<Watch>(_loop, _listener, IoInterest::READ,
                                     [this](IoInterest) { accept(); })) {
  EXPECT_TRUE(NetAddress::parse(plane.finder_address(), _finder));
}

FinderTap::~FinderTap() {
  _watch.reset();
  _loop.network().close(_listener);
}

std::string FinderTap::address() const {
  return _loop.network().local_address(_listener).str();
}

std::string FinderTap::said() const {
  std::string all;
  for (const auto& pair : _pairs) all += pair->said;
  return all;
}

std::vector<std::size_t> FinderTap::requests_in(const std::string& said, std::string_view method) {
  const XrlKey key = well_known_xrl_key(method);
  const std::string bytes(key.begin(), key.end());
  std::vector<std::size_t> found;
  for (std::size_t at = said.find(bytes); at != std::string::npos; at = said.find(bytes, at + 1)) {
    found.push_back(at + bytes.size());
  }
  return found;
}

void FinderTap::accept() {
  NetAddress peer;
  const int process = _loop.network().accept(_listener, peer);
  if (process < 0) return;
  const int finder = _loop.network().connect(_finder);
  if (finder < 0) {
    _loop.network().close(process);
    return;
  }
  Pair& pair = *_pairs.emplace_back(std::make_unique<Pair>(_loop, process, finder));
  pair.down = std::make_unique<Watch>(_loop, finder, IoInterest::WRITE,
                                      [this, &pair](IoInterest) { finder_is_ready(pair); });
}

void FinderTap::finder_is_ready(Pair& pair) {
  if (pair.up) {
    pass_on(pair, pair.finder, pair.process, nullptr);
    return;
  }
  if (_loop.network().connect_result(pair.finder) != 0) {
    pair.down.reset();
    return;
  }
  pair.down->set_interest(IoInterest::READ);
  pair.up = std::make_unique<Watch>(
      _loop, pair.process, IoInterest::READ,
      [this, &pair](IoInterest) { pass_on(pair, pair.process, pair.finder, &pair.said); });
}

void FinderTap::pass_on(Pair& pair, int from, int to, std::string* record) {
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
