#pragma once

// Polling wait for tests whose outcome is produced by another thread.

#include <chrono>
#include <functional>
#include <thread>

namespace kest::testing {

// Waits until condition holds, checking it every millisecond for up to 30
// seconds; returns whether it held. The limit only keeps a broken test from
// hanging: a passing test returns as soon as the condition holds.
inline bool waitUntil(const std::function<bool()>& condition) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (!condition()) {
    if (std::chrono::steady_clock::now() >= deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

}  // namespace kest::testing
