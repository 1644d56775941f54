// XrlAtomList: a list of atoms, kept in the form it has on the wire, so that
// a list of a hundred thousand numbers or texts is one run of bytes: appending
// costs a copy of the value, sending it a copy of the run.
//
// A list either owns its bytes or, when it was decoded from a frame, borrows
// them; a borrowed list lives as long as the frame, that is until the handler
// or callback it was given to returns. A copy always owns its bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "framework/xrl/wire_layout.h"
#include "framework/xrl/xrl_atom.h"

class XrlAtomList {
 public:
  XrlAtomList() = default;
  // A copy owns its bytes; what was moved from is empty.
  XrlAtomList(const XrlAtomList& other);
  XrlAtomList(XrlAtomList&& other) noexcept;
  XrlAtomList& operator=(const XrlAtomList& other);
  XrlAtomList& operator=(XrlAtomList&& other) noexcept;
  ~XrlAtomList() = default;

  [[nodiscard]] std::size_t size() const { return _count; }
  [[nodiscard]] bool empty() const { return _count == 0; }

  // Appending to a list of limits' length or past the depth limit is allowed
  // here; such a list is refused when it is sent. `atom` is of some type.
  void append(std::uint32_t value) {
    if (_element_type != XrlAtomType::U32 || _borrowed) [[unlikely]]
      return append(XrlAtom::unnamed(value));
    std::uint8_t raw[wire_layout::BYTES_OF<std::uint32_t>];
    wire_layout::store(raw, value);
    _own.append(reinterpret_cast<const char*>(raw), sizeof raw);
    ++_count;
  }
  void append(std::string_view text);
  void append(const char* text) { append(std::string_view(text)); }
  void append(const XrlAtom& atom);
  void clear();

  // True for an empty list and when every element is unnamed and of `type`.
  [[nodiscard]] bool holds_only(XrlAtomType type) const {
    return _count == 0 || _element_type == type;
  }
  // The elements' common type; NONE when the list is empty or they differ or
  // have names.
  [[nodiscard]] XrlAtomType element_type() const { return _element_type; }

  // Element `index`, which must be below size(). Linear in `index` except for
  // lists of values of one size; walk other long lists with texts() or atoms().
  [[nodiscard]] XrlAtom get(std::size_t index) const;
  // Throws XrlWrongType unless the list holds only u32; constant time.
  [[nodiscard]] std::uint32_t u32_at(std::size_t index) const;

  // The elements in order, to walk with a range-for. Throws XrlWrongType when
  // the list holds anything else. Valid while the list stays as it is.
  class U32s;
  class Texts;
  [[nodiscard]] U32s u32s() const;
  [[nodiscard]] Texts texts() const;
  // Binaries, each as the text of its bytes.
  [[nodiscard]] Texts binaries() const;
  // The elements in order, whatever they are, each as an atom of its own.
  class Atoms;
  [[nodiscard]] Atoms atoms() const;

  // False when the list, or one within it, has more elements, a longer text or
  // more lists within each other than may be sent.
  [[nodiscard]] bool within_limits() const;

  // The value part of the textual form, and its inverse (XrlParseError).
  [[nodiscard]] std::string str() const;
  [[nodiscard]] static XrlAtomList parse(std::string_view text);

  // Equal elements, names included, in equal order.
  bool operator==(const XrlAtomList& other) const;

  // For the codec: the encoded elements, and a list that borrows them. They
  // were checked; ones encoded as whole atoms that need not be (all unnamed and
  // of one type) are copied into the shorter form instead.
  [[nodiscard]] std::string_view encoded() const {
    return _borrowed ? _view : std::string_view(_own);
  }
  [[nodiscard]] static XrlAtomList borrow(XrlAtomType element_type, std::size_t count,
                                          std::string_view encoded);

 private:
  // The encoded elements.
  struct Run {
    const std::uint8_t* begin;
    const std::uint8_t* end;
  };
  [[nodiscard]] Run run() const {
    const auto* begin = reinterpret_cast<const std::uint8_t*>(encoded().data());
    return {begin, begin + encoded().size()};
  }

  void own();
  void become_mixed();
  void become_uniform(XrlAtomType type);
  void require(XrlAtomType type) const {
    if (!holds_only(type)) [[unlikely]]
      throw XrlWrongType(type, _element_type);
  }
  void require_element(std::size_t index) const {
    if (index >= _count) [[unlikely]]
      no_such_element(index);
  }
  [[noreturn]] void no_such_element(std::size_t index) const;

  XrlAtomType _element_type = XrlAtomType::NONE;
  bool _borrowed = false;
  std::size_t _count = 0;
  std::string _own;
  std::string_view _view;
};

class XrlAtomList::U32s {
 public:
  class iterator {
   public:
    using value_type = std::uint32_t;
    using difference_type = std::ptrdiff_t;
    explicit iterator(const std::uint8_t* at) : _at(at) {}
    std::uint32_t operator*() const { return wire_layout::load<std::uint32_t>(_at); }
    iterator& operator++() {
      _at += BYTES;
      return *this;
    }
    bool operator==(const iterator&) const = default;

   private:
    const std::uint8_t* _at;
  };
  explicit U32s(Run run) : _run(run) {}
  [[nodiscard]] iterator begin() const { return iterator(_run.begin); }
  [[nodiscard]] iterator end() const { return iterator(_run.end); }
  [[nodiscard]] std::size_t size() const {
    return static_cast<std::size_t>(_run.end - _run.begin) / BYTES;
  }

 private:
  static constexpr std::size_t BYTES = wire_layout::BYTES_OF<std::uint32_t>;

  Run _run;
};

class XrlAtomList::Texts {
 public:
  class iterator {
   public:
    using value_type = std::string_view;
    using difference_type = std::ptrdiff_t;
    explicit iterator(const std::uint8_t* at) : _at(at) {}
    std::string_view operator*() const { return wire_layout::view_text(_at); }
    iterator& operator++() {
      _at += wire_layout::counted_bytes(_at);
      return *this;
    }
    bool operator==(const iterator&) const = default;

   private:
    const std::uint8_t* _at;
  };
  Texts(Run run, std::size_t count) : _run(run), _count(count) {}
  [[nodiscard]] iterator begin() const { return iterator(_run.begin); }
  [[nodiscard]] iterator end() const { return iterator(_run.end); }
  [[nodiscard]] std::size_t size() const { return _count; }

 private:
  Run _run;
  std::size_t _count;
};

class XrlAtomList::Atoms {
 public:
  class iterator {
   public:
    using value_type = XrlAtom;
    using difference_type = std::ptrdiff_t;
    iterator(const std::uint8_t* at, XrlAtomType element_type)
        : _at(at), _element_type(element_type) {}
    XrlAtom operator*() const;
    iterator& operator++();
    bool operator==(const iterator& other) const { return _at == other._at; }

   private:
    const std::uint8_t* _at;
    XrlAtomType _element_type;
  };
  Atoms(Run run, XrlAtomType element_type) : _run(run), _element_type(element_type) {}
  [[nodiscard]] iterator begin() const { return {_run.begin, _element_type}; }
  [[nodiscard]] iterator end() const { return {_run.end, _element_type}; }

 private:
  Run _run;
  XrlAtomType _element_type;
};

inline std::uint32_t XrlAtomList::u32_at(std::size_t index) const {
  require(XrlAtomType::U32);
  require_element(index);
  constexpr std::size_t BYTES = wire_layout::BYTES_OF<std::uint32_t>;
  return wire_layout::load<std::uint32_t>(run().begin + index * BYTES);
}
inline XrlAtomList::U32s XrlAtomList::u32s() const {
  require(XrlAtomType::U32);
  return U32s(run());
}
inline XrlAtomList::Texts XrlAtomList::texts() const {
  require(XrlAtomType::TEXT);
  return {run(), _count};
}
inline XrlAtomList::Texts XrlAtomList::binaries() const {
  require(XrlAtomType::BINARY);
  return {run(), _count};
}
inline XrlAtomList::Atoms XrlAtomList::atoms() const {
  return {run(), _element_type};
}
