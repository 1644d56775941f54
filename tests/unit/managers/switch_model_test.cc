#include "platform/managers/switch_model.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <vector>

namespace {

class Recorder : public SwitchObserver {
 public:
  void interfaces_changed() override { events.push_back("interfaces"); }
  void card_changed(std::uint32_t id) override { events.push_back("card " + std::to_string(id)); }
  void vlan_changed(std::uint32_t id) override { events.push_back("vlan " + std::to_string(id)); }
  void line_card_added(std::uint32_t slot) override {
    events.push_back("line card " + std::to_string(slot));
  }
  std::vector<std::string> events;
};

using Events = std::vector<std::string>;

void add(SwitchModel& model, std::initializer_list<const char*> names) {
  for (const char* name : names) ASSERT_EQ(model.add_interface(name), DONE) << name;
}

}  // namespace

TEST(SwitchModel, AnInterfaceBringsTheLineCardOfItsSlotOnce) {
  SwitchModel model;
  Recorder recorder;
  model.add_observer(&recorder);
  add(model, {"eth-0/12/1", "eth-0/12/2", "2/12/3"});
  EXPECT_EQ(recorder.events, (Events{"line card 12", "interfaces", "interfaces", "interfaces"}));
  EXPECT_NE(model.find_line_card(12), nullptr);
  EXPECT_EQ(model.find_line_card(0), nullptr);
  model.remove_observer(&recorder);
}

TEST(SwitchModel, AnInterfaceThatIsNoPortBringsTheLineCardOfSlotZero) {
  SwitchModel model;
  add(model, {"lag1"});
  EXPECT_NE(model.find_line_card(0), nullptr);
}

TEST(SwitchModel, EveryChangeOfTheInterfacesChangesTheSerial) {
  SwitchModel model;
  std::set<std::uint64_t> serials{model.interfaces_serial()};
  add(model, {"eth-0/1/1"});
  EXPECT_TRUE(serials.insert(model.interfaces_serial()).second);
  add(model, {"lag1"});
  EXPECT_TRUE(serials.insert(model.interfaces_serial()).second);
  EXPECT_EQ(model.add_member("lag1", "eth-0/1/1"), DONE);
  EXPECT_TRUE(serials.insert(model.interfaces_serial()).second);
  EXPECT_EQ(model.remove_member("lag1", "eth-0/1/1"), DONE);
  EXPECT_TRUE(serials.insert(model.interfaces_serial()).second);
  EXPECT_EQ(model.remove_interface("lag1"), DONE);
  EXPECT_TRUE(serials.insert(model.interfaces_serial()).second);
}

TEST(SwitchModel, WhatIsRefusedChangesNothingAndTellsNobody) {
  SwitchModel model;
  add(model, {"a", "b", "lag1", "lag2"});
  EXPECT_EQ(model.add_member("lag1", "a"), DONE);
  EXPECT_EQ(model.create_vlan(10), DONE);
  Recorder recorder;
  model.add_observer(&recorder);
  const SifMgrIfTree before = model.interfaces();
  EXPECT_EQ(model.add_interface(""), "the interface has no name.");
  EXPECT_EQ(model.add_interface("a"), "the interface exists already.");
  EXPECT_EQ(model.add_interface(std::string(49, 'a')), "the interface's name is too long.");
  EXPECT_EQ(model.remove_interface("c"), "the interface does not exist.");
  EXPECT_EQ(model.add_member("lag3", "b"), "the aggregate does not exist.");
  EXPECT_EQ(model.add_member("lag1", "c"), "the interface does not exist.");
  EXPECT_EQ(model.add_member("lag1", "a"), "the interface is a member already.");
  EXPECT_EQ(model.add_member("lag2", "a"), "the interface is a member already.");
  EXPECT_EQ(model.add_member("lag1", "lag1"), "an aggregate cannot be its own member.");
  EXPECT_EQ(model.add_member("lag2", "lag1"), "an aggregate cannot be a member.");
  EXPECT_EQ(model.add_member("a", "b"), "the aggregate is a member itself.");
  EXPECT_EQ(model.remove_member("lag3", "a"), "the aggregate does not exist.");
  EXPECT_EQ(model.remove_member("lag1", "b"), "the interface is no member of the aggregate.");
  EXPECT_EQ(model.create_vlan(10), "the vlan exists already.");
  EXPECT_EQ(model.create_vlan(0), "vlan_id is bad.");
  EXPECT_EQ(model.create_vlan(4095), "vlan_id is bad.");
  EXPECT_EQ(model.delete_vlan(11), "the vlan does not exist.");
  EXPECT_EQ(model.interfaces(), before);
  EXPECT_EQ(recorder.events, Events{});
  model.remove_observer(&recorder);
}

TEST(SwitchModel, AMemberNamesItsAggregateUntilItLeaves) {
  SwitchModel model;
  add(model, {"a", "lag1"});
  EXPECT_EQ(model.add_member("lag1", "a"), DONE);
  EXPECT_TRUE(model.interfaces().find("a")->lagmember());
  EXPECT_EQ(model.interfaces().find("a")->lagname(), "lag1");
  EXPECT_EQ(model.remove_member("lag1", "a"), DONE);
  EXPECT_FALSE(model.interfaces().find("a")->lagmember());
  EXPECT_EQ(model.interfaces().find("a")->lagname(), "");
  EXPECT_TRUE(model.interfaces().find("lag1")->members().empty());
}

TEST(SwitchModel, RemovingAMemberTakesItOutOfItsAggregate) {
  SwitchModel model;
  add(model, {"a", "lag1"});
  EXPECT_EQ(model.add_member("lag1", "a"), DONE);
  EXPECT_EQ(model.remove_interface("a"), DONE);
  EXPECT_TRUE(model.interfaces().find("lag1")->members().empty());
}

TEST(SwitchModel, RemovingAnAggregateFreesItsMembers) {
  SwitchModel model;
  add(model, {"a", "b", "lag1"});
  EXPECT_EQ(model.add_member("lag1", "a"), DONE);
  EXPECT_EQ(model.add_member("lag1", "b"), DONE);
  EXPECT_EQ(model.remove_interface("lag1"), DONE);
  EXPECT_FALSE(model.interfaces().find("a")->lagmember());
  EXPECT_FALSE(model.interfaces().find("b")->lagmember());
}

TEST(SwitchModel, ALineCardOutlivesItsInterfaces) {
  SwitchModel model;
  add(model, {"eth-0/1/1"});
  EXPECT_EQ(model.find_line_card(1)->set_cos_mapping({0, 1, 1}, 3, 4), DONE);
  EXPECT_EQ(model.remove_interface("eth-0/1/1"), DONE);
  EXPECT_EQ(model.find_line_card(1)->cos_mapping({0, 1, 1}).at(3), 4U);
}

TEST(SwitchModel, ACardIsToldOfEveryTimeItsStateIsSet) {
  SwitchModel model;
  Recorder recorder;
  model.add_observer(&recorder);
  EXPECT_EQ(model.set_card_state(17, 7), DONE);
  EXPECT_EQ(model.set_card_state(17, 7), DONE);
  EXPECT_EQ(model.set_card_state(17, 9), DONE);
  EXPECT_EQ(recorder.events, (Events{"card 17", "card 17", "card 17"}));
  EXPECT_EQ(model.cards().at(17), 9U);
  model.remove_observer(&recorder);
}

TEST(SwitchModel, VlansComeAndGo) {
  SwitchModel model;
  Recorder recorder;
  model.add_observer(&recorder);
  EXPECT_EQ(model.create_vlan(4094), DONE);
  EXPECT_EQ(model.delete_vlan(4094), DONE);
  EXPECT_EQ(recorder.events, (Events{"vlan 4094", "vlan 4094"}));
  EXPECT_TRUE(model.vlans().empty());
  model.remove_observer(&recorder);
}

TEST(SwitchModel, ItHasRoomForSoManyInterfacesAndCardsAndNoMore) {
  SwitchModel model;
  for (std::size_t i = 0; i < SwitchModel::MAX_INTERFACES; ++i) {
    ASSERT_EQ(model.add_interface("if" + std::to_string(i)), DONE);
  }
  EXPECT_EQ(model.add_interface("one"), "the switch has no more interfaces.");
  for (std::uint32_t id = 0; id < SwitchModel::MAX_CARDS; ++id) {
    ASSERT_EQ(model.set_card_state(id, 7), DONE);
  }
  EXPECT_EQ(model.set_card_state(SwitchModel::MAX_CARDS, 7), "the switch has no more cards.");
  EXPECT_EQ(model.set_card_state(0, 0), DONE);
}

TEST(LineCard, MappingsAreKeptByUnitSlotAndPort) {
  LineCard card(2);
  EXPECT_EQ(card.set_cos_mapping({1, 2, 3}, 0, 5), DONE);
  EXPECT_EQ(card.set_cos_mapping({2, 2, 3}, 0, 6), DONE);
  EXPECT_EQ(card.set_cos_mapping({1, 2, 3}, 7, 1), DONE);
  EXPECT_EQ(card.set_cos_mapping({1, 2, 3}, 0, 7), DONE);
  EXPECT_EQ(card.cos_mapping({1, 2, 3}), (LineCard::CosMapping{{0, 7}, {7, 1}}));
  EXPECT_EQ(card.cos_mapping({2, 2, 3}), (LineCard::CosMapping{{0, 6}}));
  EXPECT_TRUE(card.cos_mapping({3, 2, 3}).empty());
}

TEST(LineCard, PrioritiesAndQueuesPast7AndPortsOfOtherSlotsAreRefused) {
  LineCard card(2);
  EXPECT_EQ(card.set_cos_mapping({1, 2, 3}, 8, 0), "priority is bad.");
  EXPECT_EQ(card.set_cos_mapping({1, 2, 3}, 0, 8), "queue is bad.");
  EXPECT_EQ(card.set_cos_mapping({1, 1, 3}, 0, 0), "the port is of another slot.");
  EXPECT_TRUE(card.cos_mapping({1, 2, 3}).empty());
}

TEST(LineCard, ItHasRoomForSoManyPortsAndNoMore) {
  LineCard card(2);
  for (std::uint32_t port = 0; port < LineCard::MAX_PORTS; ++port) {
    ASSERT_EQ(card.set_cos_mapping({0, 2, port}, 0, 0), DONE);
  }
  EXPECT_EQ(card.set_cos_mapping({0, 2, LineCard::MAX_PORTS}, 0, 0), "the line card is full.");
  EXPECT_EQ(card.set_cos_mapping({0, 2, 0}, 1, 1), DONE);
}

TEST(LineCard, FaultsHaveNames) {
  LineCardFault fault = LineCardFault::CLOSE;
  EXPECT_TRUE(line_card_fault_from_name("none", fault));
  EXPECT_EQ(fault, LineCardFault::NONE);
  EXPECT_TRUE(line_card_fault_from_name("refuse", fault));
  EXPECT_EQ(fault, LineCardFault::REFUSE);
  EXPECT_TRUE(line_card_fault_from_name("close", fault));
  EXPECT_EQ(fault, LineCardFault::CLOSE);
  EXPECT_TRUE(line_card_fault_from_name("silent", fault));
  EXPECT_EQ(fault, LineCardFault::SILENT);
  EXPECT_FALSE(line_card_fault_from_name("dead", fault));
  EXPECT_EQ(fault, LineCardFault::SILENT);
}
