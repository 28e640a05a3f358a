#include "host/Map.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "host/String.h"

namespace {

using StringMap = TOVValMap<TOVString, int>;

// Every key hashes alike, so every entry shares one chain.
unsigned int sameHash(const TOVString&) { return 7; }
unsigned int identityHash(const int& key) { return static_cast<unsigned int>(key); }

std::vector<std::pair<std::string, int>> entriesOf(const StringMap& map) {
  std::vector<std::pair<std::string, int>> result;
  for (const auto& entry : map) result.emplace_back(entry.key().toStdString(), entry.value());
  return result;
}

}  // namespace

TEST(TOVValMapTest, FindReportsHitAndMiss) {
  StringMap map(hashKeyTOVString, 150);
  map.insert("CIM_FOO", 1);
  int value = -1;
  EXPECT_TRUE(map.find("CIM_FOO", value));
  EXPECT_EQ(value, 1);
  value = -1;
  EXPECT_FALSE(map.find("cim_foo", value));
  EXPECT_EQ(value, -1) << "a miss must leave the output untouched";
  EXPECT_EQ(map.lookup("missing"), 0);
  EXPECT_TRUE(map.contains("CIM_FOO"));
}

TEST(TOVValMapTest, InsertReplacesAnEntryWithAnEqualKey) {
  StringMap map(hashKeyTOVString, 150);
  map.insert("k", 1);
  map.insert("k", 2);
  EXPECT_EQ(map.entries(), 1u);
  EXPECT_EQ(map.lookup("k"), 2);
}

TEST(TOVValMapTest, ReplacedEntryMovesToTheEndOfItsChain) {
  StringMap map(sameHash, 4);
  map.insert("a", 1);
  map.insert("b", 2);
  map.insert("a", 3);
  EXPECT_EQ(entriesOf(map), (std::vector<std::pair<std::string, int>>{{"b", 2}, {"a", 3}}));
}

TEST(TOVValMapTest, RemoveReportsWhetherAnEntryWasThere) {
  StringMap map(hashKeyTOVString, 150);
  map.insert("k", 1);
  EXPECT_TRUE(map.remove("k"));
  EXPECT_FALSE(map.remove("k"));
  EXPECT_TRUE(map.isEmpty());
}

TEST(TOVValMapTest, IteratesBucketByBucketOldestFirstWithinAChain) {
  TOVValMap<int, int> map(identityHash, 5);
  // Buckets: 0 <- 5, 10; 1 <- 1; 3 <- 3.
  map.insert(10, 0);
  map.insert(3, 0);
  map.insert(1, 0);
  map.insert(5, 0);
  std::vector<int> keys;
  for (const auto& entry : map) keys.push_back(entry.key());
  EXPECT_EQ(keys, (std::vector<int>{10, 5, 1, 3}));
}

TEST(TOVValMapTest, GrowsWhenEntriesExceedTwiceTheBuckets) {
  TOVValMap<int, int> map(identityHash, 2);
  for (int i = 0; i < 4; ++i) map.insert(i, i);
  EXPECT_EQ(map.buckets(), 2u);
  map.insert(4, 4);
  EXPECT_EQ(map.buckets(), 5u);
  for (int i = 0; i < 5; ++i) EXPECT_EQ(map.lookup(i), i);
}

TEST(TOVValMapTest, OrderAfterGrowthFollowsTheNewBuckets) {
  TOVValMap<int, int> map(identityHash, 1);
  map.insert(2, 0);
  map.insert(1, 0);
  map.insert(0, 0);  // 3 entries > 2 x 1 bucket: grows to 3 buckets
  ASSERT_EQ(map.buckets(), 3u);
  std::vector<int> keys;
  for (const auto& entry : map) keys.push_back(entry.key());
  EXPECT_EQ(keys, (std::vector<int>{0, 1, 2}));
}

TEST(TOVValMapTest, HoldsManyEntriesAndFindsEachOne) {
  StringMap map(hashKeyTOVString, 150);
  const int count = 100000;
  for (int i = 0; i < count; ++i) map.insert(TOVString::fromInt(i), i);
  EXPECT_EQ(map.entries(), static_cast<std::size_t>(count));
  EXPECT_GE(map.buckets() * 2, map.entries());
  for (int i = 0; i < count; i += 997) EXPECT_EQ(map.lookup(TOVString::fromInt(i)), i);
  std::size_t visited = 0;
  for (const auto& entry : map) {
    (void)entry;
    ++visited;
  }
  EXPECT_EQ(visited, static_cast<std::size_t>(count));
}

TEST(TOVValMapTest, SameOperationsGiveTheSameOrder) {
  auto build = [] {
    StringMap map(hashKeyTOVString, 3);
    for (const char* key : {"z", "y", "x", "w", "v", "u", "t", "s"}) map.insert(key, 1);
    map.remove("w");
    map.insert("y", 2);
    return entriesOf(map);
  };
  EXPECT_EQ(build(), build());
}

TEST(TOVValMapTest, CopyHoldsTheSameEntriesIndependently) {
  StringMap map(hashKeyTOVString, 7);
  map.insert("a", 1);
  StringMap copy(map);
  copy.insert("b", 2);
  EXPECT_EQ(map.entries(), 1u);
  EXPECT_EQ(copy.entries(), 2u);
  EXPECT_EQ(copy.lookup("a"), 1);
}

TEST(TOVValMapTest, ClearRemovesEverything) {
  StringMap map(hashKeyTOVString, 7);
  map.insert("a", 1);
  map.clear();
  EXPECT_TRUE(map.isEmpty());
  EXPECT_EQ(map.begin(), map.end());
}
