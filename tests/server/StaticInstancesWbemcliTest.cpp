// End-to-end tests of the instances compiled from MOF: the real wbemcli
// against an in-process kest-server started with a MOF file (written by the
// test) that declares instances and associations between them, through a
// proxy that records every response so that each body is validated against
// the CIM DTD.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/Log.h"
#include "server/Server.h"
#include "tests/server/HttpTestSupport.h"
#include "tests/server/ServerTestSupport.h"
#include "tests/server/WbemcliRunner.h"

using kest::server::Server;
using kest::server::ServerSettings;
using kest::server::testing::RecordingProxy;
using kest::server::testing::runWbemcli;
using kest::server::testing::TemporaryFolder;
using kest::server::testing::WbemcliRun;

namespace {

const char* const kMof = R"(
class Test_Shelf { [Key] string Name; uint32 Slots; };
class Test_Empty { [Key] string Name; };
class Test_Book { [Key] string Title; string Author; };
[Association] class Test_ShelfHolds {
  [Key] Test_Shelf REF Shelf;
  [Key] Test_Book REF Book;
};
instance of Test_Shelf as $shelf { Name = "s1"; Slots = 2; };
instance of Test_Book as $dune { Title = "Dune"; Author = "FH"; };
instance of Test_Book as $emma { Title = "Emma"; Author = "JA"; };
instance of Test_ShelfHolds { Shelf = $shelf; Book = $dune; };
instance of Test_ShelfHolds { Shelf = $shelf; Book = $emma; };

#pragma namespace("root/interop")
instance of CIM_RegisteredProfile {
  InstanceID = "test:shelves";
  RegisteredOrganization = 1;
  RegisteredName = "Shelves";
  RegisteredVersion = "1.0";
};
)";

class StaticInstancesWbemcliTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    _capture = new TOVScopedLogCapture();
    _folder = new TemporaryFolder();
    ServerSettings settings;
    settings.http.port = 0;
    settings.mofFiles = {_folder->write("shelves.mof", kMof)};
    _server = new Server(settings);
    _proxy = new RecordingProxy(_server->start());
  }

  static void TearDownTestSuite() {
    delete _proxy;
    delete _server;
    delete _folder;
    delete _capture;
  }

  // Runs wbemcli with args (see runWbemcli).
  static WbemcliRun wbemcli(const std::vector<std::string>& args) {
    return runWbemcli(*_proxy, args);
  }

  static TOVScopedLogCapture* _capture;
  static TemporaryFolder* _folder;
  static Server* _server;
  static RecordingProxy* _proxy;
};

TOVScopedLogCapture* StaticInstancesWbemcliTest::_capture = nullptr;
TemporaryFolder* StaticInstancesWbemcliTest::_folder = nullptr;
Server* StaticInstancesWbemcliTest::_server = nullptr;
RecordingProxy* StaticInstancesWbemcliTest::_proxy = nullptr;

const char* const kShelf = "URL/root/cimv2:Test_Shelf.Name=\"s1\"";
const char* const kDune = "HOST/root/cimv2:Test_Book.Title=\"Dune\"";
const char* const kEmma = "HOST/root/cimv2:Test_Book.Title=\"Emma\"";
// References as wbemcli prints them inside an object path.
const char* const kShelfRef = "HOST/root/cimv2Test_Shelf.Name=\"s1\"";
const char* const kDuneRef = "HOST/root/cimv2Test_Book.Title=\"Dune\"";
const char* const kHoldsDune =
    "HOST/root/cimv2:Test_ShelfHolds.Shelf=HOST/root/cimv2Test_Shelf.Name=\"s1\","
    "Book=HOST/root/cimv2Test_Book.Title=\"Dune\"";
const char* const kHoldsEmma =
    "HOST/root/cimv2:Test_ShelfHolds.Shelf=HOST/root/cimv2Test_Shelf.Name=\"s1\","
    "Book=HOST/root/cimv2Test_Book.Title=\"Emma\"";

}  // namespace

TEST_F(StaticInstancesWbemcliTest, EnumerationsListTheCompiledInstances) {
  const WbemcliRun books = wbemcli({"ei", "URL/root/cimv2:Test_Book"});
  EXPECT_EQ(books.exitCode, 0) << books.err;
  EXPECT_EQ(books.out, std::string(kDune) + " Title=\"Dune\",Author=\"FH\"\n" + kEmma +
                           " Title=\"Emma\",Author=\"JA\"\n");
  const WbemcliRun names = wbemcli({"ein", "URL/root/cimv2:Test_Book"});
  EXPECT_EQ(names.exitCode, 0) << names.err;
  EXPECT_EQ(names.out, std::string(kDune) + "\n" + kEmma + "\n");
  const WbemcliRun profiles = wbemcli({"ein", "URL/root/interop:CIM_RegisteredProfile"});
  EXPECT_EQ(profiles.out, "HOST/root/interop:CIM_RegisteredProfile.InstanceID=\"test:shelves\"\n");
}

TEST_F(StaticInstancesWbemcliTest, AKnownClassWithoutInstancesOrProviderHasNone) {
  const std::string empty = "URL/root/cimv2:Test_Empty.Name=\"e\"";
  const WbemcliRun get = wbemcli({"gi", empty});
  EXPECT_NE(get.err.find("(6) CIM_ERR_NOT_FOUND"), std::string::npos) << get.err;
  for (const char* operation : {"ein", "ain", "ai", "rin", "ri"}) {
    const WbemcliRun run =
        wbemcli({operation, std::string(operation) == "ein" ? "URL/root/cimv2:Test_Empty" : empty});
    EXPECT_EQ(run.exitCode, 0) << operation << ": " << run.err;
    EXPECT_EQ(run.out, "") << operation;
  }
  const WbemcliRun unknown = wbemcli({"gi", "URL/root/cimv2:Test_Unknown.Name=\"u\""});
  EXPECT_NE(unknown.err.find("(5) CIM_ERR_INVALID_CLASS"), std::string::npos) << unknown.err;
}

TEST_F(StaticInstancesWbemcliTest, GetInstanceReturnsTheCompiledInstance) {
  const WbemcliRun run = wbemcli({"gi", kShelf});
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(run.out, "HOST/root/cimv2:Test_Shelf.Name=\"s1\" Name=\"s1\",Slots=2\n");
  const WbemcliRun missing = wbemcli({"gi", "URL/root/cimv2:Test_Shelf.Name=\"none\""});
  EXPECT_EQ(missing.exitCode, 16);
  EXPECT_NE(missing.err.find("CIM_ERR_NOT_FOUND"), std::string::npos) << missing.err;
}

TEST_F(StaticInstancesWbemcliTest, AssociationOperationsFollowTheCompiledAssociations) {
  const WbemcliRun associators = wbemcli({"ai", kShelf});
  EXPECT_EQ(associators.exitCode, 0) << associators.err;
  EXPECT_EQ(associators.out, std::string(kDune) + " Title=\"Dune\",Author=\"FH\"\n" + kEmma +
                                 " Title=\"Emma\",Author=\"JA\"\n");
  const WbemcliRun names = wbemcli({"ain", "-arr", "Book", kShelf});
  EXPECT_EQ(names.out, std::string(kDune) + "\n" + kEmma + "\n");
  EXPECT_EQ(wbemcli({"ain", "-arr", "Shelf", kShelf}).out, "");
  const WbemcliRun back = wbemcli({"ain", "URL/root/cimv2:Test_Book.Title=\"Emma\""});
  EXPECT_EQ(back.out, "HOST/root/cimv2:Test_Shelf.Name=\"s1\"\n");

  const WbemcliRun references = wbemcli({"ri", "URL/root/cimv2:Test_Book.Title=\"Dune\""});
  EXPECT_EQ(references.exitCode, 0) << references.err;
  EXPECT_EQ(references.out,
            std::string(kHoldsDune) + " Shelf=" + kShelfRef + ",Book=" + kDuneRef + "\n");
  const WbemcliRun referenceNames = wbemcli({"rin", kShelf});
  EXPECT_EQ(referenceNames.out, std::string(kHoldsDune) + "\n" + kHoldsEmma + "\n");
  EXPECT_EQ(wbemcli({"rin", "-arc", "Test_Shelf", kShelf}).out, "");
}

TEST_F(StaticInstancesWbemcliTest, ChangesToCompiledInstancesAreRefused) {
  const WbemcliRun remove = wbemcli({"di", kShelf});
  EXPECT_EQ(remove.exitCode, 16);
  EXPECT_NE(remove.err.find("CIM_ERR_NOT_SUPPORTED"), std::string::npos) << remove.err;
  EXPECT_NE(remove.err.find("read-only"), std::string::npos) << remove.err;
  const WbemcliRun create =
      wbemcli({"ci", "URL/root/cimv2:Test_Book.Title=\"New\"", "Title=\"New\",Author=\"me\""});
  EXPECT_EQ(create.exitCode, 16);
  EXPECT_NE(create.err.find("CIM_ERR_NOT_SUPPORTED"), std::string::npos) << create.err;
  // Still there.
  EXPECT_EQ(wbemcli({"gi", kShelf}).exitCode, 0);
}
