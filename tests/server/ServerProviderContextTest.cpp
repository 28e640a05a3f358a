#include "server/ServerProviderContext.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/Indication.h"
#include "host/IndicationServices.h"
#include "host/Log.h"
#include "host/Object.h"
#include "server/ClassCatalog.h"
#include "server/ProviderSet.h"
#include "support/ObjectModelBuilders.h"

using kest::server::ClassCatalog;
using kest::server::ProviderSet;
using kest::server::ProviderSpec;
using kest::server::ServerProviderContext;
using kest::testing::make;
using kest::testing::makeName;

namespace {

TOVSmrPtr<ITovaObject> fooObject() {
  TOVSmrPtr<CTovaObject> object(new CTovaObject("Test_Foo"));
  object->setInstanceName(makeName("Test_Foo", "Name", make("a")));
  return CTovaObject::iPtr(object);
}

// The messages of the context's records; each must be at severity 4 in the
// CIMOM log with verbosity 2.
std::vector<std::string> contextMessages(const TOVScopedLogCapture& capture) {
  std::vector<std::string> messages;
  for (const TOVLogRecord& record : capture.records()) {
    if (record.source != TOVString("kest::server::ServerProviderContext")) continue;
    EXPECT_EQ(record.severity, 4);
    EXPECT_EQ(record.verbosity, 2);
    EXPECT_EQ(record.flags, 0);
    EXPECT_EQ(record.category, TOVLog::CIMOMLOG);
    messages.push_back(record.message.toStdString());
  }
  return messages;
}

}  // namespace

TEST(ServerProviderContextTest, SmiSIndicationsAreLoggedWithClassAndIdentifier) {
  TOVScopedLogCapture capture;
  ServerProviderContext context("Array", "root/cimv2");
  context.deliverIndication("", CTovaObject::iPtr(kest::SMISIndicationFactory::createInstCreation(
                                    "OMX:Array.1", fooObject())));
  context.deliverIndication("root/interop",
                            CTovaObject::iPtr(kest::SMISIndicationFactory::createInstDeletion(
                                "OMX:Array.2", fooObject())));
  context.deliverIndication("", TOVSmrPtr<ITovaObject>());
  EXPECT_EQ(contextMessages(capture),
            (std::vector<std::string>{
                "Indication CIM_InstCreation OMX:Array.1 from Array for root/cimv2",
                "Indication CIM_InstDeletion OMX:Array.2 from Array for root/interop",
                "Indication (none) (none) from Array for root/cimv2"}));
}

TEST(ServerProviderContextTest, NativeIndicationsAreLoggedWithTypeClassAndObjectName) {
  TOVScopedLogCapture capture;
  ServerProviderContext context("Array", "root/cimv2");
  context.deliverLegacyIndication(TOVSmrPtr<ITovaIndication>(new CTovaIndication(
      fooObject(), ITovaIndication::IndicationCreation, TOVSmrPtr<TOVValSlist<TOVString>>(),
      nullptr, 1, TOVSmrPtr<TOVValSlist<TOVString>>(), false)));
  context.deliverLegacyIndication(TOVSmrPtr<ITovaIndication>());
  EXPECT_EQ(contextMessages(capture),
            (std::vector<std::string>{"Legacy indication 8 Test_Foo test_foo.name=\"a\" from Array",
                                      "Legacy indication (none) (none) (none) from Array"}));
}

TEST(ServerProviderContextTest, AStartingProvidersIndicationsReachTheLog) {
  TOVScopedLogCapture capture;
  ClassCatalog catalog("root/cimv2");
  ProviderSet providers;
  providers.start({ProviderSpec{KEST_TEST_PROVIDER, "root/cimv2"}}, catalog.repository(), "",
                  catalog);
  const std::vector<std::string> messages = contextMessages(capture);
  ASSERT_GE(messages.size(), 2u);
  EXPECT_EQ(messages[0],
            "Indication CIM_InstCreation OMX:ServerTest.1 from ServerTest for root/cimv2");
  EXPECT_EQ(messages[1],
            "Legacy indication 8 Test_Foo test_foo.id=42,name=\"abc\" from ServerTest");
}

TEST(ServerProviderContextTest, HandsOutTheServerDescriptionItWasMadeWith) {
  const kest::ServerDescription description;
  EXPECT_EQ(ServerProviderContext("P", "root/cimv2").getServerDescription(), nullptr);
  EXPECT_EQ(ServerProviderContext("P", "root/cimv2", &description).getServerDescription(),
            &description);
}
