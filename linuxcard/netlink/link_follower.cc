#include "linuxcard/netlink/link_follower.h"

#include <cerrno>
#include <cstring>
#include <utility>

#include "framework/base/xlog.h"

namespace {

// Reads of a turn; the rest is read in the next one, so that nothing else starves.
constexpr int READS_PER_TURN = 64;

}  // namespace

LinkFollower::LinkFollower(EventLoop& loop, RouteSocket& socket, Changed changed)
    : _socket(socket),
      _changed(std::move(changed)),
      _buffer(RouteSocket::MESSAGE_BYTES),
      _retry(loop, [this] { read_all(); }),
      _tell(loop, [this] { tell(); }) {
  _socket.on_ready([this] { receive(); });
  read_all();
}

void LinkFollower::read_all() {
  read(RouteDump::LINKS, {});
}

// What the socket tells of its own accord meanwhile is in the order of its answers.
void LinkFollower::read(RouteDump what, LinkTable so_far) {
  _reading.emplace(Reading{what, ++_sequence, false, std::move(so_far)});
  const int error = _socket.request(what, _sequence);
  if (error != 0) read_failed(error);
}

void LinkFollower::read_failed(int error) {
  _reading.reset();
  if (!_warned) {
    XLOG_WARNING("The kernel does not tell of its links: %s; trying again.", std::strerror(error));
    _warned = true;
  }
  _retry.failed();
}

void LinkFollower::receive() {
  for (int i = 0; i < READS_PER_TURN; ++i) {
    const int size = _socket.receive(_buffer);
    if (size == 0) return;
    if (size < 0) {
      ++_overruns;
      // Of a dump that is under way the rest may be lost, too.
      if (size == -ENOBUFS) {
        read_all();
      } else {
        read_failed(-size);
      }
      return;
    }
    const bool sound =
        parse_route_messages(std::span(_buffer).first(static_cast<std::size_t>(size)),
                             [this](const RouteMessage& message) { take(message); });
    if (!sound) XLOG_WARNING("The kernel told something of a link that makes no sense.");
  }
}

void LinkFollower::take(const RouteMessage& message) {
  using Kind = RouteMessage::Kind;
  if (message.kind == Kind::DUMP_END || message.kind == Kind::DUMP_REFUSED) {
    take_answer(message);
    return;
  }
  const bool is_answer = _reading && message.sequence == _reading->sequence;
  if (is_answer && message.interrupted) _reading->torn = true;
  if (_reading) apply(message, _reading->fresh);
  if (is_answer) return;
  // A change that a bridge tells of may be a part of what there is; all of it is read.
  if (message.kind == Kind::BRIDGE_PORT) {
    _vlans_due = true;
    if (!_reading) reading_ended();
    return;
  }
  apply(message, _table);
  if (_complete) _tell.schedule();
}

void LinkFollower::take_answer(const RouteMessage& message) {
  if (!_reading || message.sequence != _reading->sequence) return;
  // A kernel without bridges has nothing to tell of their VLANs.
  const bool nothing_there = _reading->what == RouteDump::BRIDGE_VLANS;
  if (message.kind == RouteMessage::Kind::DUMP_REFUSED && !nothing_there) {
    read_failed(message.error);
    return;
  }
  if (_reading->torn || message.interrupted) {
    read_all();
    return;
  }
  if (_reading->what == RouteDump::LINKS) {
    _vlans_due = false;
    LinkTable links = std::move(_reading->fresh);
    links.vlans.clear();
    read(RouteDump::BRIDGE_VLANS, std::move(links));
    return;
  }
  _table = std::move(_reading->fresh);
  _reading.reset();
  _complete = true;
  _warned = false;
  _retry.cancel();
  _tell.schedule();
  reading_ended();
}

void LinkFollower::reading_ended() {
  if (!_vlans_due || !_complete) return;
  _vlans_due = false;
  LinkTable links = _table;
  links.vlans.clear();
  read(RouteDump::BRIDGE_VLANS, std::move(links));
}

void LinkFollower::apply(const RouteMessage& message, LinkTable& table) {
  switch (message.kind) {
    case RouteMessage::Kind::LINK:
      table.links[message.link.index] = message.link;
      break;
    case RouteMessage::Kind::LINK_GONE:
      table.links.erase(message.link.index);
      table.vlans.erase(message.link.index);
      break;
    case RouteMessage::Kind::BRIDGE_PORT:
      table.vlans[message.link.index] = message.vlans;
      break;
    case RouteMessage::Kind::BRIDGE_PORT_GONE:
      table.vlans.erase(message.link.index);
      break;
    default:
      break;
  }
}

void LinkFollower::tell() {
  if (!_complete || _told == _table) return;
  _told = _table;
  _changed(_table);
}
