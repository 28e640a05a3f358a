#include "streaming/MultiResponseWriter.h"

#include <gtest/gtest.h>

#include <vector>

#include "host/Exception.h"
#include "host/SmartPointer.h"
#include "streaming/IMarker.h"
#include "streaming/IResponse.h"
#include "streaming/MultiResponseCollection.h"
#include "tests/streaming/CollectionTestPeer.h"

namespace {

using kest::IMarker;
using kest::IMultiResponse;
using kest::IResponse;
using kest::MultiResponseCollection;
using kest::MultiResponseWriter;

using Collection = MultiResponseCollection<int>;
using Writer = MultiResponseWriter<int>;

// A marker that appends its label to a log when processed.
class LoggingMarker : public IMarker<int> {
 public:
  LoggingMarker(std::vector<int>* log, int label) : _log(log), _label(label) {}
  bool isMarker() const override { return true; }
  void process() const override { _log->push_back(_label); }

 private:
  std::vector<int>* _log;
  int _label;
};

void expectFailure(const TovaBaseException& e, const char* where, const char* message, int code) {
  EXPECT_EQ(e.getType(), TOVString(""));
  EXPECT_EQ(e.getWhere(), TOVString(where));
  EXPECT_EQ(e.getWho(), TOVString(""));
  EXPECT_EQ(e.getMessage(), TOVString(message));
  EXPECT_EQ(e.getCode(), code);
}

}  // namespace

TEST(MultiResponseWriterTest, ConstructionRegistersAWriterThatKeepsTheCollectionOpen) {
  const auto collection = Collection::newCollection(0, -1);
  Writer writer(collection);
  collection->allowComplete();
  EXPECT_FALSE(collection->isComplete());
  writer.Close();
  EXPECT_TRUE(collection->isComplete());
}

TEST(MultiResponseWriterTest, ConstructionOnACompleteCollectionThrowsTheRegisterError) {
  const auto collection = Collection::newCollection(0, -1);
  collection->allowComplete();
  try {
    Writer writer(collection);
    FAIL() << "a writer was registered with a complete collection";
  } catch (const TovaBaseException& e) {
    expectFailure(e, "MultiResponseCollection::registerWriter",
                  "Writers may be registered only while collection is incomplete.", 0);
  }
}

TEST(MultiResponseWriterTest, SecondCloseDoesNotUnregisterAgain) {
  const auto collection = Collection::newCollection(0, -1);
  Writer first(collection);
  Writer second(collection);
  collection->allowComplete();

  first.Close();
  first.Close();
  EXPECT_FALSE(collection->isComplete());
  second.Close();
  EXPECT_TRUE(collection->isComplete());
}

TEST(MultiResponseWriterTest, DestructionClosesAnOpenWriter) {
  const auto collection = Collection::newCollection(0, -1);
  auto* writer = new Writer(collection);
  collection->allowComplete();
  EXPECT_FALSE(collection->isComplete());
  delete writer;
  EXPECT_TRUE(collection->isComplete());
}

TEST(MultiResponseWriterTest, DestructionAfterCloseDoesNotUnregisterAgain) {
  const auto collection = Collection::newCollection(0, -1);
  Writer staying(collection);
  auto* leaving = new Writer(collection);
  collection->allowComplete();
  leaving->Close();
  delete leaving;
  EXPECT_FALSE(collection->isComplete());
  EXPECT_NO_THROW(staying.Close());
  EXPECT_TRUE(collection->isComplete());
}

TEST(MultiResponseWriterTest, SharesTheCollectionUntilDestroyed) {
  const auto collection = Collection::newCollection(0, -1);
  EXPECT_EQ(collection.useCount(), 1);
  {
    Writer writer(collection);
    EXPECT_EQ(collection.useCount(), 2);
    writer.Close();
    EXPECT_EQ(collection.useCount(), 2);
  }
  EXPECT_EQ(collection.useCount(), 1);
}

TEST(MultiResponseWriterTest, AddThroughTheResponseInterfaceQueuesInOrder) {
  const auto collection = Collection::newCollection(0, -1);
  {
    const TOVSmrPtr<IMultiResponse<int>> writer(new Writer(collection));
    collection->allowComplete();
    EXPECT_TRUE(writer->add(8, true));
    EXPECT_TRUE(writer->add(9, false));
    EXPECT_TRUE(writer->add(8, true));
  }
  std::vector<int> drained;
  while (collection->hasNext()) drained.push_back(collection->next());
  EXPECT_EQ(drained, (std::vector<int>{8, 9, 8}));
}

TEST(MultiResponseWriterTest, AddReportsTheCollectionsRefusal) {
  const auto collection = Collection::newCollection(0, -1);
  Writer writer(collection);
  writer.setErrorCode(5);
  EXPECT_FALSE(writer.add(1, false));
  try {
    writer.add(1, true);
    FAIL() << "add() accepted an item after an error";
  } catch (const TovaBaseException& e) {
    expectFailure(e, "MultiResponseCollection::add",
                  "An error has occurred with this collection; no further input can be accepted.",
                  5);
  }
}

TEST(MultiResponseWriterTest, SetErrorCodeIsRecordedByTheCollection) {
  const auto collection = Collection::newCollection(0, -1);
  Writer writer(collection);
  writer.setErrorCode(12);
  EXPECT_EQ(collection->getErrorCode(), 12);
  EXPECT_TRUE(collection->isComplete());
}

TEST(MultiResponseWriterTest, MarkerAddIsQueuedAndProcessedBetweenResults) {
  const auto collection = Collection::newCollection(0, -1);
  std::vector<int> processed;
  {
    Writer writer(collection);
    collection->allowComplete();
    writer.add(1, true);
    EXPECT_TRUE(writer.add(TOVSmrPtr<IMarker<int>>(new LoggingMarker(&processed, 77)), true));
    writer.add(2, true);
  }
  ASSERT_TRUE(collection->hasNext());
  EXPECT_EQ(collection->next(), 1);
  EXPECT_TRUE(processed.empty());
  ASSERT_TRUE(collection->hasNext());
  EXPECT_EQ(processed, (std::vector<int>{77}));
  EXPECT_EQ(collection->next(), 2);
  EXPECT_FALSE(collection->hasNext());
}

TEST(MultiResponseWriterTest, CloseThroughTheBaseResponseInterfaceUnregisters) {
  const auto collection = Collection::newCollection(0, -1);
  const TOVSmrPtr<IResponse> response(new Writer(collection));
  collection->allowComplete();
  response->Close();
  EXPECT_TRUE(collection->isComplete());
}

TEST(MultiResponseWriterTest, CloseAfterTheCountWasForcedToZeroThrowsTheUnregisterError) {
  const auto collection = Collection::newCollection(0, -1);
  Writer writer(collection);
  collection->allowComplete();
  collection->unregisterWriter();  // misuse: removes the writer's registration behind its back
  try {
    writer.Close();
    FAIL() << "Close() unregistered from a collection with no writers";
  } catch (const TovaBaseException& e) {
    expectFailure(e, "MultiResponseCollection::unregisterWriter",
                  "Writers may be registered only while collection is incomplete.", 0);
  }
  // The failed Close() left the writer open; give it a registration back so
  // that its destructor's Close() succeeds instead of terminating the program.
  kest::MultiResponseCollectionTestPeer::setWriterCount(*collection, 1);
}
