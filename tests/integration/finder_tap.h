// Stands between processes and the finder, passes all on and writes down what they
// say.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "framework/base/event_loop.h"
#include "tests/integration/control_plane.h"

class FinderTap {
 public:
  // Works while the loop of the plane's client turns.
  explicit FinderTap(ControlPlane& plane);
  ~FinderTap();
  FinderTap(const FinderTap&) = delete;
  FinderTap& operator=(const FinderTap&) = delete;

  // What those that are to be listened to are told of the finder: "127.0.0.1:4711".
  [[nodiscard]] std::string address() const;
  // Everything that was said to the finder, connection after connection.
  [[nodiscard]] std::string said() const;
  // The places in what was said behind each request for a method of the finder.
  [[nodiscard]] static std::vector<std::size_t> requests_in(const std::string& said,
                                                            std::string_view method);

 private:
  struct Pair {
    Pair(EventLoop& event_loop, int from_process, int to_finder)
        : loop(event_loop), process(from_process), finder(to_finder) {}
    ~Pair();
    Pair(const Pair&) = delete;
    Pair& operator=(const Pair&) = delete;

    EventLoop& loop;
    int process;
    int finder;
    std::string said;
    std::unique_ptr<Watch> up;  // once the finder is connected
    std::unique_ptr<Watch> down;
  };

  void accept();
  void finder_is_ready(Pair& pair);
  void pass_on(Pair& pair, int from, int to, std::string* record);

  EventLoop& _loop;
  NetAddress _finder;
  int _listener;
  std::unique_ptr<Watch> _watch;
  std::vector<std::unique_ptr<Pair>> _pairs;
};
