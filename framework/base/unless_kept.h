// UnlessKept: a step of several that is taken back when the others cannot be
// done, so that an operation that throws on the way has changed nothing.
//
//     const auto place = names.insert(name).first;
//     UnlessKept step([&] { names.erase(place); });
//     numbers.insert(number);           // may throw
//     step.keep();
#pragma once

#include <utility>

template <typename Undo>
class UnlessKept {
 public:
  // `undo` must not throw; it runs when the object goes, unless keep() was called.
  explicit UnlessKept(Undo undo) : _undo(std::move(undo)) {}
  ~UnlessKept() {
    if (!_kept) _undo();
  }
  UnlessKept(const UnlessKept&) = delete;
  UnlessKept& operator=(const UnlessKept&) = delete;
  void keep() { _kept = true; }

 private:
  Undo _undo;
  bool _kept = false;
};
