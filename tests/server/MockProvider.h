#pragma once

// MockProvider: a GoogleMock kest::IProvider for tests that hand the server
// an in-process provider (ProviderSpec with an object). Every pure virtual
// operation is mocked; the processHTTPRequest form with a response keeps the
// base class's behaviour. Tests usually hold a testing::NiceMock<MockProvider>
// in a std::shared_ptr, so that the lifecycle calls ProviderSet makes
// (initialize ... postStartupIsComplete, shutdown) need no expectations.
// Threads: as any GoogleMock object; expectations are set before the server
// calls the mock.

#include <gmock/gmock.h>

#include <ostream>

#include "host/Provider.h"

namespace kest::server::testing {

class MockProvider : public kest::IProvider {
 public:
  MOCK_METHOD(void, setProperty,
              (const TOVString& nameSpace, const TOVSmrPtr<ITovaInstanceName>& instanceName,
               const TOVString& propertyName, const TOVSmrPtr<ITovaValue>& value,
               const TOVSmrPtr<ITovaTransaction>& tovaTransaction),
              (override));
  MOCK_METHOD(void, enumerateInstanceNames,
              (ICollector<TOVSmrPtr<ITovaInstanceName>> & results, const TOVString& nameSpace,
               const TOVString& className, const TOVSmrPtr<ITovaTransaction>& tovaTransaction),
              (override));
  MOCK_METHOD(void, referenceNames,
              (ICollector<TOVSmrPtr<ITovaInstanceName>> & results, const TOVString& nameSpace,
               const TOVSmrPtr<ITovaInstanceName>& instanceName,
               const TOVSmrPtr<ITovaTransaction>& tovaTransaction, const TOVString& resultClassName,
               const TOVString& role),
              (override));
  MOCK_METHOD(void, associatorNames,
              (ICollector<TOVSmrPtr<ITovaInstanceName>> & results, const TOVString& nameSpace,
               const TOVSmrPtr<ITovaInstanceName>& instanceName,
               const TOVSmrPtr<ITovaTransaction>& tovaTransaction, const TOVString& assocClassName,
               const TOVString& resultClassName, const TOVString& role,
               const TOVString& resultRole),
              (override));
  MOCK_METHOD(void, enumerateClassNames,
              (ICollector<TOVString> & results, const TOVString& nameSpace), (override));
  MOCK_METHOD(void, enumerateClasses,
              (ICollector<TOVSmrPtr<ITovaClass>> & results, const TOVString& nameSpace),
              (override));
  MOCK_METHOD(TOVSmrPtr<ITovaClass>, getClass,
              (const TOVString& nameSpace, const TOVString& className), (override));
  MOCK_METHOD(void, startTransaction, (const TOVSmrPtr<ITovaTransaction>& tovaTransaction),
              (override));
  MOCK_METHOD(void, endTransaction, (const TOVSmrPtr<ITovaTransaction>& tovaTransaction),
              (override));
  MOCK_METHOD(TOVSmrPtr<ITovaObject>, getInstance,
              (TOVString nameSpace, TOVSmrPtr<ITovaInstanceName> instanceName,
               TOVSmrPtr<ITovaTransaction> tovaTransaction),
              (override));
  MOCK_METHOD(void, getInstance,
              (TOVSmrPtr<ITovaObject> & results, const TOVString& nameSpace,
               TOVSmrPtr<ITovaInstanceName> instanceName,
               TOVSmrPtr<ITovaTransaction> tovaTransaction, const PropertyList& propertyList),
              (override));
  MOCK_METHOD(ObjectList, enumerateInstances,
              (TOVString nameSpace, TOVString className,
               TOVSmrPtr<ITovaTransaction> tovaTransaction),
              (override));
  MOCK_METHOD(void, enumerateInstances,
              (ICollector<TOVSmrPtr<ITovaObject>> & results, const TOVString& nameSpace,
               const TOVString& className, const TOVSmrPtr<ITovaTransaction>& tovaTransaction,
               const PropertyList& propertyList),
              (override));
  MOCK_METHOD(void, references,
              (ICollector<TOVSmrPtr<ITovaObject>> & results, const TOVString& nameSpace,
               const TOVSmrPtr<ITovaInstanceName>& instanceName,
               const TOVSmrPtr<ITovaTransaction>& tovaTransaction, const TOVString& resultClassName,
               const TOVString& role, const PropertyList& propertyList),
              (override));
  MOCK_METHOD(ObjectList, references,
              (TOVString nameSpace, TOVSmrPtr<ITovaInstanceName> instanceName,
               TOVSmrPtr<ITovaTransaction> tovaTransaction, TOVString resultClassName,
               TOVString role),
              (override));
  MOCK_METHOD(ValueList, associators,
              (TOVString nameSpace, TOVSmrPtr<ITovaInstanceName> instanceName,
               TOVSmrPtr<ITovaTransaction> tovaTransaction, TOVString assocClassName,
               TOVString resultClassName, TOVString role, TOVString resultRole),
              (override));
  MOCK_METHOD(void, associators,
              (ICollector<TOVSmrPtr<ITovaValue>> & results, const TOVString& nameSpace,
               const TOVSmrPtr<ITovaInstanceName>& instanceName,
               const TOVSmrPtr<ITovaTransaction>& tovaTransaction, const TOVString& assocClassName,
               const TOVString& resultClassName, const TOVString& role, const TOVString& resultRole,
               const PropertyList& propertyList),
              (override));
  MOCK_METHOD(TOVSmrPtr<ITovaInstanceName>, createInstance,
              (TOVString nameSpace, TOVSmrPtr<ITovaObject> instance,
               TOVSmrPtr<ITovaTransaction> tovaTransaction),
              (override));
  MOCK_METHOD(void, deleteInstance,
              (const TOVString& nameSpace, const TOVSmrPtr<ITovaInstanceName>& instanceName,
               const TOVSmrPtr<ITovaTransaction>& tovaTransaction),
              (override));
  MOCK_METHOD(void, modifyInstance,
              (const TOVString& nameSpace, const TOVSmrPtr<ITovaObject>& instance,
               const PropertyList& propertyList,
               const TOVSmrPtr<ITovaTransaction>& tovaTransaction),
              (override));
  MOCK_METHOD(TOVSmrPtr<ITovaValue>, executeMethod,
              (TOVString nameSpace, TOVSmrPtr<ITovaInstanceName> instanceName, TOVString methodName,
               ParameterList inParameterList, ParameterList outParameterList,
               TOVSmrPtr<ITovaTransaction> tovaTransaction),
              (override));
  MOCK_METHOD(TOVSmrPtr<ITovaValue>, registerObserver,
              (TOVSmrPtr<ITovaInstanceName> instanceName, TOVSmrPtr<ITovaSubscriber> subscriber,
               ITovaIndication::IndicationType indicationType,
               TOVSmrPtr<ITovaSubscriptionFilter> filter, TOVSmrPtr<ITovaTransaction> transaction),
              (override));
  MOCK_METHOD(TOVSmrPtr<ITovaValue>, deregisterObserver,
              (TOVSmrPtr<ITovaInstanceName> instanceName, TOVSmrPtr<ITovaSubscriber> subscriber,
               ITovaIndication::IndicationType indicationType,
               TOVSmrPtr<ITovaSubscriptionFilter> filter, TOVSmrPtr<ITovaTransaction> transaction),
              (override));
  MOCK_METHOD(void, processHTTPRequest,
              (TOVGenericHTTPIStream & istr, TOVGenericHTTPOStream& ostr, TOVHTTPRequest& request,
               bool& persistConnection, TOVSmrPtr<ITovaTransaction> tovaTransaction),
              (override));
  // The mocked form above hides the base class's other form.
  using kest::IProvider::processHTTPRequest;
  MOCK_METHOD(void, startup, (), (override));
  MOCK_METHOD(void, postStartup, (), (override));
  MOCK_METHOD(void, postStartupIsComplete, (), (override));
  MOCK_METHOD(void, shutdown, (), (override));
  MOCK_METHOD(TOVString, getVersion, (), (override));
  MOCK_METHOD(void, initialize, (TOVSmrPtr<ITovaRepository> tovaRepository), (override));
  MOCK_METHOD(void, setWorkArea, (const TOVString& workAreaPath), (override));
  MOCK_METHOD(TOVString, getProviderName, (), (const, override));
  MOCK_METHOD(void, debugDump, (unsigned int level, std::ostream& out), (override));
  MOCK_METHOD(TOVSmrPtr<ITovaSubscriber>, getStaticSubscriber, (), (override));
  MOCK_METHOD(void, setStaticSubscriber, (TOVSmrPtr<ITovaSubscriber> subscriber), (override));
  MOCK_METHOD(int, authorizeSubscription,
              (const TOVSmrPtr<ITovaInstanceName>& filterName, const ClassList& classes,
               const TOVSmrPtr<IQueryStatement>& query),
              (override));
  MOCK_METHOD(int, activateSubscription,
              (const TOVSmrPtr<ITovaInstanceName>& filterName, const ClassList& classes,
               const TOVSmrPtr<IQueryStatement>& query),
              (override));
  MOCK_METHOD(int, deactivateSubscription,
              (const TOVSmrPtr<ITovaInstanceName>& filterName, const ClassList& classes,
               const TOVSmrPtr<IQueryStatement>& query),
              (override));
  MOCK_METHOD(int, enableIndications, (), (override));
  MOCK_METHOD(int, disableIndications, (), (override));
  MOCK_METHOD(void, setProviderContext, (const TOVSmrPtr<IProviderContext>& providerContext),
              (override));
  MOCK_METHOD(TOVSmrPtr<IProviderContext>, getProviderContext, (), (const, override));
};

// Lets through, any number of times, the lifecycle calls that ProviderSet
// makes (start and shutdown), so that a testing::StrictMock<MockProvider>
// fails on every request operation the test does not expect.
inline void allowLifecycleCalls(MockProvider& mock) {
  using ::testing::_;
  using ::testing::AnyNumber;
  EXPECT_CALL(mock, initialize(_)).Times(AnyNumber());
  EXPECT_CALL(mock, setWorkArea(_)).Times(AnyNumber());
  EXPECT_CALL(mock, getProviderName()).Times(AnyNumber());
  EXPECT_CALL(mock, setProviderContext(_)).Times(AnyNumber());
  EXPECT_CALL(mock, startup()).Times(AnyNumber());
  EXPECT_CALL(mock, postStartup()).Times(AnyNumber());
  EXPECT_CALL(mock, postStartupIsComplete()).Times(AnyNumber());
  EXPECT_CALL(mock, shutdown()).Times(AnyNumber());
}

}  // namespace kest::server::testing
