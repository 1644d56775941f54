#include "platform/sif_tree_follower.h"

#include <new>
#include <optional>
#include <utility>

#include "framework/base/callback.h"
#include "framework/base/retry_timer.h"
#include "framework/base/xlog.h"
#include "framework/xrl/xrl_error.h"
#include "framework/xrl/xrl_sender.h"
#include "platform/interfaces/sif_xif.h"
#include "platform/sif_tree_lists.h"

// One interface manager, from its birth to its death or replacement; what
// still comes for it later finds it gone.
class SifTreeFollower::Life {
 public:
  Life(SifTreeFollower& follower, std::string_view instance)
      : _follower(follower),
        _instance(instance),
        _client(&follower._sender),
        _retry(follower._loop, [this] { or_try_again([this] { follow(); }); }) {
    follow();
  }

  [[nodiscard]] const std::string& instance() const { return _instance; }

  void reborn() {
    if (_in_flight) {
      _follow_again = true;
      return;
    }
    _retry.cancel();
    follow();
  }

  void tree_changed(std::uint64_t serial) {
    if (_in_flight) {
      _told_serial = serial;
    } else if (!_retry.is_waiting() && serial != _read_serial) {
      read();
    }
  }

 private:
  // Observer first, tree second: a change in between is told.
  void follow() {
    _follow_again = false;
    _in_flight = _client.send_register_observer(_instance, _follower._observer,
                                                callback(_lifeline, this, &Life::registered));
    if (!_in_flight) _retry.failed();
  }

  void registered(const XrlError& error) {
    _in_flight = false;
    or_try_again([&] {
      if (error.is_okay()) {
        read();
      } else {
        failed(error);
      }
    });
  }

  void read() {
    _told_serial.reset();
    _in_flight = _client.send_get_tree(
        _instance,
        callback(_lifeline, [this](const XrlError& error, const std::uint64_t* serial,
                                   const XrlAtomList* names, const XrlAtomList* lagmembers,
                                   const XrlAtomList* lagnames, const XrlAtomList* member_lags,
                                   const XrlAtomList* member_names) {
          _in_flight = false;
          or_try_again([&] {
            if (error.is_okay()) {
              answered(*serial, {*names, *lagmembers, *lagnames, *member_lags, *member_names});
            } else {
              failed(error);
            }
          });
        }));
    if (!_in_flight) _retry.failed();
  }

  void answered(std::uint64_t serial, const SifTreeListRefs<const XrlAtomList>& lists) {
    // A copy, since it may destroy the follower, this life included.
    const TreeRead tree_read = _follower._tree_read;
    SifMgrIfTree tree;
    const std::string problem = read_sif_tree(lists, tree);
    if (!problem.empty()) {
      _retry.failed();
      warn("is refused: " + problem);
      return;
    }
    _retry.succeeded();
    _warned = false;
    _read_serial = serial;
    const bool first = std::exchange(_first, false);
    if (_follow_again) {
      follow();
    } else if (_told_serial.has_value() && *_told_serial != serial) {
      read();
    }
    tree_read(std::move(tree), first);
  }

  void failed(const XrlError& error) {
    _retry.failed();
    if (error.reached_target()) warn("is not to be had (" + error.str() + ")");
  }

  // Where memory does not suffice for the step, what it did not come to follows
  // later; nobody else would begin it again.
  template <typename Step>
  void or_try_again(Step step) {
    const auto token = _lifeline.token();
    try {
      step();
    } catch (const std::bad_alloc&) {
      if (token->alive && !_in_flight) _retry.failed();
    }
  }

  // Once until a tree was read; reading goes on.
  void warn(const std::string& problem) {
    if (_warned) return;
    XLOG_WARNING("the interface tree of %s %s; the last one is kept", _instance.c_str(),
                 problem.c_str());
    _warned = true;
  }

  SifTreeFollower& _follower;
  std::string _instance;
  XrlSifV0p1Client _client;
  RetryTimer _retry;
  bool _in_flight = false;
  bool _follow_again = false;
  bool _first = true;
  bool _warned = false;
  std::optional<std::uint64_t> _told_serial;  // while a request is in flight
  std::optional<std::uint64_t> _read_serial;
  Lifeline _lifeline;
};

SifTreeFollower::SifTreeFollower(EventLoop& loop, XrlSender& sender, std::string observer,
                                 TreeRead tree_read)
    : _loop(loop),
      _sender(sender),
      _observer(std::move(observer)),
      _tree_read(std::move(tree_read)) {}

SifTreeFollower::~SifTreeFollower() = default;

void SifTreeFollower::sif_born(std::string_view instance) {
  if (_life != nullptr && _life->instance() == instance) {
    _life->reborn();
  } else {
    _life = std::make_unique<Life>(*this, instance);
  }
}

void SifTreeFollower::sif_died(std::string_view instance) {
  if (_life != nullptr && _life->instance() == instance) _life.reset();
}

void SifTreeFollower::tree_changed(std::uint64_t serial) {
  if (_life != nullptr) _life->tree_changed(serial);
}
