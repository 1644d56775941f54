// SwitchReader: what entry kinds read a switch by.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "framework/xrl/xrl_atom_list.h"
#include "policy/interfaces/policy_config_xif.h"
#include "tools/policyctl/language/configuration.h"
#include "tools/policyctl/language/entry_kind.h"
#include "tools/policyctl/switch/request_window.h"

using PolicydClient = XrlPolicyConfigV0p1Client;

// Who answers is another process; one that is wrong must not end this one.
struct SenselessAnswer {};

// Lists whose elements belong to one another.
template <typename... Lists>
void require_size(std::size_t size, const Lists&... lists) {
  if (((lists.size() != size) || ...)) throw SenselessAnswer();
}

// Others than policyd that are asked one question.
struct Manager {
  const char* target;
  const char* name;
  const char* question;  // as of a request
};

class SwitchReader {
 public:
  explicit SwitchReader(SwitchSession& session);

  // What has been read of these kinds, and of what stands below them. Throws
  // Failure.
  [[nodiscard]] Entries read(const std::vector<const EntryKind*>& kinds);
  // The entries of one kind, with as little of what they say as can be asked for.
  [[nodiscard]] Entries read_names(const EntryKind& kind, const EntryKey& above);
  [[nodiscard]] bool wants_only_names() const { return _wants_only_names; }
  // Kinds whose manager is not there; they were left out.
  [[nodiscard]] const std::vector<std::pair<const EntryKind*, const Manager*>>& absent() const {
    return _absent;
  }

  // For the kinds. `request` sends one; false when it cannot be sent now.
  void ask(std::function<bool()> request);
  // The same for each number, in order.
  void ask_each(std::vector<std::uint32_t> numbers, std::function<bool(std::uint32_t)> request);
  void ask_manager(const EntryKind& kind, const Manager& manager, std::function<bool()> request);
  // An entry of the switch; what stands below it is asked for.
  void found(const EntryKind& kind, const EntryKey& key, EntryValue value);
  // What stands below something that is there if anything answers for it.
  void ask_below(const EntryKind& kind, const EntryKey& key);
  // Something answers for the interface or VLAN that `child` is bound to: it is there.
  void found_at(const EntryKind& child, const EntryKey& record);

  // Something that was listed may have gone since; it is not read then.
  enum class Gone { IS_FINE, IS_A_FAILURE };
  // Asks policyd by a method of its client, with these arguments, and calls `results`
  // with those of a good reply; `what` is asked: "read the rules".
  template <typename Method, typename Results, typename... Arguments>
  void ask_for(Gone gone, const char* what, Method method, Results results,
               const Arguments&... arguments) {
    ask([this, gone, what, method, results, arguments...] {
      return (client.*method)(policyd(), arguments..., answer(what, results, gone, nullptr));
    });
  }
  // The same of an interface or VLAN.
  template <typename PortMethod, typename VlanMethod, typename Results>
  void ask_at(const EntryKey& record, const char* what, PortMethod of_port, VlanMethod of_vlan,
              Results results) {
    if (record.name.empty()) {
      ask_for(Gone::IS_FINE, what, of_vlan, results, record.numbers[0]);
    } else {
      ask_for(Gone::IS_FINE, what, of_port, results, std::string(record.name.view()));
    }
  }

  // Callbacks for requests that are sent in another way.
  template <typename Results>
  auto store_if_there(const char* what, Results results) {
    return answer(what, results, Gone::IS_FINE, nullptr);
  }
  template <typename Results>
  auto store_of(const Manager& manager, Results results) {
    return answer(manager.question, results, Gone::IS_A_FAILURE, &manager);
  }

  [[nodiscard]] Entries& entries() { return _read; }
  [[nodiscard]] const std::string& policyd() const { return _session.policyd(); }
  [[nodiscard]] XrlSender* sender() { return _session.sender(); }

 private:
  struct Series {
    std::vector<std::uint32_t> numbers;
    std::size_t next = 0;
    std::function<bool(std::uint32_t)> request;
  };

  template <typename Results>
  auto answer(const char* what, Results results, Gone gone, const Manager* manager) {
    return callback(_lifeline,
                    [this, what, results, gone, manager](const XrlError& error, auto... result) {
                      try {
                        if (is_good(error, what, gone, manager)) results(*result...);
                      } catch (const SenselessAnswer&) {
                        refuse_senseless(what);
                      }
                      if (manager != nullptr) forget_asked(manager);
                      _window.answered();
                    });
  }
  bool is_good(const XrlError& error, const char* what, Gone gone, const Manager* manager);
  void forget_asked(const Manager* manager);
  void refuse_senseless(const char* what);
  Entries run();
  void fail(Failure failure);
  RequestWindow::Sent send_next();
  [[nodiscard]] std::string who_is_silent() const;

  SwitchSession& _session;

 public:
  PolicydClient client;

 private:
  RequestWindow _window;
  Entries _read;
  std::deque<Series> _unsent;
  std::vector<std::pair<const EntryKind*, const Manager*>> _asked;  // and have not answered
  std::vector<std::pair<const EntryKind*, const Manager*>> _absent;
  bool _wants_only_names = false;
  std::optional<Failure> _failure;
  Lifeline _lifeline;
};
