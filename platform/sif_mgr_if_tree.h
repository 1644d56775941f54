// The tree of the switch's interfaces, as the switch interface manager tells
// it: every interface by name, and which interfaces an aggregate consists of.
// Plain values: copies are independent and compare by content.
#pragma once

#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <utility>

// One interface.
class SifMgrIfAtom {
 public:
  // The member interfaces of an aggregate by name, in ascending order.
  using Members = std::set<std::string, std::less<>>;

  // A member of no aggregate, with no members.
  explicit SifMgrIfAtom(std::string name) : _name(std::move(name)) {}

  [[nodiscard]] const std::string& name() const { return _name; }

  // Whether the interface is a member of an aggregate, and of which; the name
  // is as the interface manager tells it and means nothing for a non-member.
  [[nodiscard]] bool lagmember() const { return _lagmember; }
  [[nodiscard]] const std::string& lagname() const { return _lagname; }
  void set_lag(bool lagmember, std::string lagname) {
    _lagmember = lagmember;
    _lagname = std::move(lagname);
  }

  // Empty for what is no aggregate.
  [[nodiscard]] const Members& members() const { return _members; }
  // False, and nothing changes, when it is a member already.
  bool add_member(std::string name) { return _members.insert(std::move(name)).second; }
  // False when it is no member.
  bool remove_member(std::string_view name) {
    const auto at = _members.find(name);
    if (at == _members.end()) return false;
    _members.erase(at);
    return true;
  }

  bool operator==(const SifMgrIfAtom&) const = default;

 private:
  std::string _name;
  bool _lagmember = false;
  std::string _lagname;
  Members _members;
};

class SifMgrIfTree {
 public:
  // By name, in ascending order.
  using Atoms = std::map<std::string, SifMgrIfAtom, std::less<>>;

  [[nodiscard]] const Atoms& atoms() const { return _atoms; }
  [[nodiscard]] bool empty() const { return _atoms.empty(); }

  // Null when there is none of that name.
  [[nodiscard]] const SifMgrIfAtom* find(std::string_view name) const {
    const auto at = _atoms.find(name);
    return at == _atoms.end() ? nullptr : &at->second;
  }
  [[nodiscard]] SifMgrIfAtom* find(std::string_view name) {
    const auto at = _atoms.find(name);
    return at == _atoms.end() ? nullptr : &at->second;
  }

  // False, and nothing changes, when there is one of that name already.
  bool add(SifMgrIfAtom atom) {
    std::string name = atom.name();
    return _atoms.emplace(std::move(name), std::move(atom)).second;
  }
  // False when there is none of that name.
  bool remove(std::string_view name) {
    const auto at = _atoms.find(name);
    if (at == _atoms.end()) return false;
    _atoms.erase(at);
    return true;
  }

  bool operator==(const SifMgrIfTree&) const = default;

 private:
  Atoms _atoms;
};
