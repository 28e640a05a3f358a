#pragma once

#include <atomic>
#include <cstdint>

// TOVAtomicInt: the host's 32-bit atomic integer. Increments are sequentially
// consistent and wrap from 2147483647 to -2147483648 (computed on the unsigned
// representation, so the wrap is defined behaviour).
class TOVAtomicInt {
 public:
  explicit TOVAtomicInt(std::int32_t initial = 0) noexcept
      : _value(static_cast<std::uint32_t>(initial)) {}
  TOVAtomicInt(const TOVAtomicInt&) = delete;
  TOVAtomicInt& operator=(const TOVAtomicInt&) = delete;

  // Adds 1 and returns the new value.
  std::int32_t atomicInc() noexcept { return static_cast<std::int32_t>(_value.fetch_add(1) + 1u); }
  // Subtracts 1 and returns the new value.
  std::int32_t atomicDec() noexcept { return static_cast<std::int32_t>(_value.fetch_sub(1) - 1u); }
  std::int32_t get() const noexcept { return static_cast<std::int32_t>(_value.load()); }
  void set(std::int32_t value) noexcept { _value.store(static_cast<std::uint32_t>(value)); }

 private:
  std::atomic<std::uint32_t> _value;
};
