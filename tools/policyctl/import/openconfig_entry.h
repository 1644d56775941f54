// One entry of an OpenConfig ACL as a rule.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "tools/policyctl/import/import_log.h"

class OpenconfigEntry {
 public:
  // `path` is of the entry. Both outlive this object.
  OpenconfigEntry(ImportLog& log, const std::string& path) : _log(log), _path(path) {}

  void read(const JsonValue& entry);

  [[nodiscard]] std::optional<std::uint32_t> number() const { return _number; }
  // None when the entry is left out, or wrong; the log says which and why.
  [[nodiscard]] std::optional<Rule> rule() const;

  // What leaves of the tree are taken by; public for the table of them.
  void take_number(const std::string& path, const JsonValue& value);
  void take_description(const std::string& path, const JsonValue& value);
  void take_action(const std::string& path, const JsonValue& value);
  void take_source(const std::string& path, const JsonValue& value);
  void take_destination(const std::string& path, const JsonValue& value);
  void take_protocol(const std::string& path, const JsonValue& value);
  void take_ethertype(const std::string& path, const JsonValue& value);
  void take_source_port(const std::string& path, const JsonValue& value);
  void take_destination_port(const std::string& path, const JsonValue& value);
  void take_icmp_type(const std::string& path, const JsonValue& value);
  void take_icmp_code(const std::string& path, const JsonValue& value);

 private:
  struct IcmpText {
    std::string path;
    std::string text;
  };

  void read_leaves(const JsonValue& object, const std::string& leaf_path, const std::string& path);
  void read_leaf(const std::string& leaf_path, const std::string& path, const JsonValue& value);
  void take_address(const std::string& path, const JsonValue& value, std::string_view ipv4,
                    std::string_view ipv6);
  void take_port(const std::string& path, const JsonValue& value, std::string_view field);
  void set(const std::string& path, std::string_view field, std::string_view text);
  void leave_out(const std::string& path, std::string what, const std::string& why);
  // What the family of the addresses decides.
  void settle_family();
  void settle_icmp(bool is_ipv6);

  ImportLog& _log;
  const std::string& _path;
  FieldsDraft _fields;
  std::optional<std::uint32_t> _number;
  std::optional<std::uint32_t> _action;
  std::string _description;
  std::optional<IcmpText> _icmp_type;
  std::optional<IcmpText> _icmp_code;
  bool _is_left_out = false;
  bool _is_wrong = false;
};
