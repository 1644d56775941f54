// One list of rules in the kernel: its tables, its counters and its program.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "linuxcard/classifier/compile.h"
#include "linuxcard/classifier/table_layout.h"

// A descriptor that closes itself.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int fd) : _fd(fd) {}
  Descriptor(Descriptor&& other) noexcept : _fd(std::exchange(other._fd, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(_fd, other._fd);
    return *this;
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor();

  [[nodiscard]] int get() const { return _fd; }
  [[nodiscard]] bool is_open() const { return _fd >= 0; }

 private:
  int _fd = -1;
};

// The kernel did not take it; what() is a sentence without its stop.
class LoadError : public std::system_error {
 public:
  LoadError(int error, const std::string& what)
      : std::system_error(error, std::generic_category(), what) {}
};

// Memory that the kernel's program reads, too.
class SharedTables {
 public:
  SharedTables() = default;
  // At `address`, where nothing may be; anywhere when that is 0. Throws LoadError.
  SharedTables(int map, std::size_t bytes, std::uint64_t address);
  SharedTables(SharedTables&& other) noexcept;
  SharedTables& operator=(SharedTables&& other) noexcept;
  SharedTables(const SharedTables&) = delete;
  SharedTables& operator=(const SharedTables&) = delete;
  ~SharedTables();

  [[nodiscard]] std::span<std::uint32_t> cells() const {
    return {static_cast<std::uint32_t*>(_memory), _bytes / sizeof(std::uint32_t)};
  }

 private:
  void* _memory = nullptr;
  std::size_t _bytes = 0;
};

// How the tables are kept: in an arena, where the kernel has them (6.9) and the process
// CAP_PERFMON besides CAP_BPF, or in an array map, which needs kernel 6.1 and CAP_BPF.
enum class TableForm { ARENA, ARRAY };

// What this process can use here, found out by trying.
[[nodiscard]] TableForm best_table_form();

class LoadedList {
 public:
  // `interfaces` is the map of InterfaceFacts that the program asks. Throws LoadError.
  LoadedList(const CompiledList& list, TableForm form, int interfaces);

  // Of a program and its maps that were pinned in `folder`; none when something is missing.
  [[nodiscard]] static std::optional<LoadedList> open(const std::string& folder);
  // Makes the folder. Throws LoadError.
  void pin(const std::string& folder) const;

  [[nodiscard]] int program() const { return _program.get(); }
  [[nodiscard]] const ListHeader& header() const { return _header; }
  [[nodiscard]] std::span<const std::uint32_t> cells() const { return _tables.cells(); }
  [[nodiscard]] std::uint64_t memory_bytes() const;

  // Asks the list of `program` when no rule of this one matches; -1 for none. Throws
  // LoadError.
  void continue_with(int program) const;
  // Lets these rules match, in one step; see enabled_words().
  void enable(std::span<const std::uint64_t> words) const;
  // By index in the list; of one that was opened, some more behind the last.
  [[nodiscard]] std::vector<RuleHits> hits() const;

 private:
  LoadedList() = default;

  ListHeader _header{};
  std::uint32_t _rules = 0;
  Descriptor _program;
  Descriptor _tables_map;
  Descriptor _hits;
  Descriptor _next;
  Descriptor _constants;
  SharedTables _tables;
};
