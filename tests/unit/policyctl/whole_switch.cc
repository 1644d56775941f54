#include "tests/unit/policyctl/whole_switch.h"

#include <gtest/gtest.h>

#include "tools/policyctl/change/complete.h"
#include "tools/policyctl/language/read_configuration.h"
#include "tools/policyctl/language/write_configuration.h"

Configuration whole_switch(const std::string& text) {
  Configuration bare;
  for (const char* const name : {"eth-0/1/1", "eth-0/1/2"}) bare.interfaces[name].cos_value = 0;
  for (const std::uint32_t id : {100U, 200U}) bare.vlans[id];
  ReadConfiguration read = read_configuration(text);
  EXPECT_TRUE(read.faults.empty()) << read.faults.front().message;
  return Configuration(complete(std::move(read.configuration), bare.whole(), Unnamed::REMOVED));
}

std::string named_text(Configuration configuration) {
  const ClassOfService usual = default_class_of_service();
  ClassOfService& cos = configuration.cos;
  if (cos.flag == usual.flag) cos.flag.reset();
  if (cos.mode == usual.mode) cos.mode.reset();
  if (cos.schedule == usual.schedule) cos.schedule.reset();
  std::erase_if(cos.priority_queues, [&usual](const auto& entry) {
    return usual.priority_queues.at(entry.first) == entry.second;
  });
  std::erase_if(cos.mapping, [&usual](const auto& entry) {
    return usual.mapping.at(entry.first) == entry.second;
  });
  return write_configuration(configuration);
}
