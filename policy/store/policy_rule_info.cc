#include "policy/store/policy_rule_info.h"

#include "framework/base/xlog.h"
#include "policy/store/memory_reserve.h"
#include "policy/store/policy_acl_info.h"

PolicyRuleInfo::~PolicyRuleInfo() {
  XLOG_ASSERT(_bindings == 0, "acl " + std::to_string(_acl->id()) + " rule " + std::to_string(_id) +
                                  " bindings " + std::to_string(_bindings));
}

PolicyBindingKey PolicyRuleInfo::key() const {
  return {_acl->id(), _id};
}

int PolicyRuleInfo::set_fields(std::span<const std::uint32_t> flags,
                               std::span<const std::string_view> values) {
  if (flags.size() != values.size()) return -1;
  const PolicyFieldValues given(flags, values);
  const int result = _acl->exchange_bytes(_field_bytes, given.bytes(), [&] {
    return unless_out_of_memory([&] {
      _fields = PolicyRuleFields(given);
      _field_bytes = static_cast<std::uint32_t>(given.bytes());
      return 0;
    });
  });
  return given.is_complete() ? result : -1;
}

int PolicyRuleInfo::get(std::uint32_t& action, std::string& description,
                        std::vector<std::uint32_t>& flags, std::vector<std::string>& values) const {
  action = _action;
  description = _description.text();
  for (const PolicyRuleFields::Field& field : _fields) {
    flags.push_back(field.number);
    values.emplace_back(field.value);
  }
  return 0;
}

int PolicyRuleInfo::set_description(std::string_view description) {
  return _acl->exchange_bytes(PolicyDescription::bytes_of(_description.text()),
                              PolicyDescription::bytes_of(description),
                              [&] { return _description.set(description); });
}

std::size_t PolicyRuleInfo::bytes_of(const PolicyFieldValues& values) {
  return sizeof(PolicyRuleInfo) + values.bytes() + 2 * store_bounds::BLOCK_BYTES +
         store_bounds::ENTRY_BYTES;
}

std::size_t PolicyRuleInfo::stored_bytes() const {
  return bytes_of({}) + _field_bytes + PolicyDescription::bytes_of(_description.text());
}
