// Orphans: the processes that processes under test leave behind come to this one, and
// end when this ends.
#pragma once

class Orphans {
 public:
  // From now on, for the rest of this process.
  Orphans();
  // Kills (-9) and buries every child this process still has, whoever started it.
  ~Orphans();
  Orphans(const Orphans&) = delete;
  Orphans& operator=(const Orphans&) = delete;
};
