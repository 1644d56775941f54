#include "framework/base/host_name.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>

#include <memory>

bool resolve_host_name(const std::string& host, IPv4& address) {
  if (IPv4::parse(host, address)) return true;
  if (host.empty()) return false;
  addrinfo hints{};
  hints.ai_family = AF_INET;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  if (getaddrinfo(host.c_str(), nullptr, &hints, &found) != 0) return false;
  const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> list(found, &freeaddrinfo);
  const auto* first = reinterpret_cast<const sockaddr_in*>(list->ai_addr);
  address = IPv4(ntohl(first->sin_addr.s_addr));
  return true;
}
