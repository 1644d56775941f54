// What happened in a simulation, event by event. Two runs from the same seed
// give the same events. An event is a text, or what one end of a connection did;
// lines are made of the youngest when somebody wants to read them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <span>
#include <string>
#include <string_view>

#include "tests/simulation/sim_world_agenda.h"

// Fast, and the same on every machine.
class SimHash {
 public:
  void add(std::uint64_t number);
  void add(std::span<const std::uint8_t> bytes);
  void add(std::string_view text);
  [[nodiscard]] std::uint64_t value() const { return _value; }

 private:
  std::uint64_t _value = 0xcbf29ce484222325U;
};

class SimTrace {
 public:
  // The youngest lines are kept, to be shown when a run fails.
  static constexpr std::size_t KEPT_LINES = 2000;

  // What an end of a connection did.
  enum class Act : std::uint8_t {
    ACCEPT,
    ARRIVE,
    CLOSE,
    CONNECTED,
    END,
    FAILED,
    NO_DESCRIPTOR,
    READ,
    RESET,
    WRITE,
  };
  struct End {
    std::uint64_t connection;
    bool is_client;
  };

  explicit SimTrace(const SimAgenda& agenda) : _agenda(agenda) {}

  void add(std::string_view text);
  // `number` says how many bytes, or which error; `content` tells bytes apart.
  void add(End end, Act act, std::uint64_t number = 0, std::uint64_t content = 0);

  // Of every event since the beginning.
  [[nodiscard]] std::uint64_t hash() const { return _hash.value(); }
  [[nodiscard]] std::uint64_t line_count() const { return _line_count; }
  // Each "SECONDS.NANOSECONDS TEXT".
  [[nodiscard]] std::deque<std::string> lines() const;
  // The last `count` lines, each ended by a line break.
  [[nodiscard]] std::string tail(std::size_t count) const;

 private:
  struct Event {
    TimePoint time;
    std::string text;  // empty: an end's
    End end;
    Act act;
    std::uint64_t number;
    std::uint64_t content;
  };

  [[nodiscard]] static std::string line_of(const Event& event);
  Event& next_event();

  const SimAgenda& _agenda;
  SimHash _hash;
  std::uint64_t _line_count = 0;
  std::deque<Event> _events;  // a ring once it is full, the oldest at _oldest
  std::size_t _oldest = 0;
};
