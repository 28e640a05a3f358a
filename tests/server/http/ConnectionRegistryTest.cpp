#include "server/http/ConnectionRegistry.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

using kest::server::http::ConnectionControl;
using kest::server::http::ConnectionRegistry;

namespace {

using Clock = ConnectionRegistry::Clock;
using std::chrono::seconds;

class FakeConnection : public ConnectionControl {
 public:
  void evict() override { ++evicted; }
  void drain() override { ++drained; }
  void abandon() override { ++abandoned; }
  int evicted = 0;
  int drained = 0;
  int abandoned = 0;
};

class ConnectionRegistryTest : public ::testing::Test {
 protected:
  // Admits a new fake connection at t0 + at.
  ConnectionRegistry::Id admit(ConnectionRegistry& registry, int at = 0) {
    _connections.push_back(std::make_shared<FakeConnection>());
    return registry.admit(_connections.back(), _t0 + seconds(at));
  }
  FakeConnection& connection(std::size_t index) { return *_connections.at(index); }

  const Clock::time_point _t0 = Clock::time_point() + seconds(1000);
  std::vector<std::shared_ptr<FakeConnection>> _connections;
};

TEST_F(ConnectionRegistryTest, IdleConnectionsDoNotCountAgainstTheActiveLimit) {
  ConnectionRegistry registry(2, 100);
  for (int i = 0; i < 10; ++i) EXPECT_NE(admit(registry), 0u);
  EXPECT_EQ(registry.size(), 10u);
  EXPECT_EQ(registry.active(), 0u);
}

TEST_F(ConnectionRegistryTest, ARequestBeyondTheActiveLimitClosesTheLongestReadingHeader) {
  ConnectionRegistry registry(2, 100);
  const auto a = admit(registry);
  const auto b = admit(registry);
  const auto c = admit(registry);
  ASSERT_TRUE(registry.beginRequest(b, _t0 + seconds(1)));
  ASSERT_TRUE(registry.beginRequest(a, _t0 + seconds(2)));
  EXPECT_TRUE(registry.beginRequest(c, _t0 + seconds(3)));
  EXPECT_EQ(connection(1).evicted, 1);
  EXPECT_EQ(connection(0).evicted, 0);
  EXPECT_EQ(registry.active(), 2u);
}

TEST_F(ConnectionRegistryTest, ARequestIsRefusedWhenEveryActiveConnectionIsPastItsHeader) {
  ConnectionRegistry registry(2, 100);
  const auto a = admit(registry);
  const auto b = admit(registry);
  const auto c = admit(registry);
  for (const auto id : {a, b}) {
    ASSERT_TRUE(registry.beginRequest(id, _t0));
    registry.headerComplete(id, _t0);
  }
  EXPECT_FALSE(registry.beginRequest(c, _t0 + seconds(1)));
  EXPECT_EQ(connection(0).evicted + connection(1).evicted, 0);
  // A finished request makes room.
  registry.endRequest(a, _t0 + seconds(2));
  EXPECT_TRUE(registry.beginRequest(c, _t0 + seconds(3)));
}

TEST_F(ConnectionRegistryTest, ANewConnectionBeyondTheOpenLimitClosesTheLongestIdleFirst) {
  ConnectionRegistry registry(3, 3);
  const auto slow = admit(registry, 0);
  admit(registry, 5);  // idle since 5
  admit(registry, 2);  // idle since 2
  ASSERT_TRUE(registry.beginRequest(slow, _t0 + seconds(1)));
  EXPECT_NE(admit(registry, 10), 0u);
  EXPECT_EQ(connection(2).evicted, 1);
  EXPECT_EQ(connection(1).evicted, 0);
  EXPECT_EQ(connection(0).evicted, 0);
}

TEST_F(ConnectionRegistryTest, WithoutAnIdleConnectionTheSlowestHeaderMakesRoom) {
  ConnectionRegistry registry(2, 2);
  const auto a = admit(registry);
  const auto b = admit(registry);
  ASSERT_TRUE(registry.beginRequest(a, _t0 + seconds(3)));
  ASSERT_TRUE(registry.beginRequest(b, _t0 + seconds(1)));
  EXPECT_NE(admit(registry, 4), 0u);
  EXPECT_EQ(connection(1).evicted, 1);
  EXPECT_EQ(connection(0).evicted, 0);
}

TEST_F(ConnectionRegistryTest, ANewConnectionIsRefusedWhenEveryOpenOneIsBusy) {
  ConnectionRegistry registry(2, 2);
  for (int i = 0; i < 2; ++i) {
    const auto id = admit(registry);
    ASSERT_TRUE(registry.beginRequest(id, _t0));
    registry.headerComplete(id, _t0);
  }
  EXPECT_EQ(admit(registry), 0u);
}

TEST_F(ConnectionRegistryTest, AnEvictedConnectionIsNotChosenTwiceAndLeavesWhenRemoved) {
  ConnectionRegistry registry(2, 2);
  const auto first = admit(registry, 0);
  admit(registry, 1);
  admit(registry, 2);  // evicts first
  ASSERT_EQ(connection(0).evicted, 1);
  EXPECT_EQ(registry.size(), 3u);
  admit(registry, 3);  // evicts the second, not the first again
  EXPECT_EQ(connection(0).evicted, 1);
  EXPECT_EQ(connection(1).evicted, 1);
  registry.remove(first);
  EXPECT_EQ(registry.size(), 3u);
}

TEST_F(ConnectionRegistryTest, DrainAndAbandonReachEveryConnection) {
  ConnectionRegistry registry(10, 10);
  admit(registry);
  admit(registry);
  registry.drainAll();
  registry.abandonAll();
  for (std::size_t i = 0; i < 2; ++i) {
    EXPECT_EQ(connection(i).drained, 1);
    EXPECT_EQ(connection(i).abandoned, 1);
  }
}

TEST_F(ConnectionRegistryTest, AwaitEmptySaysWhetherEveryConnectionHasGone) {
  ConnectionRegistry registry(10, 10);
  const auto id = admit(registry);
  EXPECT_FALSE(registry.awaitEmpty(Clock::now()));
  registry.remove(id);
  EXPECT_TRUE(registry.awaitEmpty(Clock::now()));
}

}  // namespace
