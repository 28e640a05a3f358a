// The methods of the system provider's processes and file systems, called
// through the provider as the host calls them: good calls with their typed
// output parameters, and bad or missing parameters with the framework's
// errors.

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "framework/Exception.h"
#include "host/ActualParameter.h"
#include "host/Log.h"
#include "tests/examples/SystemProviderTesting.h"
#include "tests/support/Thrown.h"

using kest::testing::elementName;
using kest::testing::make;
using kest::testing::processName;
using kest::testing::Thrown;
using kest::testing::thrownAs;

namespace {

using ParameterList = kest::IProvider::ParameterList;

// What a method call returned: the return value and each output parameter
// as "<type> <text>".
struct Call {
  TOVSmrPtr<ITovaValue> returned;
  std::map<std::string, std::string> out;
};

ParameterList parameters(std::vector<std::pair<const char*, TOVSmrPtr<ITovaValue>>> items) {
  ParameterList list(new TOVValSlist<TOVParameter>());
  for (const auto& [name, value] : items) {
    list->append(TOVParameter(new CTovaActualParameter(name, value)));
  }
  return list;
}

class MethodsTest : public kest::testing::SystemProviderFixture {
 protected:
  Call call(const TOVSmrPtr<ITovaInstanceName>& target, const char* method,
            const ParameterList& in = parameters({})) {
    const ParameterList out(new TOVValSlist<TOVParameter>());
    Call result;
    result.returned =
        provider().executeMethod(kest::testing::kTestNameSpace, target, method, in, out, nullptr);
    for (const TOVParameter& parameter : *out) {
      result.out[parameter->getName().toStdString()] =
          parameter->getValue()->getType()->getName().toStdString() + " " +
          parameter->getValue()->toString().toStdString();
    }
    return result;
  }

  Thrown failure(const TOVSmrPtr<ITovaInstanceName>& target, const char* method,
                 const ParameterList& in) {
    return thrownAs<kest::pf::Exception>([&] { call(target, method, in); });
  }

  static std::string returnText(const Call& c) {
    return c.returned->getType()->getName().toStdString() + " " +
           c.returned->toString().toStdString();
  }

  TOVSmrPtr<ITovaInstanceName> root() { return elementName("KEST_FileSystem", "/"); }
};

class ProcessInstanceTest : public MethodsTest {};
class FileSystemInstanceTest : public MethodsTest {};

TEST_F(ProcessInstanceTest, GetOpenFileCountCountsTheDescriptors) {
  _fixture.write("proc/100/fd/7", "");
  const Call result = call(processName(100), "GetOpenFileCount");
  EXPECT_EQ(returnText(result), "uint32 0");
  EXPECT_EQ(result.out, (std::map<std::string, std::string>{{"Count", "uint32 4"}}));
}

TEST_F(ProcessInstanceTest, GetOpenFileCountOfUnreadableDescriptorsReturnsOne) {
  _fixture.remove("proc/100/fd");
  const Call result = call(processName(100), "getopenfilecount");
  EXPECT_EQ(returnText(result), "uint32 1");
  EXPECT_TRUE(result.out.empty());
}

TEST_F(ProcessInstanceTest, GetStatusFieldReadsTheNamedField) {
  const Call result =
      call(processName(100), "GetStatusField", parameters({{"Field", make("VmRSS")}}));
  EXPECT_EQ(returnText(result), "uint32 0");
  EXPECT_EQ(result.out, (std::map<std::string, std::string>{{"Value", "string 4800 kB"}}));
  // Parameter names match in any case.
  EXPECT_EQ(call(processName(200), "GetStatusField", parameters({{"FIELD", make("PPid")}}))
                .out.at("Value"),
            "string 100");
}

TEST_F(ProcessInstanceTest, GetStatusFieldOfAnUnknownFieldReturnsOne) {
  const Call result =
      call(processName(100), "GetStatusField", parameters({{"Field", make("NoSuchField")}}));
  EXPECT_EQ(returnText(result), "uint32 1");
  EXPECT_TRUE(result.out.empty());
}

TEST_F(ProcessInstanceTest, GetStatusFieldWithoutFieldIsAMissingParameter) {
  const Thrown thrown =
      failure(processName(100), "GetStatusField", parameters({{"Other", make("VmRSS")}}));
  ASSERT_TRUE(thrown.caught);
  EXPECT_EQ(thrown.where, "PFProvider");
  EXPECT_EQ(thrown.message, "Missing parameter Field");
  EXPECT_EQ(thrown.code, 17664);
}

TEST_F(ProcessInstanceTest, GetStatusFieldWithANullFieldIsAMissingParameter) {
  for (const TOVSmrPtr<ITovaValue>& value :
       {CTovaValue::nullOf(CTovaType::string), TOVSmrPtr<ITovaValue>()}) {
    const Thrown thrown =
        failure(processName(100), "GetStatusField", parameters({{"Field", value}}));
    ASSERT_TRUE(thrown.caught);
    EXPECT_EQ(thrown.where, "kest::pf::Helper::NullStringParameterHandler()");
    EXPECT_EQ(thrown.message, "Missing parameter Field");
    EXPECT_EQ(thrown.code, 17664);
  }
}

TEST_F(ProcessInstanceTest, UnknownMethodIsNotSupported) {
  const Thrown thrown = failure(processName(100), "Kill", parameters({}));
  ASSERT_TRUE(thrown.caught);
  EXPECT_EQ(thrown.where, "kest::examples::ProcessInstance::executeMethod");
  EXPECT_EQ(thrown.message, "Kill is not a method of KEST_Process");
  EXPECT_EQ(thrown.code, 7);
}

TEST_F(ProcessInstanceTest, MethodOfAProcessThatIsNotCachedIsObjectNotFound) {
  const Thrown thrown = failure(processName(999), "GetOpenFileCount", parameters({}));
  ASSERT_TRUE(thrown.caught);
  EXPECT_EQ(thrown.where, "kest::pf::Provider::executeMethod()");
  EXPECT_EQ(thrown.code, 17666);
}

TEST_F(ProcessInstanceTest, SuccessfulCallIsWrittenToTheAuditLog) {
  const TOVScopedLogCapture capture;
  call(processName(100), "GetOpenFileCount");
  const std::vector<TOVLogRecord> records = capture.records();
  ASSERT_EQ(records.size(), 1u);
  EXPECT_EQ(records[0].source, "SystemProvider");
  EXPECT_EQ(records[0].message,
            "Method GetOpenFileCount of "
            "kest_process.creationclassname=\"KEST_Process\",name=\"100\",systemname=\"testhost\" "
            "returned 0");
  EXPECT_EQ(records[0].severity, 4);
}

TEST_F(FileSystemInstanceTest, GetUsageReturnsTheFiguresOfStatvfsNow) {
  // Changed since the last refresh: the method reads anew.
  _fixture.setVolume("/", kest::examples::VolumeUsage{4096, 1000, 250, 150, 10, 5});
  const Call result = call(root(), "GetUsage");
  EXPECT_EQ(returnText(result), "uint32 0");
  EXPECT_EQ(
      result.out,
      (std::map<std::string, std::string>{
          {"TotalBytes", "uint64 1000"},
          {"UsedBytes", "uint64 750"},
          {"AvailableBytes", "uint64 150"},
          {"PercentUsed", "real64 " + CTovaValue(750.0 * 100 / 900).toString().toStdString()}}));
}

TEST_F(FileSystemInstanceTest, GetUsageWithoutFiguresReturnsOne) {
  _fixture.setVolume("/", std::nullopt);
  const Call result = call(root(), "GetUsage");
  EXPECT_EQ(returnText(result), "uint32 1");
  EXPECT_TRUE(result.out.empty());
}

TEST_F(FileSystemInstanceTest, HasFreeSpaceComparesWithTheAvailableBytes) {
  // 35,000,000,000 bytes available of 100,000,000,000.
  const Call fits = call(root(), "HasFreeSpace", parameters({{"Bytes", make(30000000000ULL)}}));
  EXPECT_EQ(returnText(fits), "uint32 0");
  EXPECT_EQ(fits.out,
            (std::map<std::string, std::string>{{"Sufficient", "boolean true"},
                                                {"AvailableBytes", "uint64 35000000000"}}));
  EXPECT_EQ(call(root(), "HasFreeSpace", parameters({{"Bytes", make(35000000001ULL)}}))
                .out.at("Sufficient"),
            "boolean false");
}

TEST_F(FileSystemInstanceTest, HasFreeSpaceKeepsTheReserveFree) {
  // A reserve of 10% keeps 10,000,000,000 bytes: 25,000,000,000 remain.
  const auto withReserve = [&](unsigned long long bytes, TOVSmrPtr<ITovaValue> reserve) {
    return call(root(), "HasFreeSpace",
                parameters({{"Bytes", make(bytes)}, {"ReservePercent", std::move(reserve)}}))
        .out.at("Sufficient");
  };
  EXPECT_EQ(withReserve(25000000000ULL, make(TOVuint8{10})), "boolean true");
  EXPECT_EQ(withReserve(25000000001ULL, make(TOVuint8{10})), "boolean false");
  EXPECT_EQ(withReserve(35000000000ULL, make(TOVuint8{0})), "boolean true");
  EXPECT_EQ(withReserve(1, make(TOVuint8{100})), "boolean false");
  // A NULL reserve is the default, 0.
  EXPECT_EQ(withReserve(35000000000ULL, CTovaValue::nullOf(CTovaType::uint8)), "boolean true");
}

TEST_F(FileSystemInstanceTest, HasFreeSpaceAcceptsNumbersSentAsText) {
  const Call result =
      call(root(), "HasFreeSpace",
           parameters({{"bytes", make("30000000000")}, {"reservepercent", make("20")}}));
  EXPECT_EQ(result.out.at("Sufficient"), "boolean false");
}

TEST_F(FileSystemInstanceTest, HasFreeSpaceWithoutBytesIsAMissingParameter) {
  const Thrown thrown = failure(root(), "HasFreeSpace", parameters({{"ReservePercent", make(5)}}));
  ASSERT_TRUE(thrown.caught);
  EXPECT_EQ(thrown.where, "PFProvider");
  EXPECT_EQ(thrown.message, "Missing parameter Bytes");
  EXPECT_EQ(thrown.code, 17664);
}

TEST_F(FileSystemInstanceTest, HasFreeSpaceWithNullBytesIsAMissingParameter) {
  const Thrown thrown = failure(root(), "HasFreeSpace",
                                parameters({{"Bytes", CTovaValue::nullOf(CTovaType::uint64)}}));
  ASSERT_TRUE(thrown.caught);
  EXPECT_EQ(thrown.where, "kest::pf::Helper::NullStringParameterHandler()");
  EXPECT_EQ(thrown.message, "Missing parameter Bytes");
  EXPECT_EQ(thrown.code, 17664);
}

struct BadParameterCase {
  const char* description;
  TOVSmrPtr<ITovaValue> bytes;
  TOVSmrPtr<ITovaValue> reserve;
  const char* message;
};

class FileSystemBadParameterTest : public MethodsTest,
                                   public ::testing::WithParamInterface<BadParameterCase> {};

TEST_P(FileSystemBadParameterTest, IsAnInvalidParameter) {
  std::vector<std::pair<const char*, TOVSmrPtr<ITovaValue>>> items = {{"Bytes", GetParam().bytes}};
  if (GetParam().reserve) items.emplace_back("ReservePercent", GetParam().reserve);
  const Thrown thrown = failure(root(), "HasFreeSpace", parameters(items));
  ASSERT_TRUE(thrown.caught) << GetParam().description;
  EXPECT_EQ(thrown.where, "kest::examples::FileSystemInstance::executeMethod");
  EXPECT_EQ(thrown.message, GetParam().message);
  EXPECT_EQ(thrown.code, 17664);
}

INSTANTIATE_TEST_SUITE_P(
    Values, FileSystemBadParameterTest,
    ::testing::Values(
        BadParameterCase{"text bytes", make("lots"), nullptr, "Invalide input parameter Bytes"},
        BadParameterCase{"negative bytes", make(-1), nullptr, "Invalide input parameter Bytes"},
        BadParameterCase{"real bytes", make(1.5), nullptr, "Invalide input parameter Bytes"},
        BadParameterCase{"reserve over 100", make(1), make(101),
                         "Invalide input parameter ReservePercent"},
        BadParameterCase{"reserve that wraps in 8 bits", make(1), make(300),
                         "Invalide input parameter ReservePercent"},
        BadParameterCase{"text reserve", make(1), make("half"),
                         "Invalide input parameter ReservePercent"}));

TEST_F(FileSystemInstanceTest, HasFreeSpaceWithoutFiguresReturnsOne) {
  const Call result = call(elementName("KEST_FileSystem", "/run/user 1000"), "HasFreeSpace",
                           parameters({{"Bytes", make(1)}}));
  EXPECT_EQ(returnText(result), "uint32 0");
  _fixture.setVolume("/run/user 1000", std::nullopt);
  const Call missing = call(elementName("KEST_FileSystem", "/run/user 1000"), "HasFreeSpace",
                            parameters({{"Bytes", make(1)}}));
  EXPECT_EQ(returnText(missing), "uint32 1");
  EXPECT_TRUE(missing.out.empty());
}

TEST_F(FileSystemInstanceTest, UnknownMethodIsNotSupported) {
  const Thrown thrown = failure(root(), "Format", parameters({}));
  ASSERT_TRUE(thrown.caught);
  EXPECT_EQ(thrown.message, "Format is not a method of KEST_FileSystem");
  EXPECT_EQ(thrown.code, 7);
}

}  // namespace
