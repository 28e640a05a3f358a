#include "host/RecordingProviderContext.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace {

using kest::RecordingProviderContext;
using CallKind = RecordingProviderContext::CallKind;

TOVSmrPtr<ITovaObject> objectOf(const char* className) {
  return TOVSmrPtr<ITovaObject>(new CTovaObject(className));
}

TOVSmrPtr<ITovaIndication> legacyOf(int intent, void* context = nullptr) {
  return TOVSmrPtr<ITovaIndication>(new CTovaIndication(nullptr, ITovaIndication::IndicationChange,
                                                        nullptr, context, intent, nullptr, false));
}

}  // namespace

TEST(RecordingProviderContextTest, StartsEmpty) {
  RecordingProviderContext context;
  EXPECT_TRUE(context.indications().empty());
  EXPECT_TRUE(context.legacyIndications().empty());
  EXPECT_TRUE(context.calls().empty());
  EXPECT_EQ(context.callCount(), 0u);
}

TEST(RecordingProviderContextTest, RecordsIndicationsWithTheirNamespaceInOrder) {
  RecordingProviderContext context;
  TOVSmrPtr<ITovaObject> first = objectOf("CIM_InstCreation");
  TOVSmrPtr<ITovaObject> second = objectOf("CIM_InstDeletion");
  context.deliverIndication("root/cimv2", first);
  context.deliverIndication("", second);

  const auto delivered = context.indications();
  ASSERT_EQ(delivered.size(), 2u);
  EXPECT_EQ(delivered[0].nameSpace, "root/cimv2");
  EXPECT_EQ(delivered[0].indication.get(), first.get());
  EXPECT_EQ(delivered[1].nameSpace, "");
  EXPECT_EQ(delivered[1].indication.get(), second.get());
  EXPECT_TRUE(context.legacyIndications().empty());
}

TEST(RecordingProviderContextTest, RecordsLegacyIndicationsInOrder) {
  RecordingProviderContext context;
  TOVSmrPtr<ITovaIndication> first = legacyOf(1);
  TOVSmrPtr<ITovaIndication> second = legacyOf(2);
  context.deliverLegacyIndication(first);
  context.deliverLegacyIndication(second);

  const auto delivered = context.legacyIndications();
  ASSERT_EQ(delivered.size(), 2u);
  EXPECT_EQ(delivered[0].get(), first.get());
  EXPECT_EQ(delivered[1].get(), second.get());
  EXPECT_TRUE(context.indications().empty());
}

TEST(RecordingProviderContextTest, RecordsNullArgumentsAsGiven) {
  RecordingProviderContext context;
  context.deliverIndication("ns", nullptr);
  context.deliverLegacyIndication(nullptr);
  ASSERT_EQ(context.calls().size(), 2u);
  EXPECT_TRUE(context.indications()[0].indication.isNull());
  EXPECT_TRUE(context.legacyIndications()[0].isNull());
}

TEST(RecordingProviderContextTest, CallLogInterleavesBothKindsInCallOrder) {
  RecordingProviderContext context;
  TOVSmrPtr<ITovaObject> smis = objectOf("CIM_InstModification");
  TOVSmrPtr<ITovaIndication> legacyFirst = legacyOf(1);
  TOVSmrPtr<ITovaIndication> legacySecond = legacyOf(2);
  context.deliverLegacyIndication(legacyFirst);
  context.deliverIndication("interop", smis);
  context.deliverLegacyIndication(legacySecond);

  const auto calls = context.calls();
  ASSERT_EQ(calls.size(), 3u);
  EXPECT_EQ(context.callCount(), 3u);

  EXPECT_EQ(calls[0].kind, CallKind::LegacyIndication);
  EXPECT_EQ(calls[0].legacyIndication.get(), legacyFirst.get());
  EXPECT_TRUE(calls[0].indication.isNull());

  EXPECT_EQ(calls[1].kind, CallKind::Indication);
  EXPECT_EQ(calls[1].nameSpace, "interop");
  EXPECT_EQ(calls[1].indication.get(), smis.get());
  EXPECT_TRUE(calls[1].legacyIndication.isNull());

  EXPECT_EQ(calls[2].kind, CallKind::LegacyIndication);
  EXPECT_EQ(calls[2].legacyIndication.get(), legacySecond.get());
}

TEST(RecordingProviderContextTest, AccessorsReturnIndependentCopies) {
  RecordingProviderContext context;
  context.deliverIndication("a", objectOf("X"));
  context.deliverLegacyIndication(legacyOf(1));

  auto indications = context.indications();
  auto legacy = context.legacyIndications();
  auto calls = context.calls();
  indications.clear();
  legacy.clear();
  calls.clear();
  EXPECT_EQ(context.indications().size(), 1u);
  EXPECT_EQ(context.legacyIndications().size(), 1u);
  EXPECT_EQ(context.calls().size(), 2u);

  const auto snapshot = context.calls();
  context.deliverIndication("b", objectOf("Y"));
  EXPECT_EQ(snapshot.size(), 2u);
  EXPECT_EQ(context.calls().size(), 3u);
}

TEST(RecordingProviderContextTest, KeepsDeliveredObjectsAlive) {
  RecordingProviderContext context;
  TOVSmrPtr<ITovaObject> object = objectOf("X");
  context.deliverIndication("ns", object);
  EXPECT_EQ(object.useCount(), 2);
}

TEST(RecordingProviderContextTest, ClearForgetsEverythingAndReleasesObjects) {
  RecordingProviderContext context;
  TOVSmrPtr<ITovaObject> object = objectOf("X");
  TOVSmrPtr<ITovaIndication> legacy = legacyOf(1);
  context.deliverIndication("ns", object);
  context.deliverLegacyIndication(legacy);

  context.clear();
  EXPECT_TRUE(context.indications().empty());
  EXPECT_TRUE(context.legacyIndications().empty());
  EXPECT_TRUE(context.calls().empty());
  EXPECT_EQ(context.callCount(), 0u);
  EXPECT_EQ(object.useCount(), 1);
  EXPECT_EQ(legacy.useCount(), 1);

  context.deliverLegacyIndication(legacy);
  ASSERT_EQ(context.calls().size(), 1u);
  EXPECT_EQ(context.calls()[0].kind, CallKind::LegacyIndication);
}

TEST(RecordingProviderContextTest, IsUsableThroughTheContextInterface) {
  TOVSmrPtr<RecordingProviderContext> recording(new RecordingProviderContext());
  TOVSmrPtr<kest::IProviderContext> context = recording;
  context->deliverIndication("ns", objectOf("X"));
  context->deliverLegacyIndication(legacyOf(1));
  EXPECT_EQ(recording->indications().size(), 1u);
  EXPECT_EQ(recording->legacyIndications().size(), 1u);
}

TEST(RecordingProviderContextTest, RecordsEveryCallFromConcurrentThreads) {
  constexpr int kThreads = 8;
  constexpr int kCallsPerThread = 400;
  RecordingProviderContext context;
  int markers[kThreads] = {};
  std::atomic<bool> writersDone{false};

  // A reader takes snapshots while the writers deliver.
  std::thread reader([&] {
    std::size_t last = 0;
    while (!writersDone.load()) {
      const std::size_t now = context.calls().size();
      EXPECT_GE(now, last);
      last = now;
      (void)context.indications();
      (void)context.legacyIndications();
    }
  });

  std::vector<std::thread> writers;
  for (int t = 0; t < kThreads; ++t) {
    writers.emplace_back([&context, &markers, t] {
      TOVSmrPtr<ITovaObject> object = objectOf("CIM_InstCreation");
      const TOVString nameSpace = TOVString("thread") + TOVString::fromInt(t);
      for (int i = 0; i < kCallsPerThread; ++i) {
        if (i % 2 == 0) {
          context.deliverLegacyIndication(legacyOf(i, &markers[t]));
        } else {
          context.deliverIndication(nameSpace, object);
        }
      }
    });
  }
  for (std::thread& writer : writers) writer.join();
  writersDone.store(true);
  reader.join();

  const auto calls = context.calls();
  ASSERT_EQ(calls.size(), static_cast<std::size_t>(kThreads * kCallsPerThread));
  EXPECT_EQ(context.legacyIndications().size(),
            static_cast<std::size_t>(kThreads * kCallsPerThread / 2));
  EXPECT_EQ(context.indications().size(), static_cast<std::size_t>(kThreads * kCallsPerThread / 2));

  // Each thread's legacy calls appear in the order that thread made them.
  int nextIntent[kThreads] = {};
  for (const auto& call : calls) {
    if (call.kind != CallKind::LegacyIndication) continue;
    const auto* indication = dynamic_cast<const CTovaIndication*>(call.legacyIndication.get());
    ASSERT_NE(indication, nullptr);
    const int t = static_cast<int>(static_cast<int*>(indication->getContext()) - markers);
    ASSERT_GE(t, 0);
    ASSERT_LT(t, kThreads);
    EXPECT_EQ(indication->getIntent(), nextIntent[t]);
    nextIntent[t] += 2;
  }
  for (int t = 0; t < kThreads; ++t) EXPECT_EQ(nextIntent[t], kCallsPerThread) << t;
}
