#include "bench/redis_hset.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string_view>

#include "bench/measure.h"

namespace {

constexpr const char* PROGRAM = "/usr/bin/redis-server";
constexpr std::string_view STORED = ":6\r\n";  // six new fields
constexpr std::string_view CLEARED = "+OK\r\n";

sockaddr_in loopback(std::uint16_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(port);
  return address;
}

std::uint16_t free_port() {
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address = loopback(0);
  socklen_t size = sizeof address;
  if (bind(fd, reinterpret_cast<sockaddr*>(&address), size) != 0 ||
      getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
    give_up("redis: no free port");
  }
  close(fd);
  return ntohs(address.sin_port);
}

void append_text(std::string& out, std::string_view text) {
  out.append("$").append(std::to_string(text.size())).append("\r\n");
  out.append(text).append("\r\n");
}

// What stands behind the name of the hash in its command.
std::string encoded_fields(const RuleValues& values) {
  std::string out;
  for (std::size_t field = 0; field < FIELDS_OF_RULE; ++field) {
    append_text(out, std::to_string(RULE_FIELDS[field]));
    append_text(out, values[field]);
  }
  return out;
}

class Connection {
 public:
  explicit Connection(std::uint16_t port) : _fd(socket(AF_INET, SOCK_STREAM, 0)) {
    const sockaddr_in address = loopback(port);
    if (connect(_fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
      give_up("redis: cannot connect");
    }
    const int on = 1;
    setsockopt(_fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  }
  ~Connection() { close(_fd); }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  void write(std::string_view bytes) const {
    while (!bytes.empty()) {
      const ssize_t wrote = send(_fd, bytes.data(), bytes.size(), 0);
      if (wrote <= 0) give_up("redis: write");
      bytes.remove_prefix(static_cast<std::size_t>(wrote));
    }
  }
  // Sleeps until there are some; how many whole answers came, each of which
  // has to be `wanted`.
  std::size_t read_answers(std::string_view wanted) {
    char bytes[65536];
    const ssize_t got = recv(_fd, bytes, sizeof bytes, 0);
    if (got <= 0) give_up("redis: read");
    std::size_t answers = 0;
    for (const char byte : std::string_view(bytes, static_cast<std::size_t>(got))) {
      if (byte != wanted[_place]) give_up("redis: wrong answer");
      if (++_place < wanted.size()) continue;
      _place = 0;
      ++answers;
    }
    return answers;
  }

 private:
  int _fd;
  std::size_t _place = 0;  // within the answer that is being read
};

}  // namespace

std::unique_ptr<RedisServer> RedisServer::start(int cpu) {
  if (access(PROGRAM, X_OK) != 0) return nullptr;
  std::unique_ptr<RedisServer> server(new RedisServer(free_port(), cpu));
  if (!server->_process.wait_for_output("Ready to accept connections")) {
    give_up("redis: " + server->_process.output());
  }
  return server;
}

RedisServer::RedisServer(std::uint16_t port, int cpu)
    : _port(port),
      _process({{PROGRAM, "--port", std::to_string(port), "--bind", "127.0.0.1", "--save", "",
                 "--appendonly", "no"},
                {},
                cpu,
                {}}) {}

double RedisServer::set_rules(const std::vector<RuleValues>& samples, std::size_t count,
                              std::size_t in_flight) const {
  std::vector<std::string> fields;
  for (const RuleValues& values : samples) fields.push_back(encoded_fields(values));
  Connection connection(_port);
  std::string out;
  const Stopwatch watch;
  std::size_t sent = 0;
  for (std::size_t answered = 0; answered < count;) {
    out.clear();
    for (; sent < count && sent - answered < in_flight; ++sent) {
      out.append("*14\r\n$4\r\nHSET\r\n");
      append_text(out, "rule:" + std::to_string(sent));
      out.append(fields[sent % fields.size()]);
    }
    connection.write(out);
    answered += connection.read_answers(STORED);
  }
  return watch.seconds();
}

void RedisServer::clear() const {
  Connection connection(_port);
  connection.write("*1\r\n$8\r\nFLUSHALL\r\n");
  while (connection.read_answers(CLEARED) == 0) {
  }
}
