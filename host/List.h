#pragma once

#include <cstddef>
#include <utility>
#include <vector>

#include "host/Exception.h"

// TOVValSlist<T>: the host's value list. Elements are kept in insertion order
// (as moved by insertAt/removeAt); equality of elements is T's operator==
// (for TOVSmrPtr, object identity).
//
// Elements are stored contiguously, so appending and iterating allocate no
// memory per element. Removing an element invalidates iterators; callers that
// remove while walking walk a copy.
//
// Threads: not synchronised; concurrent reads are safe, a write needs the
// caller's exclusion.
template <typename T>
class TOVValSlist {
 public:
  using value_type = T;
  using const_iterator = typename std::vector<T>::const_iterator;
  using iterator = typename std::vector<T>::iterator;

  TOVValSlist() = default;
  TOVValSlist(const TOVValSlist&) = default;  // element-wise copy
  TOVValSlist(TOVValSlist&&) noexcept = default;
  TOVValSlist& operator=(const TOVValSlist&) = default;
  TOVValSlist& operator=(TOVValSlist&&) noexcept = default;

  void append(const T& value) { _items.push_back(value); }
  void append(T&& value) { _items.push_back(std::move(value)); }

  // Inserts before position index; index == entries() appends. A larger index
  // throws TovaBaseException ("index out of range").
  void insertAt(std::size_t index, const T& value) {
    if (index > _items.size()) throwOutOfRange("TOVValSlist::insertAt");
    _items.insert(_items.begin() + static_cast<std::ptrdiff_t>(index), value);
  }

  // Removes the element at index and returns it; throws TovaBaseException
  // ("index out of range") when index >= entries().
  T removeAt(std::size_t index) {
    if (index >= _items.size()) throwOutOfRange("TOVValSlist::removeAt");
    T removed = std::move(_items[index]);
    _items.erase(_items.begin() + static_cast<std::ptrdiff_t>(index));
    return removed;
  }

  // Removes the first element equal to value; returns whether one was found.
  bool removeObject(const T& value) {
    for (auto it = _items.begin(); it != _items.end(); ++it) {
      if (*it == value) {
        _items.erase(it);
        return true;
      }
    }
    return false;
  }

  bool contains(const T& value) const {
    for (const T& item : _items) {
      if (item == value) return true;
    }
    return false;
  }

  // Element at index; throws TovaBaseException ("index out of range") when
  // index >= entries().
  const T& at(std::size_t index) const {
    if (index >= _items.size()) throwOutOfRange("TOVValSlist::at");
    return _items[index];
  }
  T& at(std::size_t index) {
    if (index >= _items.size()) throwOutOfRange("TOVValSlist::at");
    return _items[index];
  }

  const T& first() const { return at(0); }
  const T& last() const {
    if (_items.empty()) throwOutOfRange("TOVValSlist::last");
    return _items.back();
  }

  std::size_t entries() const noexcept { return _items.size(); }
  bool isEmpty() const noexcept { return _items.empty(); }
  void clear() noexcept { _items.clear(); }
  void reserve(std::size_t count) { _items.reserve(count); }

  const_iterator begin() const noexcept { return _items.begin(); }
  const_iterator end() const noexcept { return _items.end(); }
  iterator begin() noexcept { return _items.begin(); }
  iterator end() noexcept { return _items.end(); }

 private:
  [[noreturn]] static void throwOutOfRange(const char* where) {
    throw TovaBaseException("", where, "", "index out of range", 0);
  }

  std::vector<T> _items;
};

// The host's list iterator: starts before the first element; each call of
// operator() (or next()) moves to the next element and returns false past the
// end; key() is the current element.
//
//   TOVValSlistIterator<TOVString> iter(list);
//   while (iter()) use(iter.key());
template <typename T>
class TOVValSlistIterator {
 public:
  explicit TOVValSlistIterator(const TOVValSlist<T>& list) : _list(list) {}

  bool operator()() { return next(); }
  bool next() {
    if (_position >= _list.entries()) {
      _position = _list.entries() + 1;
      return false;
    }
    ++_position;
    return true;
  }
  // Current element; throws TovaBaseException ("index out of range") when the
  // iterator is before the first element or past the last.
  const T& key() const {
    if (_position == 0) {
      throw TovaBaseException("", "TOVValSlistIterator::key", "", "index out of range", 0);
    }
    return _list.at(_position - 1);
  }
  void reset() { _position = 0; }

 private:
  const TOVValSlist<T>& _list;
  std::size_t _position = 0;
};
