#include "tests/integration/hostile_stranger.h"

#include <array>
#include <cerrno>

#include "tests/integration/hostile_bytes.h"

Stranger::Stranger(EventLoop& loop, const NetAddress& to)
    : _loop(loop), _fd(loop.network().connect(to)) {
  if (_fd < 0) {
    _refused = true;
    return;
  }
  _watch.emplace(loop, _fd, IoInterest::WRITE, [this](IoInterest ready) { on_ready(ready); });
}

Stranger::Stranger(EventLoop& loop, int fd) : _loop(loop), _fd(fd), _connected(true) {
  _watch.emplace(loop, _fd, IoInterest::READ, [this](IoInterest ready) { on_ready(ready); });
}

Stranger::~Stranger() {
  end();
}

void Stranger::say(std::string_view bytes) {
  _out.append(bytes.data(), bytes.size());
  update_interest();
}

void Stranger::set_reading(bool reading) {
  _reading = reading;
  update_interest();
}

void Stranger::leave() {
  end();
}

std::vector<std::string> Stranger::heard() const {
  return hostile_bytes::told(_frames);
}

void Stranger::on_ready(IoInterest ready) {
  if (!_connected) {
    _connected = _loop.network().connect_result(_fd) == 0;
    if (!_connected) {
      _refused = true;
      end();
      return;
    }
  }
  if (wants_write(ready)) write();
  if (_watch && wants_read(ready)) read();
  if (_watch) update_interest();
}

void Stranger::read() {
  std::array<std::uint8_t, 65536> bytes;  // NOLINT(cppcoreguidelines-pro-type-member-init)
  const std::ptrdiff_t count = _loop.network().read(_fd, bytes);
  if (count == -EAGAIN) return;
  if (count <= 0) {
    _refused = true;
    end();
    return;
  }
  _in.append(reinterpret_cast<const char*>(bytes.data()), static_cast<std::size_t>(count));
  std::size_t taken = 0;
  for (std::string& frame : hostile_bytes::frames_of(_in)) {
    taken += 4 + frame.size();
    _frames.push_back(std::move(frame));
  }
  _in.erase(0, taken);
}

void Stranger::write() {
  while (!_out.empty()) {
    const std::ptrdiff_t count = _loop.network().write(_fd, _out.bytes());
    if (count == -EAGAIN) return;
    if (count < 0) {
      // Whoever does not read hears of the end here.
      _refused = true;
      end();
      return;
    }
    _out.consume(static_cast<std::size_t>(count));
  }
}

void Stranger::update_interest() {
  if (!_watch) return;
  const bool writes = !_connected || !_out.empty();
  if (_reading && _connected) {
    _watch->set_interest(writes ? IoInterest::READ_WRITE : IoInterest::READ);
  } else {
    _watch->set_interest(writes ? IoInterest::WRITE : IoInterest::NONE);
  }
}

void Stranger::end() {
  if (!_watch) return;
  _watch.reset();
  _loop.network().close(_fd);
}

StrangerHost::StrangerHost(EventLoop& loop)
    : _loop(loop), _fd(loop.network().listen(NetAddress::tcp(IPv4::loopback(), 0))) {
  _watch.emplace(loop, _fd, IoInterest::READ, [this](IoInterest /*ready*/) { accept(); });
}

StrangerHost::~StrangerHost() {
  _watch.reset();
  _loop.network().close(_fd);
}

NetAddress StrangerHost::address() const {
  return _loop.network().local_address(_fd);
}

void StrangerHost::accept() {
  NetAddress peer;
  const int fd = _loop.network().accept(_fd, peer);
  if (fd >= 0) _strangers.push_back(std::make_unique<Stranger>(_loop, fd));
}
