// Stub, thunk and delivery are on the path of every request, so they take no
// memory of their own.
#include <gtest/gtest.h>

#include <cstdlib>
#include <new>

#include "tests/unit/xrlgen/every_type_target.h"
#include "tests/unit/xrlgen/interfaces/every_type_xif.h"

namespace {
long allocations = 0;
}  // namespace

void* operator new(std::size_t size) {
  ++allocations;
  void* memory = std::malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}

namespace {

// Answers at once, in buffers that it keeps.
class DirectSender : public XrlSender {
 public:
  explicit DirectSender(const XrlCmdMap& cmds) : _cmds(cmds) {}

  XrlArgsWriter begin_args() override {
    _args.clear();
    return XrlArgsWriter(_args);
  }

  bool send(std::string_view /*target*/, std::string_view method, XrlReply reply) override {
    _results.clear();
    XrlArgsReader in(_args.bytes());
    XrlArgsWriter out(_results);
    const XrlCmdMap::Command* command = _cmds.find(method);
    const XrlCmdError answer = command->handler(command->target, in, out);
    XrlArgsReader results(_results.bytes());
    reply.deliver(*reply.callback, answer.error(), results);
    return true;
  }

 private:
  const XrlCmdMap& _cmds;
  ByteBuffer _args;
  ByteBuffer _results;
};

class Allocations : public testing::Test {
 protected:
  XrlCmdMap _cmds{"every_type"};
  EveryTypeTarget _target{&_cmds};
  DirectSender _sender{_cmds};
  XrlEveryTypeV0p1Client _client{&_sender};

  // How many allocations `request` makes once the buffers have their size.
  template <typename Request>
  static long allocations_of(Request request) {
    EXPECT_TRUE(request());
    const long before = allocations;
    EXPECT_TRUE(request());
    return allocations - before;
  }
};

}  // namespace

TEST_F(Allocations, RequestWithoutResultsMakesNone) {
  int done = 0;
  const XrlEveryTypeV0p1Client::SetLevelCB cb =
      callback([&](const XrlError& error) { done += error.is_okay() ? 1 : 0; });
  EXPECT_EQ(allocations_of([&] { return _client.send_set_level("t", 1, "eth-0/1/1", cb); }), 0);
  EXPECT_EQ(done, 2);
}

TEST_F(Allocations, RequestWithResultsMakesNone) {
  _target.level = 21;
  std::uint32_t sum = 0;
  const XrlEveryTypeV0p1Client::GetLevelCB cb =
      callback([&](const XrlError&, const std::uint32_t* level) { sum += *level; });
  EXPECT_EQ(allocations_of([&] { return _client.send_get_level("t", "eth-0/1/1", cb); }), 0);
  EXPECT_EQ(sum, 42U);
}

TEST_F(Allocations, ListOnItsWayIsNotCopied) {
  XrlAtomList terms;
  for (std::uint32_t term = 0; term < 1000; ++term) terms.append(term);
  std::uint32_t last = 0;
  const XrlEveryTypeV0p1Client::SumCB cb =
      callback([&](const XrlError&, const std::uint32_t* total) { last = *total; });
  EXPECT_EQ(allocations_of([&] { return _client.send_sum("t", terms, cb); }), 0);
  EXPECT_EQ(last, 499500U);
}
