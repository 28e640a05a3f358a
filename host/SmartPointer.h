#pragma once

#include <cstddef>
#include <memory>
#include <type_traits>
#include <utility>

namespace host_detail {
// Throws TOVNullPointerException (kept out of line so that this header needs
// no exception declarations).
[[noreturn]] void throwNullPointer();
}  // namespace host_detail

// TOVSmrPtr<T>: the host's reference-counted smart pointer. The count lives in
// a separate, atomically counted block that all copies share, and the deleter
// is captured when the pointer is first made from a raw pointer, so a
// TOVSmrPtr of a type that is only declared may be copied and destroyed.
//
// Copies, conversions from TOVSmrPtr<Derived> and the explicit
// staticCast/dynamicCast share one count. operator== compares the objects
// pointed to by identity (two null pointers are equal). operator-> and
// operator* of a null pointer throw TOVNullPointerException; get() returns the
// raw pointer (possibly null) without checking.
//
// Threads: like std::shared_ptr: distinct pointer objects that share an object
// may be used on different threads; one pointer object is not synchronised.
template <typename T>
class TOVSmrPtr {
 public:
  using element_type = T;

  TOVSmrPtr() noexcept = default;
  TOVSmrPtr(std::nullptr_t) noexcept {}  // NOLINT
  // Takes ownership of object (which may be null).
  template <typename U, typename = std::enable_if_t<std::is_convertible_v<U*, T*>>>
  explicit TOVSmrPtr(U* object) : _ptr(object) {}
  template <typename U, typename = std::enable_if_t<std::is_convertible_v<U*, T*>>>
  TOVSmrPtr(const TOVSmrPtr<U>& other) noexcept : _ptr(other._ptr) {}  // NOLINT
  template <typename U, typename = std::enable_if_t<std::is_convertible_v<U*, T*>>>
  TOVSmrPtr(TOVSmrPtr<U>&& other) noexcept : _ptr(std::move(other._ptr)) {}  // NOLINT

  T* operator->() const {
    if (!_ptr) host_detail::throwNullPointer();
    return _ptr.get();
  }
  T& operator*() const {
    if (!_ptr) host_detail::throwNullPointer();
    return *_ptr;
  }
  T* get() const noexcept { return _ptr.get(); }

  bool isNull() const noexcept { return !_ptr; }
  explicit operator bool() const noexcept { return static_cast<bool>(_ptr); }
  // Number of pointers sharing the object (0 for a null pointer).
  long useCount() const noexcept { return _ptr.use_count(); }
  void reset() noexcept { _ptr.reset(); }

  template <typename U>
  TOVSmrPtr<U> staticCast() const noexcept {
    return TOVSmrPtr<U>(std::static_pointer_cast<U>(_ptr));
  }
  // Null when the object is not a U.
  template <typename U>
  TOVSmrPtr<U> dynamicCast() const noexcept {
    return TOVSmrPtr<U>(std::dynamic_pointer_cast<U>(_ptr));
  }

  template <typename U>
  bool operator==(const TOVSmrPtr<U>& other) const noexcept {
    return _ptr.get() == other.get();
  }
  bool operator==(std::nullptr_t) const noexcept { return !_ptr; }

 private:
  template <typename U>
  friend class TOVSmrPtr;
  template <typename U, typename... Args>
  friend TOVSmrPtr<U> makeTOVSmrPtr(Args&&... args);
  explicit TOVSmrPtr(std::shared_ptr<T>&& ptr) noexcept : _ptr(std::move(ptr)) {}

  std::shared_ptr<T> _ptr;
};

// A new T built from args, held by a TOVSmrPtr, with the object and its count
// in one allocation (TOVSmrPtr<T>(new T(...)) makes two). The pointer behaves
// like any other TOVSmrPtr.
template <typename T, typename... Args>
TOVSmrPtr<T> makeTOVSmrPtr(Args&&... args) {
  return TOVSmrPtr<T>(std::make_shared<T>(std::forward<Args>(args)...));
}
