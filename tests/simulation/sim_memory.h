// The memory of a simulated process, which can run out: the operator new of the
// programs that this is linked into is replaced.
#pragma once

class SimMemory {
 public:
  // While one lives every allocation fails, but for those within an Exempt: what
  // the simulation does for a process is none of its own.
  class Shortage {
   public:
    explicit Shortage(bool is_short);
    ~Shortage();
    Shortage(const Shortage&) = delete;
    Shortage& operator=(const Shortage&) = delete;
    // How many allocations failed.
    [[nodiscard]] static unsigned failures();
  };
  class Exempt {
   public:
    Exempt();
    ~Exempt();
    Exempt(const Exempt&) = delete;
    Exempt& operator=(const Exempt&) = delete;

   private:
    bool _was_short;
  };
};
