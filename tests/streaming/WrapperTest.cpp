#include <gtest/gtest.h>

#include "host/SmartPointer.h"
#include "host/String.h"
#include "streaming/IMarker.h"
#include "streaming/MultiResponseCollection.h"

namespace {

using Wrapper = kest::MultiResponseCollection<TOVString>::wrapper<TOVString>;

}  // namespace

TEST(MultiResponseCollectionWrapperTest, IsAResultNotAMarker) {
  const Wrapper element(TOVString("value"));
  EXPECT_FALSE(element.isMarker());
}

TEST(MultiResponseCollectionWrapperTest, GetItemReturnsACopyOfTheItemGiven) {
  TOVString original("value");
  const Wrapper element(original);
  original += " changed";
  TOVString copy = element.getItem();
  copy += " again";
  EXPECT_EQ(element.getItem(), TOVString("value"));
}

TEST(MultiResponseCollectionWrapperTest, ProcessLeavesTheItemAsItWas) {
  const TOVSmrPtr<kest::IMarker<TOVString>> element(new Wrapper(TOVString("kept")));
  element->process();
  element->process();
  EXPECT_EQ(static_cast<const Wrapper*>(element.get())->getItem(), TOVString("kept"));
}

TEST(MultiResponseCollectionWrapperTest, ReleasesItsItemWhenDestroyedThroughTheMarkerInterface) {
  const TOVSmrPtr<int> payload(new int(1));
  {
    using SharedWrapper = kest::MultiResponseCollection<TOVSmrPtr<int>>::wrapper<TOVSmrPtr<int>>;
    const TOVSmrPtr<kest::IMarker<TOVSmrPtr<int>>> element(new SharedWrapper(payload));
    EXPECT_EQ(payload.useCount(), 2);
  }
  EXPECT_EQ(payload.useCount(), 1);
}
