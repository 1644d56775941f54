// The class-of-service commands that reach no line card, asked of a real
// policyd.
#include "tests/integration/real_daemon.h"

namespace {

constexpr const char* EIGHT = ":u32=0,:u32=1,:u32=2,:u32=3,:u32=4,:u32=5,:u32=6,:u32=7";

class ClassOfService : public RealDaemon {
 protected:
  void SetUp() override { start_without_switch(); }
};

TEST_F(ClassOfService, EveryStartBeginsFromTheFixedMaps) {
  hold({{std::string("get_cos_mapping?priorities:list=") + EIGHT,
         "100 queues:list=:u32=2,:u32=0,:u32=1,:u32=3,:u32=4,:u32=5,:u32=6,:u32=7"},
        {std::string("get_priority_queue?priorities:list=") + EIGHT,
         std::string("100 queues:list=") + EIGHT},
        {"get_dscp_queue?dscps:list=:u32=0,:u32=7,:u32=8,:u32=62",
         "100 queues:list=:u32=0,:u32=0,:u32=1,:u32=7"},
        {"get_schedule_algorithm", "100 algorithm:u32=0&weights:list=:u32=12,:u32=8,:u32=4,:u32=1"},
        {"get_schedule_mode", "100 mode:u32=0"},
        {"get_cos_flag", "100 flag:bool=false"}});
}

TEST_F(ClassOfService, DscpSixtyThreeHasNoQueueAndReadsAsZero) {
  hold({{"get_dscp_queue?dscps:list=:u32=63", "100 queues:list=:u32=0"},
        {"set_dscp_queue?dscps:list=:u32=63&queues:list=:u32=5", "100"},
        {"get_dscp_queue?dscps:list=:u32=63", "100 queues:list=:u32=0"}});
}

TEST_F(ClassOfService, ReadingADscpPastSixtyThreeIsRefused) {
  hold({{"get_dscp_queue?dscps:list=:u32=64", "101 bad dscp."},
        {"get_dscp_queue?dscps:list=:u32=0,:u32=4294967295", "101 bad dscp."}});
}

TEST_F(ClassOfService, ReadingAPriorityPastSevenIsRefused) {
  hold({{"get_priority_queue?priorities:list=:u32=7,:u32=8", "101 bad priority."},
        {"get_cos_mapping?priorities:list=:u32=8", "101 bad priority."}});
}

TEST_F(ClassOfService, ReadingNothingAnswersNothing) {
  hold({{"get_dscp_queue?dscps:list=", "100 queues:list="},
        {"get_priority_queue?priorities:list=", "100 queues:list="},
        {"get_cos_mapping?priorities:list=", "100 queues:list="}});
}

TEST_F(ClassOfService, SettingADscpQueueWritesTheMapThatTheLineCardsConfirm) {
  hold({{"set_dscp_queue?dscps:list=:u32=10&queues:list=:u32=3", "100"},
        {"get_dscp_queue?dscps:list=:u32=10", "100 queues:list=:u32=1"},
        {std::string("get_cos_mapping?priorities:list=") + EIGHT,
         "100 queues:list=:u32=2,:u32=0,:u32=1,:u32=3,:u32=4,:u32=5,:u32=6,:u32=7"},
        // Below 8 it shows.
        {"set_dscp_queue?dscps:list=:u32=4&queues:list=:u32=0", "100"},
        {"get_dscp_queue?dscps:list=:u32=4", "100 queues:list=:u32=0"},
        {"get_cos_mapping?priorities:list=:u32=4", "100 queues:list=:u32=0"}});
}

TEST_F(ClassOfService, ASetterWithListsOfDifferentLengthsIsRefused) {
  hold({{"set_dscp_queue?dscps:list=:u32=1&queues:list=", "101 bad dscp and queue."},
        {"set_priority_queue?priorities:list=:u32=1,:u32=2&queues:list=:u32=1",
         "101 bad priority and queue."},
        {"set_cos_mapping?priorities:list=:u32=0,:u32=1&queues:list=:u32=3",
         "101 bad priority and queue."}});
}

TEST_F(ClassOfService, ASetterWithAnyNumberOutOfRangeChangesNothing) {
  const std::string untouched = std::string("100 queues:list=") + EIGHT;
  for (const char* pairs : {"priorities:list=:u32=1,:u32=8&queues:list=:u32=7,:u32=7",
                            "priorities:list=:u32=1,:u32=2&queues:list=:u32=7,:u32=8"}) {
    hold({{std::string("set_priority_queue?") + pairs, "101 bad priority and queue."},
          {std::string("get_priority_queue?priorities:list=") + EIGHT, untouched},
          {std::string("set_cos_mapping?") + pairs, "101 bad priority and queue."}});
  }
  for (const char* pairs : {"dscps:list=:u32=1,:u32=64&queues:list=:u32=7,:u32=7",
                            "dscps:list=:u32=1,:u32=2&queues:list=:u32=7,:u32=8"}) {
    hold({{std::string("set_dscp_queue?") + pairs, "101 bad dscp and queue."},
          {"get_cos_mapping?priorities:list=:u32=1", "100 queues:list=:u32=0"}});
  }
}

TEST_F(ClassOfService, PrioritiesTakeTheQueuesTheyAreGivenInListOrder) {
  hold({{"set_priority_queue?priorities:list=:u32=3,:u32=3,:u32=0&queues:list=:u32=1,:u32=6,:u32=7",
         "100"},
        {std::string("get_priority_queue?priorities:list=") + EIGHT,
         "100 queues:list=:u32=7,:u32=1,:u32=2,:u32=6,:u32=4,:u32=5,:u32=6,:u32=7"}});
}

TEST_F(ClassOfService, WithoutPortsAMappingSendsAndChangesNothing) {
  hold({{"set_cos_mapping?priorities:list=:u32=0&queues:list=:u32=5", "100"},
        {"get_cos_mapping?priorities:list=:u32=0", "100 queues:list=:u32=2"}});
}

TEST_F(ClassOfService, TheFlagIsKept) {
  hold({{"set_cos_flag?flag:bool=true", "100"},
        {"get_cos_flag", "100 flag:bool=true"},
        {"set_cos_flag?flag:bool=false", "100"},
        {"get_cos_flag", "100 flag:bool=false"}});
}

TEST_F(ClassOfService, ModesZeroToFourAreKeptAndFiveIsRefused) {
  for (const char* mode : {"0", "1", "2", "3", "4"}) {
    hold({{std::string("set_schedule_mode?mode:u32=") + mode, "100"},
          {"get_schedule_mode", std::string("100 mode:u32=") + mode}});
  }
  hold({{"set_schedule_mode?mode:u32=5", "101 bad mode."},
        {"set_schedule_mode?mode:u32=4294967295", "101 bad mode."},
        {"get_schedule_mode", "100 mode:u32=4"}});
}

TEST_F(ClassOfService, AnAlgorithmComesWithFourWeightsOfAnySize) {
  hold({{"set_schedule_algorithm?algorithm:u32=3&weights:list=:u32=0,:u32=4294967295,:u32=1,:u32=9",
         "100"},
        {"get_schedule_algorithm",
         "100 algorithm:u32=3&weights:list=:u32=0,:u32=4294967295,:u32=1,:u32=9"}});
}

TEST_F(ClassOfService, TheAlgorithmIsCheckedBeforeTheWeights) {
  hold({{"set_schedule_algorithm?algorithm:u32=4&weights:list=:u32=1,:u32=1,:u32=1,:u32=1",
         "101 bad algorithm."},
        {"set_schedule_algorithm?algorithm:u32=4&weights:list=", "101 bad algorithm."},
        {"set_schedule_algorithm?algorithm:u32=1&weights:list=:u32=1,:u32=1,:u32=1",
         "101 bad weight."},
        {"set_schedule_algorithm?algorithm:u32=1&weights:list=:u32=1,:u32=1,:u32=1,:u32=1,:u32=1",
         "101 bad weight."},
        {"get_schedule_algorithm",
         "100 algorithm:u32=0&weights:list=:u32=12,:u32=8,:u32=4,:u32=1"}});
}

}  // namespace
