#pragma once

// Waiting for an outcome that another thread produces, when nothing notifies
// its arrival (the state belongs to the code under test).

#include <chrono>
#include <functional>
#include <thread>

namespace kest::testing {

// Checks condition again and again, yielding the processor between checks,
// until it holds; returns whether it did. There is no pause between checks,
// so a passing test goes on as soon as the condition holds; the limit of 30
// seconds only keeps a broken test from hanging.
inline bool waitUntil(const std::function<bool()>& condition) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (!condition()) {
    if (std::chrono::steady_clock::now() >= deadline) return false;
    std::this_thread::yield();
  }
  return true;
}

}  // namespace kest::testing
