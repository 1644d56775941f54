// NearestName: which of the names there are was probably meant by one that is
// not there, for the texts of refusals.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

class NearestName {
 public:
  static constexpr std::size_t MAX_ROWS = 4096;

  // `wanted` must outlive this object.
  explicit NearestName(std::string_view wanted);

  // Takes the candidate when it is nearer than those before, counting the
  // characters that were inserted, removed, replaced, or swapped with their
  // neighbour. One further away than a third of the wanted name (three at
  // most) is no slip of the finger and is not taken. Looks at as many of the
  // wanted name's characters as it takes to tell; once that were MAX_ROWS for
  // all candidates together, none is taken any more, so that a refusal takes no
  // time that others would notice.
  void consider(std::string_view candidate);

  // The nearest one, the first considered among equals; empty when there is
  // none.
  [[nodiscard]] const std::string& name() const { return _name; }

  // The end of a refusal: "; is 'policy' meant?", or "." when there is none.
  [[nodiscard]] std::string question() const;

 private:
  std::string_view _wanted;
  std::size_t _limit;  // a candidate must be nearer than this
  std::size_t _rows_left = MAX_ROWS;
  std::string _name;
};
