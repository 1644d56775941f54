// Where a program looks at what comes in by an interface.
//
// Two ways: tcx, where the kernel has it (6.6), and a filter of a clsact qdisc. Both
// replace a program in one step. Other programs at the interface stay, and see what
// this one lets pass.
#pragma once

#include <cstdint>
#include <vector>

class InterfaceHook {
 public:
  virtual ~InterfaceHook() = default;

  // The ids of programs at the interface, of which some may be others'.
  [[nodiscard]] virtual std::vector<std::uint32_t> programs(std::uint32_t ifindex) const = 0;
  // Puts `program` there, in place of `old` unless that is -1. Both throw LoadError.
  virtual void attach(std::uint32_t ifindex, int program, int old) = 0;
  // No error when the interface has gone.
  virtual void detach(std::uint32_t ifindex, int program) = 0;
};

class TcxHook : public InterfaceHook {
 public:
  [[nodiscard]] static bool is_supported();
  [[nodiscard]] std::vector<std::uint32_t> programs(std::uint32_t ifindex) const override;
  void attach(std::uint32_t ifindex, int program, int old) override;
  void detach(std::uint32_t ifindex, int program) override;
};

// Leaves an empty clsact qdisc behind, which others may have come to use.
class ClsactHook : public InterfaceHook {
 public:
  [[nodiscard]] std::vector<std::uint32_t> programs(std::uint32_t ifindex) const override;
  void attach(std::uint32_t ifindex, int program, int old) override;
  void detach(std::uint32_t ifindex, int program) override;
};
