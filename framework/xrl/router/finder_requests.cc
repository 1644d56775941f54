#include "framework/xrl/router/finder_requests.h"

#include <utility>

#include "framework/xrl/limits.h"

bool FinderRequests::has_room(Purpose purpose, std::size_t bytes) const {
  if (purpose == Purpose::SESSION) return _requests.size() < 2 * xrl_limits::MAX_FINDER_REQUESTS;
  return _requests.size() < xrl_limits::MAX_FINDER_REQUESTS &&
         _bytes + bytes <= xrl_limits::MAX_REQUEST_BYTES_QUEUED;
}

const FinderRequests::Request& FinderRequests::add(std::uint32_t sequence, Request request) {
  _bytes += request.args.size();
  return _requests.emplace(sequence, std::move(request)).first->second;
}

std::optional<FinderRequests::Request> FinderRequests::take(std::uint32_t sequence) {
  auto node = _requests.extract(sequence);
  if (node.empty()) return std::nullopt;
  _bytes -= node.mapped().args.size();
  return std::move(node.mapped());
}
