#include "server/http/WorkerPool.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>

using kest::server::http::WorkerPool;

namespace {

using Clock = std::chrono::steady_clock;

TEST(WorkerPoolTest, RunsWhatIsPosted) {
  WorkerPool pool(2);
  std::promise<int> result;
  pool.post([&result] { result.set_value(42); });
  EXPECT_EQ(result.get_future().get(), 42);
  EXPECT_TRUE(pool.stop(Clock::now() + std::chrono::seconds(30)));
}

TEST(WorkerPoolTest, StopSaysWhenAJobIsStillRunningAtTheDeadline) {
  std::promise<void> release;
  std::shared_future<void> released = release.get_future().share();
  std::promise<void> started;
  std::atomic<int> laterRuns{0};
  {
    WorkerPool pool(1);
    pool.post([&started, released] {
      started.set_value();
      released.wait();
    });
    pool.post([&laterRuns] { ++laterRuns; });
    started.get_future().wait();
    EXPECT_FALSE(pool.stop(Clock::now()));
    EXPECT_EQ(pool.pending(), 2u);
    pool.post([&laterRuns] { ++laterRuns; });
    release.set_value();
  }
  // The job queued behind the running one and the one posted after stop()
  // never ran.
  EXPECT_EQ(laterRuns.load(), 0);
}

}  // namespace
