#include <gtest/gtest.h>

#include <memory>
#include <ostream>

#include "host/Exception.h"
#include "host/IndicationServices.h"
#include "host/Provider.h"
#include "host/RecordingProviderContext.h"

namespace {

[[noreturn]] void unused(const char* operation) {
  throw TovaBaseException("", operation, "TestProvider", "not used by these tests", 7);
}

// A provider implementing every operation of the interface: the ones these
// tests do not use throw, the context is settable.
class TestProvider : public kest::IProvider {
 public:
  using kest::IProvider::processHTTPRequest;

  void setProperty(const TOVString&, const TOVSmrPtr<ITovaInstanceName>&, const TOVString&,
                   const TOVSmrPtr<ITovaValue>&, const TOVSmrPtr<ITovaTransaction>&) override {
    unused("setProperty");
  }
  void enumerateInstanceNames(kest::ICollector<TOVSmrPtr<ITovaInstanceName>>&, const TOVString&,
                              const TOVString&, const TOVSmrPtr<ITovaTransaction>&) override {
    unused("enumerateInstanceNames");
  }
  void referenceNames(kest::ICollector<TOVSmrPtr<ITovaInstanceName>>&, const TOVString&,
                      const TOVSmrPtr<ITovaInstanceName>&, const TOVSmrPtr<ITovaTransaction>&,
                      const TOVString&, const TOVString&) override {
    unused("referenceNames");
  }
  void associatorNames(kest::ICollector<TOVSmrPtr<ITovaInstanceName>>&, const TOVString&,
                       const TOVSmrPtr<ITovaInstanceName>&, const TOVSmrPtr<ITovaTransaction>&,
                       const TOVString&, const TOVString&, const TOVString&,
                       const TOVString&) override {
    unused("associatorNames");
  }
  void enumerateClassNames(kest::ICollector<TOVString>&, const TOVString&) override {
    unused("enumerateClassNames");
  }
  void enumerateClasses(kest::ICollector<TOVSmrPtr<ITovaClass>>&, const TOVString&) override {
    unused("enumerateClasses");
  }
  TOVSmrPtr<ITovaClass> getClass(const TOVString&, const TOVString&) override {
    unused("getClass");
  }
  void startTransaction(const TOVSmrPtr<ITovaTransaction>&) override { unused("startTransaction"); }
  void endTransaction(const TOVSmrPtr<ITovaTransaction>&) override { unused("endTransaction"); }
  TOVSmrPtr<ITovaObject> getInstance(TOVString, TOVSmrPtr<ITovaInstanceName>,
                                     TOVSmrPtr<ITovaTransaction>) override {
    unused("getInstance");
  }
  void getInstance(TOVSmrPtr<ITovaObject>&, const TOVString&, TOVSmrPtr<ITovaInstanceName>,
                   TOVSmrPtr<ITovaTransaction>, const PropertyList&) override {
    unused("getInstance");
  }
  ObjectList enumerateInstances(TOVString, TOVString, TOVSmrPtr<ITovaTransaction>) override {
    unused("enumerateInstances");
  }
  void enumerateInstances(kest::ICollector<TOVSmrPtr<ITovaObject>>&, const TOVString&,
                          const TOVString&, const TOVSmrPtr<ITovaTransaction>&,
                          const PropertyList&) override {
    unused("enumerateInstances");
  }
  void references(kest::ICollector<TOVSmrPtr<ITovaObject>>&, const TOVString&,
                  const TOVSmrPtr<ITovaInstanceName>&, const TOVSmrPtr<ITovaTransaction>&,
                  const TOVString&, const TOVString&, const PropertyList&) override {
    unused("references");
  }
  ObjectList references(TOVString, TOVSmrPtr<ITovaInstanceName>, TOVSmrPtr<ITovaTransaction>,
                        TOVString, TOVString) override {
    unused("references");
  }
  ValueList associators(TOVString, TOVSmrPtr<ITovaInstanceName>, TOVSmrPtr<ITovaTransaction>,
                        TOVString, TOVString, TOVString, TOVString) override {
    unused("associators");
  }
  void associators(kest::ICollector<TOVSmrPtr<ITovaValue>>&, const TOVString&,
                   const TOVSmrPtr<ITovaInstanceName>&, const TOVSmrPtr<ITovaTransaction>&,
                   const TOVString&, const TOVString&, const TOVString&, const TOVString&,
                   const PropertyList&) override {
    unused("associators");
  }
  TOVSmrPtr<ITovaInstanceName> createInstance(TOVString, TOVSmrPtr<ITovaObject>,
                                              TOVSmrPtr<ITovaTransaction>) override {
    unused("createInstance");
  }
  void deleteInstance(const TOVString&, const TOVSmrPtr<ITovaInstanceName>&,
                      const TOVSmrPtr<ITovaTransaction>&) override {
    unused("deleteInstance");
  }
  void modifyInstance(const TOVString&, const TOVSmrPtr<ITovaObject>&, const PropertyList&,
                      const TOVSmrPtr<ITovaTransaction>&) override {
    unused("modifyInstance");
  }
  TOVSmrPtr<ITovaValue> executeMethod(TOVString, TOVSmrPtr<ITovaInstanceName>, TOVString,
                                      ParameterList, ParameterList,
                                      TOVSmrPtr<ITovaTransaction>) override {
    unused("executeMethod");
  }
  TOVSmrPtr<ITovaValue> registerObserver(TOVSmrPtr<ITovaInstanceName>, TOVSmrPtr<ITovaSubscriber>,
                                         ITovaIndication::IndicationType,
                                         TOVSmrPtr<ITovaSubscriptionFilter>,
                                         TOVSmrPtr<ITovaTransaction>) override {
    unused("registerObserver");
  }
  TOVSmrPtr<ITovaValue> deregisterObserver(TOVSmrPtr<ITovaInstanceName>, TOVSmrPtr<ITovaSubscriber>,
                                           ITovaIndication::IndicationType,
                                           TOVSmrPtr<ITovaSubscriptionFilter>,
                                           TOVSmrPtr<ITovaTransaction>) override {
    unused("deregisterObserver");
  }
  void processHTTPRequest(TOVGenericHTTPIStream&, TOVGenericHTTPOStream&, TOVHTTPRequest&, bool&,
                          TOVSmrPtr<ITovaTransaction>) override {
    unused("processHTTPRequest");
  }
  void startup() override { unused("startup"); }
  void postStartup() override { unused("postStartup"); }
  void postStartupIsComplete() override { unused("postStartupIsComplete"); }
  void shutdown() override { unused("shutdown"); }
  TOVString getVersion() override { return "1.0"; }
  void initialize(TOVSmrPtr<ITovaRepository>) override { unused("initialize"); }
  void setWorkArea(const TOVString&) override { unused("setWorkArea"); }
  TOVString getProviderName() const override { return "TestProvider"; }
  void debugDump(unsigned int, std::ostream&) override { unused("debugDump"); }
  TOVSmrPtr<ITovaSubscriber> getStaticSubscriber() override { unused("getStaticSubscriber"); }
  void setStaticSubscriber(TOVSmrPtr<ITovaSubscriber>) override { unused("setStaticSubscriber"); }
  int authorizeSubscription(const TOVSmrPtr<ITovaInstanceName>&, const ClassList&,
                            const TOVSmrPtr<IQueryStatement>&) override {
    unused("authorizeSubscription");
  }
  int activateSubscription(const TOVSmrPtr<ITovaInstanceName>&, const ClassList&,
                           const TOVSmrPtr<IQueryStatement>&) override {
    unused("activateSubscription");
  }
  int deactivateSubscription(const TOVSmrPtr<ITovaInstanceName>&, const ClassList&,
                             const TOVSmrPtr<IQueryStatement>&) override {
    unused("deactivateSubscription");
  }
  int enableIndications() override { unused("enableIndications"); }
  int disableIndications() override { unused("disableIndications"); }
  void setProviderContext(const TOVSmrPtr<kest::IProviderContext>& providerContext) override {
    _context = providerContext;
  }
  TOVSmrPtr<kest::IProviderContext> getProviderContext() const override { return _context; }

 private:
  TOVSmrPtr<kest::IProviderContext> _context;
};

TOVSmrPtr<ITovaIndication> someIndication(int intent) {
  return TOVSmrPtr<ITovaIndication>(new CTovaIndication(nullptr, ITovaIndication::IndicationChange,
                                                        nullptr, nullptr, intent, nullptr, false));
}

}  // namespace

// ---------------------------------------------------------------------------
// SubscriberProxy

TEST(SubscriberProxyTest, ForwardsEachIndicationToTheProviderContext) {
  TestProvider provider;
  auto* recording = new kest::RecordingProviderContext();
  TOVSmrPtr<kest::IProviderContext> context(recording);
  provider.setProviderContext(context);
  SubscriberProxy proxy(&provider);

  TOVSmrPtr<ITovaIndication> first = someIndication(1);
  TOVSmrPtr<ITovaIndication> second = someIndication(2);
  proxy.notify(first);
  proxy.notify(second);

  const auto legacy = recording->legacyIndications();
  ASSERT_EQ(legacy.size(), 2u);
  EXPECT_EQ(legacy[0].get(), first.get());
  EXPECT_EQ(legacy[1].get(), second.get());
  EXPECT_TRUE(recording->indications().empty());
}

TEST(SubscriberProxyTest, WorksThroughTheSubscriberInterface) {
  TestProvider provider;
  auto* recording = new kest::RecordingProviderContext();
  provider.setProviderContext(TOVSmrPtr<kest::IProviderContext>(recording));
  TOVSmrPtr<ITovaSubscriber> subscriber(new SubscriberProxy(&provider));

  TOVSmrPtr<ITovaIndication> indication = someIndication(5);
  subscriber->notify(indication);

  const auto legacy = recording->legacyIndications();
  ASSERT_EQ(legacy.size(), 1u);
  EXPECT_EQ(legacy[0].get(), indication.get());
}

TEST(SubscriberProxyTest, DropsIndicationsWhileTheProviderHasNoContext) {
  TestProvider provider;
  SubscriberProxy proxy(&provider);
  TOVSmrPtr<ITovaIndication> indication = someIndication(1);
  EXPECT_NO_THROW(proxy.notify(indication));
  EXPECT_EQ(indication.useCount(), 1);
}

TEST(SubscriberProxyTest, DropsIndicationsWithoutAProvider) {
  SubscriberProxy proxy(nullptr);
  TOVSmrPtr<ITovaIndication> indication = someIndication(1);
  EXPECT_NO_THROW(proxy.notify(indication));
  EXPECT_EQ(indication.useCount(), 1);
}

TEST(SubscriberProxyTest, UsesTheContextTheProviderHasAtNotifyTime) {
  TestProvider provider;
  SubscriberProxy proxy(&provider);
  proxy.notify(someIndication(1));

  TOVSmrPtr<kest::RecordingProviderContext> firstContext(new kest::RecordingProviderContext());
  provider.setProviderContext(firstContext);
  proxy.notify(someIndication(2));

  TOVSmrPtr<kest::RecordingProviderContext> secondContext(new kest::RecordingProviderContext());
  provider.setProviderContext(secondContext);
  proxy.notify(someIndication(3));

  provider.setProviderContext(nullptr);
  proxy.notify(someIndication(4));

  ASSERT_EQ(firstContext->legacyIndications().size(), 1u);
  EXPECT_EQ(firstContext->legacyIndications()[0]->getIntent(), 2);
  ASSERT_EQ(secondContext->legacyIndications().size(), 1u);
  EXPECT_EQ(secondContext->legacyIndications()[0]->getIntent(), 3);
}

// ---------------------------------------------------------------------------
// kest::IProvider

TEST(IProviderTest, IsImplementableAndUsableThroughTheInterface) {
  std::unique_ptr<kest::IProvider> provider(new TestProvider());
  TOVSmrPtr<kest::IProviderContext> context(new kest::RecordingProviderContext());
  provider->setProviderContext(context);
  EXPECT_EQ(provider->getProviderContext().get(), context.get());
  EXPECT_EQ(provider->getProviderName(), "TestProvider");
  EXPECT_THROW(provider->startup(), TovaBaseException);
}

TEST(IProviderTest, HttpRequestFormWithResponseDoesNothingByDefault) {
  TestProvider provider;
  kest::IProvider& asInterface = provider;
  TOVGenericHTTPIStream in;
  TOVGenericHTTPOStream out;
  TOVHTTPRequest request;
  TOVHTTPResponse response;

  bool persistConnection = true;
  EXPECT_NO_THROW(
      asInterface.processHTTPRequest(in, out, request, response, persistConnection, nullptr));
  EXPECT_TRUE(persistConnection);

  persistConnection = false;
  EXPECT_NO_THROW(
      asInterface.processHTTPRequest(in, out, request, response, persistConnection, nullptr));
  EXPECT_FALSE(persistConnection);
}

TEST(IProviderTest, HttpRequestFormWithoutResponseIsTheProvidersOwn) {
  TestProvider provider;
  kest::IProvider& asInterface = provider;
  TOVGenericHTTPIStream in;
  TOVGenericHTTPOStream out;
  TOVHTTPRequest request;
  bool persistConnection = true;
  EXPECT_THROW(asInterface.processHTTPRequest(in, out, request, persistConnection, nullptr),
               TovaBaseException);
}
