#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include "host/Log.h"
#include "host/RecordingProviderContext.h"
#include "server/ClassCatalog.h"
#include "server/ProviderLoader.h"
#include "server/ProviderSet.h"

using kest::server::ClassCatalog;
using kest::server::DeclaredClass;
using kest::server::LoadedProvider;
using kest::server::ProviderError;
using kest::server::ProviderLoader;
using kest::server::ProviderSet;
using kest::server::ProviderSpec;

namespace {

// Sets the faulty provider's failure for the lifetime of the object.
class ScopedFault {
 public:
  explicit ScopedFault(const char* fault) { setenv("KEST_TEST_PROVIDER_FAULT", fault, 1); }
  ~ScopedFault() { unsetenv("KEST_TEST_PROVIDER_FAULT"); }
};

// "<reason>" of the ProviderError that f throws for path, or what went wrong.
template <typename F>
std::string failure(const std::string& path, F f) {
  try {
    f();
  } catch (const ProviderError& error) {
    if (error.path() != path) return "wrong path " + error.path();
    if (std::string(error.what()) != path + ": " + error.reason()) return "wrong what()";
    return error.reason();
  }
  return "no error";
}

std::string loadFailure(const std::string& path) {
  return failure(path, [&] { ProviderLoader::load(ProviderSpec{path, "root/cimv2"}); });
}

// The lifecycle records of the test providers, as "<source> <message>".
std::vector<std::string> lifecycle(const TOVScopedLogCapture& capture) {
  std::vector<std::string> steps;
  for (const TOVLogRecord& record : capture.records()) {
    if (record.source == TOVString("ServerTestProvider") ||
        record.source == TOVString("FaultyProvider")) {
      steps.push_back(record.source.toStdString() + " " + record.message.toStdString());
    }
  }
  return steps;
}

const ProviderSpec kTestProvider{KEST_TEST_PROVIDER, "root/cimv2"};
const ProviderSpec kFaultyProvider{KEST_FAULTY_PROVIDER, "root/cimv2"};

// The reason why starting the test provider and then the faulty one fails.
std::string startFailure(ProviderSet& providers) {
  ClassCatalog catalog("root/cimv2");
  return failure(KEST_FAULTY_PROVIDER, [&] {
    providers.start({kTestProvider, kFaultyProvider}, catalog.repository(), "", catalog);
  });
}

}  // namespace

// --- ProviderLoader -------------------------------------------------------------

TEST(ProviderLoaderTest, LoadsAFrameworkProviderAndReadsTheClassesItDeclares) {
  const std::unique_ptr<LoadedProvider> loaded = ProviderLoader::load(kTestProvider);
  EXPECT_EQ(loaded->path(), KEST_TEST_PROVIDER);
  EXPECT_EQ(loaded->nameSpace(), TOVString("root/cimv2"));
  EXPECT_EQ(loaded->provider().getProviderName(), TOVString("ServerTest"));
  EXPECT_TRUE(loaded->declaredClasses().empty());

  TOVScopedLogCapture capture;
  loaded->provider().setProviderContext(
      TOVSmrPtr<kest::IProviderContext>(new kest::RecordingProviderContext()));
  loaded->provider().startup();
  std::vector<std::string> classes;
  for (const DeclaredClass& cls : loaded->declaredClasses()) {
    classes.push_back(cls.name.toStdString() + ":" + cls.superClass.toStdString() +
                      (cls.association ? ":association" : ""));
  }
  std::sort(classes.begin(), classes.end());
  EXPECT_EQ(classes,
            (std::vector<std::string>{"Test_Bar:", "Test_Base:", "Test_Foo:Test_Base",
                                      "Test_FooBar::association", "Test_FooChild:Test_Foo"}));
  loaded->provider().shutdown();
}

TEST(ProviderLoaderTest, AProviderNotBuiltOnTheFrameworkDeclaresClassesThroughItsEntryPoint) {
  const std::unique_ptr<LoadedProvider> loaded =
      ProviderLoader::load(ProviderSpec{KEST_THROWING_PROVIDER, "root/cimv2"});
  const std::vector<DeclaredClass> classes = loaded->declaredClasses();
  ASSERT_EQ(classes.size(), 13u);
  EXPECT_EQ(classes[0].name, TOVString("Test_ErrNotSupported"));
  EXPECT_TRUE(classes[0].superClass.isNull());
  EXPECT_FALSE(classes[0].association);
}

TEST(ProviderLoaderTest, AMissingLibraryIsReportedWithItsPathAndReason) {
  EXPECT_EQ(loadFailure("/nonexistent/libnothing.so"),
            "cannot load the library: /nonexistent/libnothing.so: cannot open shared object file: "
            "No such file or directory");
}

TEST(ProviderLoaderTest, ALibraryWithoutTheCreateEntryPointIsRefused) {
  EXPECT_EQ(loadFailure(KEST_HOST_LIBRARY), "the library does not export kest_provider_create");
}

TEST(ProviderLoaderTest, ALibraryWithoutTheDestroyEntryPointIsRefused) {
  EXPECT_EQ(loadFailure(KEST_HALF_PROVIDER), "the library does not export kest_provider_destroy");
}

TEST(ProviderLoaderTest, ALibraryWithoutTheDeclareClassesEntryPointIsRefused) {
  EXPECT_EQ(loadFailure(KEST_UNDECLARED_PROVIDER),
            "the library does not export kest_provider_declare_classes");
}

TEST(ProviderLoaderTest, ACreateEntryPointThatReturnsNothingIsRefused) {
  const ScopedFault fault("create-null");
  EXPECT_EQ(loadFailure(KEST_FAULTY_PROVIDER), "kest_provider_create returned no provider");
}

TEST(ProviderLoaderTest, ACreateEntryPointThatThrowsIsRefusedWithTheMessage) {
  const ScopedFault fault("create-throws");
  EXPECT_EQ(loadFailure(KEST_FAULTY_PROVIDER),
            "kest_provider_create failed: no licence for the faulty provider");
}

// --- ProviderSet ----------------------------------------------------------------

TEST(ProviderSetTest, LifecycleCallsComeInTheDocumentedOrder) {
  TOVScopedLogCapture capture;
  ClassCatalog catalog("root/cimv2");
  ProviderSet providers;
  providers.start({kTestProvider, kFaultyProvider}, catalog.repository(), "/tmp/work", catalog);
  providers.shutdown();
  providers.shutdown();
  EXPECT_EQ(lifecycle(capture),
            (std::vector<std::string>{
                "ServerTestProvider initialize", "ServerTestProvider setWorkArea /tmp/work",
                "ServerTestProvider setProviderContext", "ServerTestProvider startup",
                "FaultyProvider startup", "ServerTestProvider postStartup",
                "FaultyProvider postStartup", "ServerTestProvider postStartupIsComplete",
                "FaultyProvider shutdown", "ServerTestProvider shutdown"}));
}

TEST(ProviderSetTest, ClassesAreRoutedInAnyCaseWithinTheProvidersNamespace) {
  ClassCatalog catalog("root/cimv2");
  ProviderSet providers;
  providers.start({kTestProvider, ProviderSpec{KEST_FAULTY_PROVIDER, "root/interop"}},
                  catalog.repository(), "", catalog);
  ASSERT_EQ(providers.providers().size(), 2u);
  LoadedProvider* test = providers.providers()[0].get();
  LoadedProvider* faulty = providers.providers()[1].get();
  EXPECT_EQ(providers.providerFor("ROOT/cimv2", "test_FOO"), test);
  EXPECT_EQ(providers.providerFor("root/cimv2", "Test_FooBar"), test);
  EXPECT_EQ(providers.providerFor("root/interop", "Test_Faulty"), faulty);
  EXPECT_EQ(providers.providerFor("root/interop", "Test_Foo"), nullptr);
  EXPECT_EQ(providers.providerFor("root/cimv2", "Test_Faulty"), nullptr);
  EXPECT_EQ(catalog.find("root/cimv2", "Test_FooChild")->superClassName, TOVString("Test_Foo"));
  EXPECT_TRUE(catalog.find("root/cimv2", "Test_FooBar")->association);
  EXPECT_TRUE(catalog.find("root/interop", "Test_Faulty"));
}

TEST(ProviderSetTest, AFailingStartupShutsDownTheStartedProvidersAndNamesTheFailingOne) {
  const ScopedFault fault("startup-throws");
  TOVScopedLogCapture capture;
  ProviderSet providers;
  EXPECT_EQ(startFailure(providers), "startup failed: the managed device is missing");
  EXPECT_TRUE(providers.providers().empty());
  const std::vector<std::string> steps = lifecycle(capture);
  EXPECT_EQ(steps.back(), "ServerTestProvider shutdown");
  EXPECT_EQ(std::count(steps.begin(), steps.end(), "FaultyProvider shutdown"), 0);
}

TEST(ProviderSetTest, AFailingPostStartupShutsDownEveryProvider) {
  const ScopedFault fault("postStartup-throws");
  TOVScopedLogCapture capture;
  ProviderSet providers;
  EXPECT_EQ(startFailure(providers), "postStartup failed: late failure");
  const std::vector<std::string> steps = lifecycle(capture);
  ASSERT_GE(steps.size(), 2u);
  EXPECT_EQ(steps[steps.size() - 2], "FaultyProvider shutdown");
  EXPECT_EQ(steps.back(), "ServerTestProvider shutdown");
}

TEST(ProviderSetTest, TwoProvidersDeclaringOneClassInOneNamespaceIsAFailure) {
  const ScopedFault fault("duplicate");
  ProviderSet providers;
  EXPECT_EQ(startFailure(providers),
            std::string("class TEST_FOO in namespace root/cimv2 is already served by ") +
                KEST_TEST_PROVIDER);
  ProviderSet elsewhere;
  ClassCatalog other("root/cimv2");
  elsewhere.start({kTestProvider, ProviderSpec{KEST_FAULTY_PROVIDER, "root/interop"}},
                  other.repository(), "", other);
  EXPECT_EQ(elsewhere.providers().size(), 2u);
}

TEST(ProviderSetTest, AProviderWithoutClassesIsAcceptedWithAWarning) {
  const ScopedFault fault("no-classes");
  TOVScopedLogCapture capture;
  ClassCatalog catalog("root/cimv2");
  ProviderSet providers;
  providers.start({kFaultyProvider}, catalog.repository(), "", catalog);
  EXPECT_EQ(
      capture.sink().count(TOVString(KEST_FAULTY_PROVIDER) + ": the provider declares no classes"),
      1u);
}

TEST(ProviderSetTest, AFailingShutdownIsLoggedAndTheOthersStillShutDown) {
  const ScopedFault fault("shutdown-throws");
  TOVScopedLogCapture capture;
  ClassCatalog catalog("root/cimv2");
  ProviderSet providers;
  providers.start({kTestProvider, kFaultyProvider}, catalog.repository(), "", catalog);
  providers.shutdown();
  EXPECT_EQ(
      capture.sink().count(TOVString(KEST_FAULTY_PROVIDER) + ": shutdown failed: cannot let go"),
      1u);
  EXPECT_EQ(lifecycle(capture).back(), "ServerTestProvider shutdown");
}
