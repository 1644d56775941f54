// FinderRequests: what the finder was asked and has not answered, by sequence
// number, so that it can be asked again in the next session. Holds no more than
// the limits allow.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

class FinderRequests {
 public:
  // Whose request it is, which settles what a lost session means for it: that
  // of a USER and a LOOKUP go again with the next session, what belongs to one
  // SESSION ends with it.
  enum class Purpose : std::uint8_t { USER, LOOKUP, SESSION };
  struct Request {
    Purpose purpose;
    std::string method;
    std::vector<std::uint8_t> args;
  };

  // Whether one more with so many bytes of arguments may be added. The session's
  // own have room beside all others, for none of those is sent before them.
  [[nodiscard]] bool has_room(Purpose purpose, std::size_t bytes) const;
  // The answer stays where it is until it is taken. The number must be new.
  const Request& add(std::uint32_t sequence, Request request);
  // Nothing when there is none.
  std::optional<Request> take(std::uint32_t sequence);
  // Takes those of which `is_finished`, asked by sequence number, answers true.
  template <typename Predicate>
  void forget_if(const Predicate& is_finished) {
    std::erase_if(_requests, [&](const auto& entry) {
      if (!is_finished(entry.first)) return false;
      _bytes -= entry.second.args.size();
      return true;
    });
  }
  // In the order of their numbers.
  [[nodiscard]] const std::map<std::uint32_t, Request>& all() const { return _requests; }

 private:
  std::map<std::uint32_t, Request> _requests;
  std::size_t _bytes = 0;  // of all arguments
};
