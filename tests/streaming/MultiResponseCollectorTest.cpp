#include "streaming/MultiResponseCollector.h"

#include <gtest/gtest.h>

#include <vector>

#include "host/Exception.h"
#include "host/SmartPointer.h"
#include "streaming/IResponse.h"
#include "streaming/MultiResponseCollection.h"
#include "streaming/MultiResponseWriter.h"

namespace {

using kest::ICollector;
using kest::IMultiResponse;
using kest::MultiResponseCollection;
using kest::MultiResponseCollector;
using kest::MultiResponseWriter;

// A response that records what it is given and answers add() with a preset
// result.
class RecordingResponse : public IMultiResponse<int> {
 public:
  void Close() override { ++closes; }
  bool add(int value, bool throwOnAbort) override {
    values.push_back(value);
    flags.push_back(throwOnAbort);
    return answer;
  }
  void setErrorCode(int code) override { codes.push_back(code); }

  std::vector<int> values;
  std::vector<bool> flags;
  std::vector<int> codes;
  int closes = 0;
  bool answer = true;
};

}  // namespace

TEST(MultiResponseCollectorTest, AddPassesEachItemToTheResponseWithThrowOnAbortSet) {
  const TOVSmrPtr<RecordingResponse> response(new RecordingResponse);
  MultiResponseCollector<int> collector(response);
  collector.add(4);
  collector.add(2);
  collector.add(4);

  EXPECT_EQ(response->values, (std::vector<int>{4, 2, 4}));
  EXPECT_EQ(response->flags, (std::vector<bool>{true, true, true}));
  EXPECT_TRUE(response->codes.empty());
  EXPECT_EQ(response->closes, 0);
}

TEST(MultiResponseCollectorTest, RefusalReportedByTheResponseResultIsIgnored) {
  const TOVSmrPtr<RecordingResponse> response(new RecordingResponse);
  response->answer = false;
  MultiResponseCollector<int> collector(response);
  EXPECT_NO_THROW(collector.add(1));
  EXPECT_EQ(response->values, (std::vector<int>{1}));
}

TEST(MultiResponseCollectorTest, HoldsAReferenceToTheResponseForItsLifetime) {
  const TOVSmrPtr<RecordingResponse> response(new RecordingResponse);
  {
    const MultiResponseCollector<int> collector(response);
    EXPECT_EQ(response.useCount(), 2);
  }
  EXPECT_EQ(response.useCount(), 1);
}

TEST(MultiResponseCollectorTest, ItemsReachTheCollectionThroughAWriterInOrder) {
  const auto collection = MultiResponseCollection<int>::newCollection(0, -1);
  {
    const TOVSmrPtr<IMultiResponse<int>> writer(new MultiResponseWriter<int>(collection));
    ICollector<int>* collector = new MultiResponseCollector<int>(writer);
    collection->allowComplete();
    for (int i = 0; i < 5; ++i) collector->add(i * 10);
    delete collector;
  }
  std::vector<int> drained;
  while (collection->hasNext()) drained.push_back(collection->next());
  EXPECT_EQ(drained, (std::vector<int>{0, 10, 20, 30, 40}));
}

TEST(MultiResponseCollectorTest, AddWhenTheCollectionHasNoOpenWriterThrowsTheCollectionsError) {
  const auto collection = MultiResponseCollection<int>::newCollection(0, -1);
  const TOVSmrPtr<IMultiResponse<int>> writer(new MultiResponseWriter<int>(collection));
  MultiResponseCollector<int> collector(writer);
  collection->allowComplete();
  writer->Close();

  try {
    collector.add(1);
    FAIL() << "add() accepted an item with no writer registered";
  } catch (const TovaBaseException& e) {
    EXPECT_EQ(e.getType(), TOVString(""));
    EXPECT_EQ(e.getWhere(), TOVString("MultiResponseCollection::add"));
    EXPECT_EQ(e.getWho(), TOVString(""));
    EXPECT_EQ(e.getMessage(),
              TOVString("Addition of elements not permitted if no writers are registered."));
    EXPECT_EQ(e.getCode(), 0);
  }
  EXPECT_FALSE(collection->hasNext());
}
