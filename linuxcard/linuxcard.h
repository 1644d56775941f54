// Linuxcard: the machine's own kernel as a switch: the targets of a switch platform in front
// of its links, and a data path that makes packets obey policyd.
//
// sif, vlan and card_manager begin when the links were read whole: an interface that is
// missing from them once costs policyd its bindings. What they and the data path show then
// follows the links. Nothing that is in force in the kernel goes when the process goes.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "linuxcard/configuration.h"
#include "linuxcard/data_path_runner.h"
#include "linuxcard/follow/policy_follower.h"
#include "linuxcard/kept_state.h"
#include "linuxcard/linuxcard_target.h"
#include "linuxcard/netlink/link_follower.h"
#include "platform/managers/switch_model.h"
#include "platform/managers/target_set.h"

class Linuxcard : private SwitchObserver {
 public:
  struct Options {
    Configuration configuration;
    FinderPlace finder;
    std::string state_file;            // empty: nothing is kept
    std::function<LocalMoment()> now;  // by which time ranges hold
  };

  // All must outlive it.
  Linuxcard(EventLoop& loop, RouteSocket& socket, DataPathRunner& data_path, Options options);
  ~Linuxcard() override;
  Linuxcard(const Linuxcard&) = delete;
  Linuxcard& operator=(const Linuxcard&) = delete;

  // The links were read and all targets have registered with the finder.
  [[nodiscard]] bool is_ready() const;
  // The target "linuxcard" was asked to shut down.
  [[nodiscard]] bool is_done() const { return _target.shutdown_requested(); }

  [[nodiscard]] const SwitchModel& model() const { return _model; }
  [[nodiscard]] const PolicyFollower& follower() const { return _follower; }
  [[nodiscard]] const LinkFollower& links() const { return _links; }

 private:
  [[nodiscard]] PolicyFollower::Options follower_options();
  void links_changed(const LinkTable& table);
  void show();
  void add_targets();
  void line_card_added(std::uint32_t slot) override;
  void port_programmed(const Usp& port) override;
  void keep();

  // Between the first of many changes and their writing.
  static constexpr std::chrono::seconds KEEP_DELAY{1};

  EventLoop& _loop;
  Options _options;
  SwitchProcess _process;
  KeptState _kept;
  SwitchModel _model;
  LinuxcardTarget _target;
  PolicyFollower _follower;
  TargetSet _targets;
  bool _has_targets = false;
  bool _programmable = true;
  Timer _keep;
  LinkFollower _links;
};
