// ref_ptr: a shared pointer for one thread. The count lives in the object
// (RefCounted), so a reference costs one plain increment.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

class RefCounted {
 public:
  RefCounted(const RefCounted&) = delete;
  RefCounted& operator=(const RefCounted&) = delete;

 protected:
  RefCounted() = default;
  virtual ~RefCounted() = default;

 private:
  template <typename T>
  friend class ref_ptr;
  std::uint32_t _references = 0;
};

// NOLINTNEXTLINE(readability-identifier-naming): the framework's established name
template <typename T>
class ref_ptr {
 public:
  constexpr ref_ptr() = default;
  // A null pointer and a pointer to a derived class convert by themselves.
  // NOLINTBEGIN(google-explicit-constructor)
  constexpr ref_ptr(std::nullptr_t) {}
  // Takes a share of `object`, which must have been made with new.
  explicit ref_ptr(T* object) : _object(object) { retain(); }
  ref_ptr(const ref_ptr& other) : _object(other._object) { retain(); }
  ref_ptr(ref_ptr&& other) noexcept : _object(std::exchange(other._object, nullptr)) {}
  template <typename U>
  requires std::is_convertible_v<U*, T*> ref_ptr(const ref_ptr<U>& other) : _object(other.get()) {
    retain();
  }
  template <typename U>
  requires std::is_convertible_v<U*, T*> ref_ptr(ref_ptr<U>&& other)
  noexcept : _object(other.detach()) {}
  // NOLINTEND(google-explicit-constructor)
  ~ref_ptr() { release(); }

  ref_ptr& operator=(ref_ptr other) noexcept {
    std::swap(_object, other._object);
    return *this;
  }

  [[nodiscard]] T* get() const { return _object; }
  T* operator->() const { return _object; }
  T& operator*() const { return *_object; }
  explicit operator bool() const { return _object != nullptr; }
  [[nodiscard]] bool is_empty() const { return _object == nullptr; }
  void reset() { *this = ref_ptr(); }

  // Gives up this share without counting it down.
  [[nodiscard]] T* detach() { return std::exchange(_object, nullptr); }

  bool operator==(const ref_ptr&) const = default;

 private:
  template <typename U>
  friend class ref_ptr;

  void retain() {
    if (_object != nullptr) ++static_cast<RefCounted*>(_object)->_references;
  }
  void release() {
    if (_object == nullptr) return;
    RefCounted* counted = _object;
    if (--counted->_references == 0) delete counted;
  }

  T* _object = nullptr;
};
