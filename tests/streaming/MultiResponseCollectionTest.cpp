#include "streaming/MultiResponseCollection.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include "host/Config.h"
#include "host/Event.h"
#include "host/Exception.h"
#include "host/List.h"
#include "host/SmartPointer.h"
#include "host/String.h"
#include "host/Time.h"
#include "streaming/IMarker.h"
#include "streaming/IResponse.h"
#include "streaming/MultiResponseCollector.h"
#include "streaming/MultiResponseWriter.h"
#include "tests/streaming/CollectionTestPeer.h"
#include "tests/support/WaitUntil.h"

namespace {

using kest::IMarker;
using kest::IMultiResponse;
using kest::MultiResponseCollection;
using kest::MultiResponseCollectionTestPeer;
using kest::MultiResponseCollector;
using kest::MultiResponseWriter;

using Collection = MultiResponseCollection<int>;
using CollectionPtr = TOVSmrPtr<Collection>;
using Writer = MultiResponseWriter<int>;
using Peer = MultiResponseCollectionTestPeer;
using kest::testing::waitUntil;

constexpr const char* kNoWriters =
    "Addition of elements not permitted if no writers are registered.";
constexpr const char* kErrorOccurred =
    "An error has occurred with this collection; no further input can be accepted.";
constexpr const char* kIncomplete =
    "Writers may be registered only while collection is incomplete.";
constexpr const char* kNegativeCount = "Internal error: negative count.";

// A consumer wait short enough that tests may let it time out.
const CI_RelTime kShortWait(0, 1000000L);

void expectFailure(const std::function<void()>& action, const char* where, const char* message,
                   int code) {
  try {
    action();
    ADD_FAILURE() << "no exception; expected \"" << message << "\"";
  } catch (const TovaBaseException& e) {
    EXPECT_EQ(e.getType(), TOVString(""));
    EXPECT_EQ(e.getWhere(), TOVString(where));
    EXPECT_EQ(e.getWho(), TOVString(""));
    EXPECT_EQ(e.getMessage(), TOVString(message));
    EXPECT_EQ(e.getCode(), code);
  }
}

// Waits until n producers are blocked for a slot of collection, or until
// returned says that one of them has returned (which the caller reports).
template <typename Returned>
void awaitBlockedProducers(Collection& collection, unsigned long n, Returned returned) {
  ASSERT_TRUE(
      waitUntil([&] { return Peer::producersWaitingForASlot(collection) == n || returned(); }));
}

// Makes the process-wide record of the latest timed wait read zero, so that
// a later change shows that someone has waited since.
void clearTimedWaitRecord() {
  CI_AutoEvent event;
  event.timedWait(CI_RelTime(0, 0));
}

bool someoneWaitedSinceClearing() {
  return !(CI_AutoEvent::lastTimedWaitForTesting() == CI_RelTime(0, 0));
}

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

TOVSmrPtr<IMarker<int>> loggingMarker(std::vector<int>* log, int label) {
  return TOVSmrPtr<IMarker<int>>(new LoggingMarker(log, label));
}

// A marker that records the thread that processed it.
class ThreadRecordingMarker : public IMarker<int> {
 public:
  explicit ThreadRecordingMarker(std::thread::id* where, int* times)
      : _where(where), _times(times) {}
  bool isMarker() const override { return true; }
  void process() const override {
    *_where = std::this_thread::get_id();
    ++*_times;
  }

 private:
  std::thread::id* _where;
  int* _times;
};

// Collections read the transaction time-out when they are created; every
// test starts and ends without a configuration manager.
class MultiResponseCollectionTest : public ::testing::Test {
 protected:
  void SetUp() override { KESTConfigManager::uninstall(); }
  void TearDown() override { KESTConfigManager::uninstall(); }

  static void configureTransactionTimeout(const char* value) {
    KESTConfigManager::install()->set("KEST", "CimTransactionTimeout", value);
  }

  // Has hasNext() wait on a fresh collection until another thread removes the
  // last writer, and returns the time-out that the wait was given.
  static CI_RelTime timeoutOfAConsumerWait() {
    const CollectionPtr collection = Collection::newCollection(0, -1);
    collection->registerWriter();
    collection->allowComplete();
    clearTimedWaitRecord();
    std::thread writer([collection] {
      // Complete only once the consumer has started waiting.
      EXPECT_TRUE(waitUntil(someoneWaitedSinceClearing));
      collection->unregisterWriter();
    });
    EXPECT_FALSE(collection->hasNext());
    writer.join();
    return CI_AutoEvent::lastTimedWaitForTesting();
  }
};

// Items of the concurrency tests: writer * kWriterStride + sequence number.
constexpr int kWriterStride = 1000000;

struct StreamResult {
  std::vector<int> received;          // per writer
  std::vector<int> markersProcessed;  // per writer
  int orderViolations = 0;
  int markerViolations = 0;
  int refusals = 0;
};

// Checks, when processed on the consumer's thread, that the consumer has
// received exactly the items its writer queued before it.
class OrderMarker : public IMarker<int> {
 public:
  OrderMarker(StreamResult* result, int writer, int itemsBefore)
      : _result(result), _writer(writer), _itemsBefore(itemsBefore) {}
  bool isMarker() const override { return true; }
  void process() const override {
    if (_result->received[_writer] != _itemsBefore) ++_result->markerViolations;
    ++_result->markersProcessed[_writer];
  }

 private:
  StreamResult* _result;
  int _writer;
  int _itemsBefore;
};

// Runs `writers` threads, each adding perWriter items through its own writer
// (and, when markerEvery > 0, a marker after every markerEvery-th item but the
// last), while this thread drains the collection.
StreamResult streamConcurrently(unsigned int bounds, int writers, int perWriter, int markerEvery) {
  StreamResult result;
  result.received.assign(writers, 0);
  result.markersProcessed.assign(writers, 0);
  std::atomic<int> refusals{0};

  const CollectionPtr collection = Collection::newCollection(bounds, -1);
  std::vector<std::thread> threads;
  for (int w = 0; w < writers; ++w) {
    TOVSmrPtr<Writer> writer(new Writer(collection));
    threads.emplace_back([writer, w, perWriter, markerEvery, &result, &refusals]() mutable {
      for (int i = 0; i < perWriter; ++i) {
        if (!writer->add(w * kWriterStride + i, true)) refusals.fetch_add(1);
        if (markerEvery > 0 && (i + 1) % markerEvery == 0 && i + 1 < perWriter) {
          writer->add(TOVSmrPtr<IMarker<int>>(new OrderMarker(&result, w, i + 1)), true);
        }
      }
      writer.reset();  // closes the writer on this thread
    });
  }

  const auto take = [&result, &collection] {
    const int item = collection->next();
    const int w = item / kWriterStride;
    if (item % kWriterStride != result.received[w]) ++result.orderViolations;
    ++result.received[w];
  };
  if (markerEvery == 0) {
    collection->allowComplete();
    while (collection->hasNext()) take();
  } else {
    // With markers in the stream, complete only after everything queued has
    // been taken (see the class comment of MultiResponseCollection).
    for (int n = 0; n < writers * perWriter; ++n) {
      if (!collection->hasNext()) break;
      take();
    }
    collection->allowComplete();
    EXPECT_FALSE(collection->hasNext());
  }
  for (auto& thread : threads) thread.join();
  result.refusals = refusals.load();
  return result;
}

void expectCompleteStream(const StreamResult& result, int perWriter, int markerEvery) {
  EXPECT_EQ(result.orderViolations, 0);
  EXPECT_EQ(result.markerViolations, 0);
  EXPECT_EQ(result.refusals, 0);
  const int markers = markerEvery > 0 ? (perWriter - 1) / markerEvery : 0;
  for (std::size_t w = 0; w < result.received.size(); ++w) {
    EXPECT_EQ(result.received[w], perWriter) << "writer " << w;
    EXPECT_EQ(result.markersProcessed[w], markers) << "writer " << w;
  }
}

constexpr int kWriters = 4;
constexpr int kPerWriter = 2000;

}  // namespace

// --- creation and configuration --------------------------------------------

TEST_F(MultiResponseCollectionTest, NewCollectionHasOneWriterNoErrorAndIsIncomplete) {
  const CollectionPtr collection = Collection::newCollection(0, -1);
  EXPECT_EQ(MultiResponseCollectionTestPeer::writerCount(*collection), 1);
  EXPECT_EQ(collection->getErrorCode(), 0);
  EXPECT_FALSE(collection->isComplete());
}

TEST_F(MultiResponseCollectionTest, ConsumerWaitsSixHundredSecondsWithoutConfiguration) {
  EXPECT_EQ(timeoutOfAConsumerWait(), CI_RelTime(600, 0));
}

TEST_F(MultiResponseCollectionTest, ConsumerWaitsSixHundredSecondsWhenTheKeyIsMissing) {
  KESTConfigManager::install()->set("KEST", "SomethingElse", "5");
  EXPECT_EQ(timeoutOfAConsumerWait(), CI_RelTime(600, 0));
}

TEST_F(MultiResponseCollectionTest, ConsumerWaitsSixHundredSecondsWhenTheValueIsNotAnInteger) {
  configureTransactionTimeout("five");
  EXPECT_EQ(timeoutOfAConsumerWait(), CI_RelTime(600, 0));
}

TEST_F(MultiResponseCollectionTest, ConsumerWaitsTheConfiguredTransactionTimeout) {
  configureTransactionTimeout("5");
  EXPECT_EQ(timeoutOfAConsumerWait(), CI_RelTime(5, 0));
}

TEST_F(MultiResponseCollectionTest, ConfiguredTimeoutOfZeroMeansWaitingWithoutLimit) {
  configureTransactionTimeout("0");
  EXPECT_EQ(timeoutOfAConsumerWait(), CI_RelTime(2147483647, 0));
}

TEST_F(MultiResponseCollectionTest, ConfiguredNegativeTimeoutMeansWaitingWithoutLimit) {
  configureTransactionTimeout("-3");
  EXPECT_EQ(timeoutOfAConsumerWait(), CI_RelTime(2147483647, 0));
}

TEST_F(MultiResponseCollectionTest, TimeoutIsReadWhenTheCollectionIsCreated) {
  configureTransactionTimeout("5");
  const CollectionPtr collection = Collection::newCollection(0, -1);
  KESTConfigManager::getInstance()->set("KEST", "CimTransactionTimeout", "9");
  collection->add(1, true);
  EXPECT_TRUE(collection->waitForEvent());
  EXPECT_EQ(CI_AutoEvent::lastTimedWaitForTesting(), CI_RelTime(5, 0));
}

TEST_F(MultiResponseCollectionTest, WaitForEventTimesOutWhenNothingHappens) {
  const CollectionPtr collection = Collection::newCollection(0, -1);
  Peer::setWaitTimeout(*collection, kShortWait);
  EXPECT_FALSE(collection->waitForEvent());
  EXPECT_EQ(CI_AutoEvent::lastTimedWaitForTesting(), kShortWait);
  EXPECT_EQ(Peer::consumerTimeouts(*collection), 1u);
}

TEST_F(MultiResponseCollectionTest, IdleTimeoutIsNotEnforced) {
  const CollectionPtr collection = Collection::newCollection(0, 0);
  collection->registerWriter();
  collection->allowComplete();
  EXPECT_EQ(collection->getErrorCode(), 0);
  EXPECT_FALSE(collection->isComplete());
  EXPECT_TRUE(collection->add(1, true));
}

// --- writers ---------------------------------------------------------------

TEST_F(MultiResponseCollectionTest, RegisterAndUnregisterWriterMoveTheCount) {
  const CollectionPtr collection = Collection::newCollection(0, -1);
  collection->registerWriter();
  collection->registerWriter();
  EXPECT_EQ(MultiResponseCollectionTestPeer::writerCount(*collection), 3);
  collection->unregisterWriter();
  EXPECT_EQ(MultiResponseCollectionTestPeer::writerCount(*collection), 2);
  EXPECT_FALSE(collection->isComplete());
}

TEST_F(MultiResponseCollectionTest, RegisterWriterWithANegativeCountThrowsTheInternalError) {
  const CollectionPtr collection = Collection::newCollection(0, -1);
  MultiResponseCollectionTestPeer::setWriterCount(*collection, -1);
  expectFailure([&] { collection->registerWriter(); }, "MultiResponseCollection::unregisterWriter",
                kNegativeCount, 0);
  EXPECT_EQ(MultiResponseCollectionTestPeer::writerCount(*collection), -1);
}

TEST_F(MultiResponseCollectionTest, UnregisterWriterWithANegativeCountThrowsTheInternalError) {
  const CollectionPtr collection = Collection::newCollection(0, -1);
  MultiResponseCollectionTestPeer::setWriterCount(*collection, -2);
  expectFailure([&] { collection->unregisterWriter(); },
                "MultiResponseCollection::unregisterWriter", kNegativeCount, 0);
  EXPECT_EQ(MultiResponseCollectionTestPeer::writerCount(*collection), -2);
}

TEST_F(MultiResponseCollectionTest, RegisterWriterAfterTheLastWriterLeftThrows) {
  const CollectionPtr collection = Collection::newCollection(0, -1);
  collection->registerWriter();
  collection->allowComplete();
  collection->unregisterWriter();
  expectFailure([&] { collection->registerWriter(); }, "MultiResponseCollection::registerWriter",
                kIncomplete, 0);
  EXPECT_EQ(MultiResponseCollectionTestPeer::writerCount(*collection), 0);
}

TEST_F(MultiResponseCollectionTest, UnregisterWriterAfterTheLastWriterLeftThrowsTheSameText) {
  const CollectionPtr collection = Collection::newCollection(0, -1);
  collection->allowComplete();
  expectFailure([&] { collection->unregisterWriter(); },
                "MultiResponseCollection::unregisterWriter", kIncomplete, 0);
  EXPECT_EQ(MultiResponseCollectionTestPeer::writerCount(*collection), 0);
}

TEST_F(MultiResponseCollectionTest, AllowCompleteWithNoWriterCompletesAtOnceWithoutWaiting) {
  const CollectionPtr collection = Collection::newCollection(0, -1);
  collection->allowComplete();
  EXPECT_TRUE(collection->isComplete());
  clearTimedWaitRecord();
  EXPECT_FALSE(collection->hasNext());
  EXPECT_FALSE(someoneWaitedSinceClearing());
}

TEST_F(MultiResponseCollectionTest, AllowCompleteTwiceThrowsAndLeavesTheCountAlone) {
  const CollectionPtr collection = Collection::newCollection(0, -1);
  collection->registerWriter();
  collection->allowComplete();
  EXPECT_EQ(MultiResponseCollectionTestPeer::writerCount(*collection), 1);
  expectFailure([&] { collection->allowComplete(); }, "MultiResponseCollection::allowComplete",
                "allowComplete() may only be called once.", 0);
  EXPECT_EQ(MultiResponseCollectionTestPeer::writerCount(*collection), 1);
  EXPECT_FALSE(collection->isComplete());
}

// --- adding and errors -----------------------------------------------------

TEST_F(MultiResponseCollectionTest, AddAfterTheLastWriterLeftIsRefused) {
  const CollectionPtr collection = Collection::newCollection(0, -1);
  collection->allowComplete();
  EXPECT_FALSE(collection->add(1, false));
  expectFailure([&] { collection->add(2, true); }, "MultiResponseCollection::add", kNoWriters, 0);
  EXPECT_FALSE(collection->hasNext());
}

TEST_F(MultiResponseCollectionTest, MarkerAddAfterTheLastWriterLeftIsRefused) {
  const CollectionPtr collection = Collection::newCollection(0, -1);
  collection->allowComplete();
  std::vector<int> processed;
  EXPECT_FALSE(collection->add(loggingMarker(&processed, 1), false));
  expectFailure([&] { collection->add(loggingMarker(&processed, 2), true); },
                "MultiResponseCollection::add", kNoWriters, 0);
  EXPECT_FALSE(collection->hasNext());
  EXPECT_TRUE(processed.empty());
}

TEST_F(MultiResponseCollectionTest, ErrorOnAFreshCollectionCompletesItAndRefusesInput) {
  const CollectionPtr collection = Collection::newCollection(0, -1);
  collection->setErrorCode(5);
  EXPECT_EQ(collection->getErrorCode(), 5);
  EXPECT_TRUE(collection->isComplete());
  expectFailure([&] { collection->add(1, true); }, "MultiResponseCollection::add", kErrorOccurred,
                5);
  EXPECT_FALSE(collection->add(1, false));
  clearTimedWaitRecord();
  EXPECT_FALSE(collection->hasNext());
  EXPECT_FALSE(someoneWaitedSinceClearing());
}

TEST_F(MultiResponseCollectionTest, ErrorOnAFreshCollectionRefusesMarkers) {
  const CollectionPtr collection = Collection::newCollection(0, -1);
  collection->setErrorCode(9);
  std::vector<int> processed;
  expectFailure([&] { collection->add(loggingMarker(&processed, 1), true); },
                "MultiResponseCollection::add", kErrorOccurred, 9);
  EXPECT_FALSE(collection->add(loggingMarker(&processed, 2), false));
  EXPECT_TRUE(processed.empty());
}

TEST_F(MultiResponseCollectionTest, ErrorAfterAnItemWasQueuedIsNotVisible) {
  const CollectionPtr collection = Collection::newCollection(0, -1);
  collection->add(1, true);
  collection->setErrorCode(5);
  EXPECT_EQ(collection->getErrorCode(), 0);
  EXPECT_FALSE(collection->isComplete());
  EXPECT_TRUE(collection->add(2, true));
}

TEST_F(MultiResponseCollectionTest, ErrorStaysHiddenAfterTheQueuedItemsWereTaken) {
  const CollectionPtr collection = Collection::newCollection(0, -1);
  collection->add(1, true);
  ASSERT_TRUE(collection->hasNext());
  EXPECT_EQ(collection->next(), 1);
  collection->setErrorCode(5);
  EXPECT_EQ(collection->getErrorCode(), 0);
  EXPECT_TRUE(collection->add(2, true));
}

TEST_F(MultiResponseCollectionTest, ErrorCodeZeroChangesNothing) {
  const CollectionPtr collection = Collection::newCollection(0, -1);
  collection->setErrorCode(0);
  EXPECT_EQ(collection->getErrorCode(), 0);
  EXPECT_FALSE(collection->isComplete());
  collection->setErrorCode(3);
  collection->setErrorCode(0);
  EXPECT_EQ(collection->getErrorCode(), 3);
}

TEST_F(MultiResponseCollectionTest, FirstNonZeroErrorCodeWins) {
  const CollectionPtr collection = Collection::newCollection(0, -1);
  collection->setErrorCode(5);
  collection->setErrorCode(7);
  EXPECT_EQ(collection->getErrorCode(), 5);
}

TEST_F(MultiResponseCollectionTest, SetErrorCodeDoesNotWakeTheConsumer) {
  const CollectionPtr collection = Collection::newCollection(0, -1);
  Peer::setWaitTimeout(*collection, kShortWait);
  collection->setErrorCode(5);
  EXPECT_FALSE(collection->waitForEvent());
}

TEST_F(MultiResponseCollectionTest, AddWakesTheConsumer) {
  configureTransactionTimeout("1");
  const CollectionPtr collection = Collection::newCollection(0, -1);
  collection->add(1, true);
  EXPECT_TRUE(collection->waitForEvent());
}

// --- consuming -------------------------------------------------------------

TEST_F(MultiResponseCollectionTest, FrameworkPatternDeliversTheResultsInOrder) {
  using Text = MultiResponseCollection<TOVString>;
  TOVValSlist<TOVString> list;
  const TOVSmrPtr<Text> collection = Text::newCollection(0, -1);
  TOVSmrPtr<IMultiResponse<TOVString>> writer(new MultiResponseWriter<TOVString>(collection));
  auto* collector = new MultiResponseCollector<TOVString>(writer);
  collection->allowComplete();
  for (const char* name : {"alpha", "beta", "alpha", "gamma"}) collector->add(name);
  delete collector;
  writer.reset();
  EXPECT_TRUE(collection->isComplete());
  while (collection->hasNext()) list.append(collection->next());

  ASSERT_EQ(list.entries(), 4u);
  EXPECT_EQ(list.at(0), TOVString("alpha"));
  EXPECT_EQ(list.at(1), TOVString("beta"));
  EXPECT_EQ(list.at(2), TOVString("alpha"));
  EXPECT_EQ(list.at(3), TOVString("gamma"));
}

TEST_F(MultiResponseCollectionTest, MarkerBetweenTwoResultsIsProcessedWhenHasNextReachesIt) {
  const CollectionPtr collection = Collection::newCollection(0, -1);
  std::vector<int> processed;
  collection->add(1, true);
  collection->add(loggingMarker(&processed, 50), true);
  collection->add(2, true);
  collection->allowComplete();

  ASSERT_TRUE(collection->hasNext());
  EXPECT_TRUE(processed.empty());
  EXPECT_EQ(collection->next(), 1);
  EXPECT_TRUE(processed.empty());
  ASSERT_TRUE(collection->hasNext());
  EXPECT_EQ(processed, (std::vector<int>{50}));
  EXPECT_EQ(collection->next(), 2);
  EXPECT_FALSE(collection->hasNext());
}

TEST_F(MultiResponseCollectionTest, NextNeverReturnsAMarkerWhenHasNextWasCalledFirst) {
  const CollectionPtr collection = Collection::newCollection(0, -1);
  std::vector<int> processed;
  collection->add(loggingMarker(&processed, 1), true);
  collection->add(loggingMarker(&processed, 2), true);
  collection->add(10, true);
  collection->add(loggingMarker(&processed, 3), true);
  collection->add(20, true);
  collection->add(loggingMarker(&processed, 4), true);
  collection->allowComplete();

  std::vector<int> results;
  while (collection->hasNext()) results.push_back(collection->next());
  EXPECT_EQ(results, (std::vector<int>{10, 20}));
  EXPECT_EQ(processed, (std::vector<int>{1, 2, 3, 4}));
}

TEST_F(MultiResponseCollectionTest, NextOnAnEmptyQueueThrowsNoMoreItems) {
  const CollectionPtr collection = Collection::newCollection(0, -1);
  expectFailure([&] { collection->next(); }, "MultiResponseCollection::next", "no more items.", 0);
  collection->add(1, true);
  EXPECT_EQ(collection->next(), 1);
  expectFailure([&] { collection->next(); }, "MultiResponseCollection::next", "no more items.", 0);
}

TEST_F(MultiResponseCollectionTest, HasNextWaitsForAResultFromAnotherThread) {
  const CollectionPtr collection = Collection::newCollection(0, -1);
  clearTimedWaitRecord();
  std::thread producer([collection] {
    EXPECT_TRUE(waitUntil(someoneWaitedSinceClearing));
    collection->add(42, true);
  });
  EXPECT_TRUE(collection->hasNext());
  EXPECT_EQ(collection->next(), 42);
  producer.join();
}

TEST_F(MultiResponseCollectionTest, HasNextKeepsWaitingAfterATimeout) {
  const CollectionPtr collection = Collection::newCollection(0, -1);
  Peer::setWaitTimeout(*collection, kShortWait);
  std::thread producer([collection] {
    // Add only once a wait of the consumer has timed out.
    EXPECT_TRUE(waitUntil([&] { return Peer::consumerTimeouts(*collection) >= 1; }));
    collection->add(7, true);
  });
  EXPECT_TRUE(collection->hasNext());
  EXPECT_GE(Peer::consumerTimeouts(*collection), 1u);
  EXPECT_EQ(collection->next(), 7);
  producer.join();
}

TEST_F(MultiResponseCollectionTest, BoundedAddWaitsForAFreeSlot) {
  const CollectionPtr collection = Collection::newCollection(1, -1);
  collection->add(1, true);
  std::atomic<bool> returned{false};
  std::thread producer([collection, &returned] {
    collection->add(2, true);
    returned = true;
  });
  awaitBlockedProducers(*collection, 1, [&] { return returned.load(); });
  EXPECT_FALSE(returned.load());
  ASSERT_TRUE(collection->hasNext());
  EXPECT_EQ(collection->next(), 1);
  EXPECT_TRUE(waitUntil([&] { return returned.load(); }));
  producer.join();
  collection->allowComplete();
  ASSERT_TRUE(collection->hasNext());
  EXPECT_EQ(collection->next(), 2);
  EXPECT_FALSE(collection->hasNext());
}

TEST_F(MultiResponseCollectionTest, RefusedBoundedAddKeepsTheSlotItTook) {
  const CollectionPtr collection = Collection::newCollection(1, -1);
  collection->setErrorCode(5);
  EXPECT_FALSE(collection->add(1, false));
  std::atomic<bool> returned{false};
  std::thread producer([collection, &returned] {
    collection->add(2, false);
    returned = true;
  });
  awaitBlockedProducers(*collection, 1, [&] { return returned.load(); });
  EXPECT_FALSE(returned.load());  // the only slot is gone
  collection->signalConsumerDone();
  EXPECT_TRUE(waitUntil([&] { return returned.load(); }));
  producer.join();
}

TEST_F(MultiResponseCollectionTest, DestructionReleasesQueuedElementsWithoutProcessingMarkers) {
  using Shared = MultiResponseCollection<TOVSmrPtr<int>>;
  const TOVSmrPtr<int> payload(new int(3));
  {
    const TOVSmrPtr<Shared> collection = Shared::newCollection(0, -1);
    collection->add(payload, true);
    collection->add(payload, true);
    EXPECT_EQ(payload.useCount(), 3);
  }
  EXPECT_EQ(payload.useCount(), 1);

  std::vector<int> processed;
  const TOVSmrPtr<IMarker<int>> marker = loggingMarker(&processed, 1);
  {
    const CollectionPtr collection = Collection::newCollection(2, -1);
    collection->add(marker, true);
    EXPECT_EQ(marker.useCount(), 2);
  }
  EXPECT_EQ(marker.useCount(), 1);
  EXPECT_TRUE(processed.empty());
}

// --- consumer done ---------------------------------------------------------

TEST_F(MultiResponseCollectionTest, AfterConsumerDoneItemsAreDiscardedAndReportedAccepted) {
  const CollectionPtr collection = Collection::newCollection(0, -1);
  collection->add(1, true);
  collection->signalConsumerDone();
  EXPECT_TRUE(collection->add(2, true));
  EXPECT_TRUE(collection->add(3, false));
  collection->allowComplete();
  // Elements queued before stay queued; nothing after was.
  ASSERT_TRUE(collection->hasNext());
  EXPECT_EQ(collection->next(), 1);
  EXPECT_FALSE(collection->hasNext());
}

TEST_F(MultiResponseCollectionTest, AfterConsumerDoneBoundedAddsNeverWait) {
  const CollectionPtr collection = Collection::newCollection(2, -1);
  collection->signalConsumerDone();
  for (int i = 0; i < 10; ++i) EXPECT_TRUE(collection->add(i, true));
  collection->allowComplete();
  EXPECT_FALSE(collection->hasNext());
}

TEST_F(MultiResponseCollectionTest, AfterConsumerDoneEvenAFinishedCollectionDiscardsQuietly) {
  const CollectionPtr collection = Collection::newCollection(0, -1);
  collection->allowComplete();
  collection->signalConsumerDone();
  EXPECT_TRUE(collection->add(1, true));
}

TEST_F(MultiResponseCollectionTest, ConsumerDoneWakesProducersBlockedOnAFullBoundedQueue) {
  const CollectionPtr collection = Collection::newCollection(1, -1);
  collection->add(0, true);
  constexpr int kProducers = 3;
  std::atomic<int> returned{0};
  std::atomic<int> accepted{0};
  std::vector<std::thread> producers;
  for (int p = 1; p <= kProducers; ++p) {
    producers.emplace_back([collection, p, &returned, &accepted] {
      if (collection->add(p, true)) accepted.fetch_add(1);
      returned.fetch_add(1);
    });
  }
  awaitBlockedProducers(*collection, kProducers, [&] { return returned.load() != 0; });
  EXPECT_EQ(returned.load(), 0);
  collection->signalConsumerDone();
  EXPECT_TRUE(waitUntil([&] { return returned.load() == kProducers; }));
  for (auto& producer : producers) producer.join();
  EXPECT_EQ(accepted.load(), kProducers);

  collection->allowComplete();
  ASSERT_TRUE(collection->hasNext());
  EXPECT_EQ(collection->next(), 0);
  EXPECT_FALSE(collection->hasNext());
}

TEST_F(MultiResponseCollectionTest, ConsumerDoneMidStreamLetsEveryWriterFinish) {
  const CollectionPtr collection = Collection::newCollection(4, -1);
  std::atomic<int> finished{0};
  std::atomic<int> refusals{0};
  std::vector<std::thread> threads;
  for (int w = 0; w < kWriters; ++w) {
    TOVSmrPtr<Writer> writer(new Writer(collection));
    threads.emplace_back([writer, w, &finished, &refusals]() mutable {
      for (int i = 0; i < kPerWriter; ++i) {
        if (!writer->add(w * kWriterStride + i, true)) refusals.fetch_add(1);
      }
      writer.reset();
      finished.fetch_add(1);
    });
  }
  collection->allowComplete();
  std::vector<int> received(kWriters, 0);
  int orderViolations = 0;
  for (int n = 0; n < 100 && collection->hasNext(); ++n) {
    const int item = collection->next();
    const int w = item / kWriterStride;
    if (item % kWriterStride != received[w]) ++orderViolations;
    ++received[w];
  }
  collection->signalConsumerDone();
  EXPECT_TRUE(waitUntil([&] { return finished.load() == kWriters; }));
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(refusals.load(), 0);
  EXPECT_EQ(orderViolations, 0);
  EXPECT_TRUE(collection->isComplete());
}

TEST_F(MultiResponseCollectionTest, MarkerAddedAfterConsumerDoneIsProcessedOnTheAddingThread) {
  const CollectionPtr collection = Collection::newCollection(0, -1);
  collection->signalConsumerDone();
  std::thread::id processedOn;
  std::thread::id adderThread;
  int times = 0;
  bool added = false;
  std::thread adder([&] {
    adderThread = std::this_thread::get_id();
    added = collection->add(
        TOVSmrPtr<IMarker<int>>(new ThreadRecordingMarker(&processedOn, &times)), true);
  });
  adder.join();
  EXPECT_TRUE(added);
  EXPECT_EQ(times, 1);
  EXPECT_EQ(processedOn, adderThread);
  EXPECT_NE(processedOn, std::this_thread::get_id());
  collection->allowComplete();
  EXPECT_FALSE(collection->hasNext());
  EXPECT_EQ(times, 1);
}

// --- waiting for a response ------------------------------------------------

TEST_F(MultiResponseCollectionTest, WaitForResponseReturnsAtOnceWhenAResultIsQueuedAndKeepsIt) {
  const CollectionPtr collection = Collection::newCollection(0, -1);
  collection->add(4, true);
  EXPECT_TRUE(collection->waitForResponse());
  EXPECT_TRUE(collection->waitForResponse());
  ASSERT_TRUE(collection->hasNext());
  EXPECT_EQ(collection->next(), 4);
}

TEST_F(MultiResponseCollectionTest, WaitForResponseReturnsFalseWhenCompleteAndEmpty) {
  const CollectionPtr collection = Collection::newCollection(0, -1);
  collection->allowComplete();
  EXPECT_FALSE(collection->waitForResponse());
}

TEST_F(MultiResponseCollectionTest, WaitForResponseReturnsFalseWhenAnErrorCompletedTheCollection) {
  const CollectionPtr collection = Collection::newCollection(0, -1);
  collection->setErrorCode(2);
  EXPECT_FALSE(collection->waitForResponse());
}

TEST_F(MultiResponseCollectionTest, WaitForResponseCountsAMarkerWithoutProcessingIt) {
  const CollectionPtr collection = Collection::newCollection(0, -1);
  std::vector<int> processed;
  collection->add(loggingMarker(&processed, 8), true);
  EXPECT_TRUE(collection->waitForResponse());
  EXPECT_TRUE(processed.empty());
  collection->allowComplete();
  EXPECT_FALSE(collection->hasNext());
  EXPECT_EQ(processed, (std::vector<int>{8}));
}

TEST_F(MultiResponseCollectionTest, WaitForResponseWaitsForAResultFromAnotherThread) {
  const CollectionPtr collection = Collection::newCollection(0, -1);
  clearTimedWaitRecord();
  std::thread producer([collection] {
    EXPECT_TRUE(waitUntil(someoneWaitedSinceClearing));
    collection->add(6, true);
  });
  EXPECT_TRUE(collection->waitForResponse());
  producer.join();
  EXPECT_EQ(collection->next(), 6);
}

TEST_F(MultiResponseCollectionTest, WaitForResponseWaitsForCompletionByAnotherThread) {
  const CollectionPtr collection = Collection::newCollection(0, -1);
  collection->registerWriter();
  collection->allowComplete();
  clearTimedWaitRecord();
  std::thread writer([collection] {
    EXPECT_TRUE(waitUntil(someoneWaitedSinceClearing));
    collection->unregisterWriter();
  });
  EXPECT_FALSE(collection->waitForResponse());
  writer.join();
}

TEST_F(MultiResponseCollectionTest, WaitForResponseLosesNoWakeUpThatALaterHasNextNeeds) {
  const CollectionPtr collection = Collection::newCollection(0, -1);
  collection->registerWriter();
  collection->allowComplete();
  clearTimedWaitRecord();
  std::atomic<bool> taken{false};
  std::thread writer([collection, &taken] {
    collection->add(1, true);  // sets the event that waitForResponse() may consume
    EXPECT_TRUE(waitUntil([&] { return taken.load(); }));
    collection->add(2, true);
    collection->unregisterWriter();
  });
  EXPECT_TRUE(collection->waitForResponse());
  EXPECT_EQ(collection->next(), 1);
  taken = true;
  std::vector<int> rest;
  while (collection->hasNext()) rest.push_back(collection->next());
  writer.join();
  EXPECT_EQ(rest, (std::vector<int>{2}));
}

// --- idle timer ------------------------------------------------------------

TEST_F(MultiResponseCollectionTest, ResetTimerLeavesCompletionAndErrorStateUnchanged) {
  const CollectionPtr open = Collection::newCollection(0, -1);
  open->resetTimer();
  EXPECT_FALSE(open->isComplete());
  EXPECT_EQ(open->getErrorCode(), 0);
  EXPECT_TRUE(open->add(1, true));
  open->resetTimer();
  ASSERT_TRUE(open->hasNext());
  EXPECT_EQ(open->next(), 1);

  const CollectionPtr failed = Collection::newCollection(0, 5);
  failed->setErrorCode(4);
  failed->resetTimer();
  EXPECT_TRUE(failed->isComplete());
  EXPECT_EQ(failed->getErrorCode(), 4);

  const CollectionPtr finished = Collection::newCollection(0, 5);
  finished->allowComplete();
  finished->resetTimer();
  EXPECT_TRUE(finished->isComplete());
  EXPECT_FALSE(finished->add(1, false));
}

// --- many writers, one consumer --------------------------------------------

TEST_F(MultiResponseCollectionTest, ConcurrentWritersUnboundedLoseNothingAndKeepOrder) {
  expectCompleteStream(streamConcurrently(0, kWriters, kPerWriter, 0), kPerWriter, 0);
}

TEST_F(MultiResponseCollectionTest, ConcurrentWritersBoundedToOneLoseNothingAndKeepOrder) {
  expectCompleteStream(streamConcurrently(1, kWriters, kPerWriter, 0), kPerWriter, 0);
}

TEST_F(MultiResponseCollectionTest, ConcurrentWritersBoundedToEightLoseNothingAndKeepOrder) {
  expectCompleteStream(streamConcurrently(8, kWriters, kPerWriter, 0), kPerWriter, 0);
}

TEST_F(MultiResponseCollectionTest, ConcurrentWritersWithMarkersUnboundedProcessEachInPlace) {
  expectCompleteStream(streamConcurrently(0, kWriters, kPerWriter, 7), kPerWriter, 7);
}

TEST_F(MultiResponseCollectionTest, ConcurrentWritersWithMarkersBoundedToOneProcessEachInPlace) {
  expectCompleteStream(streamConcurrently(1, kWriters, kPerWriter, 7), kPerWriter, 7);
}

TEST_F(MultiResponseCollectionTest, ConcurrentWritersWithMarkersBoundedToEightProcessEachInPlace) {
  expectCompleteStream(streamConcurrently(8, kWriters, kPerWriter, 3), kPerWriter, 3);
}
