#include "streaming/VectorCollector.h"

#include <gtest/gtest.h>

#include <iterator>
#include <string>
#include <vector>

#include "host/SmartPointer.h"
#include "host/String.h"

namespace {

using kest::ICollector;
using kest::VectorCollector;

}  // namespace

TEST(VectorCollectorTest, CollectorThatReceivedNothingHasBeginEqualToEnd) {
  const VectorCollector<int> collector;
  EXPECT_TRUE(collector.begin() == collector.end());
  EXPECT_TRUE(collector.rep.empty());
}

TEST(VectorCollectorTest, ItemsComeOutInTheOrderAddedWithDuplicates) {
  VectorCollector<int> collector;
  for (int value : {3, 1, 3, 2, 1}) collector.add(value);

  const std::vector<int> seen(collector.begin(), collector.end());
  EXPECT_EQ(seen, (std::vector<int>{3, 1, 3, 2, 1}));
  EXPECT_EQ(collector.rep, seen);
}

TEST(VectorCollectorTest, AddThroughTheInterfaceStoresACopy) {
  VectorCollector<TOVString> collector;
  ICollector<TOVString>& sink = collector;
  TOVString text("first");
  sink.add(text);
  text += " changed";

  ASSERT_EQ(std::distance(collector.begin(), collector.end()), 1);
  EXPECT_EQ(*collector.begin(), TOVString("first"));
}

TEST(VectorCollectorTest, DestroyingThroughTheCollectorInterfaceReleasesTheItems) {
  const TOVSmrPtr<int> shared(new int(7));
  ICollector<TOVSmrPtr<int>>* sink = new VectorCollector<TOVSmrPtr<int>>();
  sink->add(shared);
  sink->add(shared);
  EXPECT_EQ(shared.useCount(), 3);
  delete sink;
  EXPECT_EQ(shared.useCount(), 1);
}
