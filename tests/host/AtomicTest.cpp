#include "host/Atomic.h"

#include <gtest/gtest.h>

#include <set>
#include <thread>
#include <vector>

TEST(TOVAtomicIntTest, IncrementReturnsTheNewValue) {
  TOVAtomicInt counter;
  EXPECT_EQ(counter.atomicInc(), 1);
  EXPECT_EQ(counter.atomicInc(), 2);
  EXPECT_EQ(counter.get(), 2);
  EXPECT_EQ(counter.atomicDec(), 1);
}

TEST(TOVAtomicIntTest, IncrementWrapsFromMaximumToMinimum) {
  TOVAtomicInt counter(2147483647);
  EXPECT_EQ(counter.atomicInc(), -2147483647 - 1);
  EXPECT_EQ(counter.atomicInc(), -2147483647);
}

TEST(TOVAtomicIntTest, ConcurrentIncrementsYieldDistinctValues) {
  TOVAtomicInt counter;
  constexpr int kThreads = 4;
  constexpr int kPerThread = 5000;
  std::vector<std::vector<int>> seen(kThreads);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < kPerThread; ++i) seen[t].push_back(counter.atomicInc());
    });
  }
  for (auto& thread : threads) thread.join();
  std::set<int> all;
  for (const auto& values : seen) all.insert(values.begin(), values.end());
  EXPECT_EQ(all.size(), static_cast<std::size_t>(kThreads * kPerThread));
  EXPECT_EQ(*all.begin(), 1);
  EXPECT_EQ(*all.rbegin(), kThreads * kPerThread);
}
