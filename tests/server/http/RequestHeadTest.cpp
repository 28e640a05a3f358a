#include "server/http/RequestHead.h"

#include "server/Operations.h"

#include <gtest/gtest.h>

#include <cctype>
#include <string>
#include <utility>
#include <vector>

using kest::server::supportedFunctionalProfiles;
using kest::server::http::AcceptedHead;
using kest::server::http::basicCredentialsMatch;
using kest::server::http::capabilityHeaders;
using kest::server::http::checkRequestHead;
using kest::server::http::DiscoveryHead;
using kest::server::http::extensionPrefix;
using kest::server::http::HeadRules;
using kest::server::http::RefusedHead;

namespace {

namespace bhttp = boost::beast::http;

struct HeadCase {
  const char* name;
  std::string method;
  std::string target;
  std::vector<std::pair<std::string, std::string>> fields;
  int status;  // 0: accepted; 200: answered as an OPTIONS request
  std::string cimError;
  std::string detail;
};

HeadRules rules() {
  HeadRules rules;
  rules.maxLineSize = 200;
  rules.user = "admin";
  rules.password = "secret";
  return rules;
}

// "Basic " + base64("admin:secret").
const std::string kGoodCredentials = "Basic YWRtaW46c2VjcmV0";

bhttp::request_header<> head(const HeadCase& test) {
  bhttp::request_header<> head;
  head.method_string(test.method);
  head.target(test.target);
  head.version(11);
  for (const auto& [name, value] : test.fields) head.insert(name, value);
  return head;
}

class RequestHeadTest : public ::testing::TestWithParam<HeadCase> {};

TEST_P(RequestHeadTest, IsAcceptedOrRefusedAsHttpAndDsp0200Say) {
  const HeadCase& test = GetParam();
  const auto verdict = checkRequestHead(head(test), rules());
  if (test.status == 0 || test.status == 200) {
    const auto* refused = std::get_if<RefusedHead>(&verdict);
    ASSERT_EQ(refused, nullptr) << refused->detail;
    EXPECT_EQ(std::holds_alternative<DiscoveryHead>(verdict), test.status == 200);
    return;
  }
  ASSERT_TRUE(std::holds_alternative<RefusedHead>(verdict));
  const RefusedHead& refused = std::get<RefusedHead>(verdict);
  EXPECT_EQ(refused.status, test.status);
  EXPECT_EQ(refused.cimError, test.cimError);
  EXPECT_EQ(refused.detail, test.detail);
}

const std::pair<std::string, std::string> kAuthorized{"Authorization", kGoodCredentials};

INSTANTIATE_TEST_SUITE_P(
    Heads, RequestHeadTest,
    ::testing::Values(
        HeadCase{"Post", "POST", "/cimom", {kAuthorized}, 0, "", ""},
        HeadCase{"QueryIgnored", "POST", "/cimom?x=1", {kAuthorized}, 0, "", ""},
        HeadCase{"LongTarget",
                 "POST",
                 "/" + std::string(300, 'a'),
                 {kAuthorized},
                 414,
                 "",
                 "the request line is longer than 200 bytes"},
        HeadCase{"LongHeaderLine",
                 "POST",
                 "/cimom",
                 {kAuthorized, {"X-Long", std::string(300, 'x')}},
                 431,
                 "",
                 "the header line X-Long is longer than 200 bytes"},
        HeadCase{"NoCredentials", "POST", "/cimom", {}, 401, "", "authentication required"},
        HeadCase{"WrongPassword",
                 "POST",
                 "/cimom",
                 {{"Authorization", "Basic YWRtaW46c2VjcmV1"}},
                 401,
                 "",
                 "authentication required"},
        HeadCase{"Get",
                 "GET",
                 "/cimom",
                 {kAuthorized},
                 405,
                 "",
                 "method not allowed: use POST, M-POST or OPTIONS"},
        HeadCase{"Delete",
                 "DELETE",
                 "/cimom",
                 {kAuthorized},
                 405,
                 "",
                 "method not allowed: use POST, M-POST or OPTIONS"},
        HeadCase{"OptionsOfCimom", "OPTIONS", "/cimom", {kAuthorized}, 200, "", ""},
        HeadCase{"OptionsOfTheServer", "OPTIONS", "*", {kAuthorized}, 200, "", ""},
        HeadCase{
            "OptionsWithoutCredentials", "OPTIONS", "*", {}, 401, "", "authentication required"},
        HeadCase{"OptionsElsewhere",
                 "OPTIONS",
                 "/other",
                 {kAuthorized},
                 404,
                 "",
                 "not found: the server's capabilities are asked of /cimom or *"},
        HeadCase{"OtherPath",
                 "POST",
                 "/other",
                 {kAuthorized},
                 404,
                 "",
                 "not found: CIM operations go to /cimom"},
        HeadCase{"ExtendedPostWithoutMan",
                 "M-POST",
                 "/cimom",
                 {kAuthorized},
                 510,
                 "",
                 "an M-POST needs a Man header for http://www.dmtf.org/cim/mapping/http/v1.0"},
        HeadCase{"ExtendedPost",
                 "M-POST",
                 "/cimom",
                 {kAuthorized, {"Man", "http://www.dmtf.org/cim/mapping/http/v1.0 ; ns=73"}},
                 0,
                 "",
                 ""},
        HeadCase{"MultipleRequest",
                 "POST",
                 "/cimom",
                 {kAuthorized, {"CIMOperation", "MethodCall"}, {"CIMBatch", ""}},
                 501,
                 "multiple-requests-unsupported",
                 "multiple requests in one message are not supported"},
        HeadCase{"MultipleRequestWithConflictingHeaders",
                 "POST",
                 "/cimom",
                 {kAuthorized, {"CIMBatch", ""}, {"CIMMethod", "A"}, {"CIMMethod", "B"}},
                 501,
                 "multiple-requests-unsupported",
                 "multiple requests in one message are not supported"},
        HeadCase{"ExtendedMultipleRequest",
                 "M-POST",
                 "/cimom",
                 {kAuthorized,
                  {"Man", "http://www.dmtf.org/cim/mapping/http/v1.0 ; ns=73"},
                  {"73-CIMBatch", ""}},
                 501,
                 "multiple-requests-unsupported",
                 "multiple requests in one message are not supported"},
        HeadCase{"ExtendedPostWithUnprefixedBatch",
                 "M-POST",
                 "/cimom",
                 {kAuthorized,
                  {"Man", "http://www.dmtf.org/cim/mapping/http/v1.0 ; ns=73"},
                  {"CIMBatch", ""}},
                 0,
                 "",
                 ""},
        HeadCase{"RepeatedMethodDiffers",
                 "POST",
                 "/cimom",
                 {kAuthorized, {"CIMMethod", "GetClass"}, {"CIMMethod", "GetInstance"}},
                 400,
                 "header-mismatch",
                 "the header CIMMethod is given twice with different values"},
        HeadCase{"RepeatedOperationDiffers",
                 "POST",
                 "/cimom",
                 {kAuthorized, {"CIMOperation", "MethodCall"}, {"CIMOperation", "Other"}},
                 400,
                 "header-mismatch",
                 "the header CIMOperation is given twice with different values"},
        HeadCase{"RepeatedObjectSameOnceDecoded",
                 "POST",
                 "/cimom",
                 {kAuthorized, {"CIMObject", "root%2Fcimv2"}, {"CIMObject", "root/cimv2"}},
                 0,
                 "",
                 ""},
        HeadCase{"ExtendedPostRepeatedPrefixedHeaderDiffers",
                 "M-POST",
                 "/cimom",
                 {kAuthorized,
                  {"Man", "http://www.dmtf.org/cim/mapping/http/v1.0;ns=12"},
                  {"12-CIMObject", "root/cimv2"},
                  {"12-CIMObject", "root/other"}},
                 400,
                 "header-mismatch",
                 "the header 12-CIMObject is given twice with different values"}),
    [](const ::testing::TestParamInfo<HeadCase>& info) { return info.param.name; });

TEST(RequestHeadDetailsTest, AnAcceptedHeadSaysItsPrefixAndWhetherItExpectsContinue) {
  HeadCase test{
      "",
      "M-POST",
      "/cimom",
      {{"Man", "http://www.dmtf.org/cim/mapping/http/v1.0 ; ns=73"}, {"Expect", "100-continue"}},
      0,
      "",
      ""};
  const auto verdict = checkRequestHead(head(test), HeadRules());
  ASSERT_TRUE(std::holds_alternative<AcceptedHead>(verdict));
  const AcceptedHead& accepted = std::get<AcceptedHead>(verdict);
  EXPECT_TRUE(accepted.extended);
  EXPECT_EQ(accepted.headerPrefix, "73-");
  EXPECT_TRUE(accepted.expectsContinue);
}

TEST(RequestHeadDetailsTest, RefusalsCarryTheHeadersTheirStatusNeeds) {
  HeadCase get{"", "GET", "/cimom", {}, 0, "", ""};
  const auto refusedGet = std::get<RefusedHead>(checkRequestHead(head(get), HeadRules()));
  EXPECT_EQ(refusedGet.headers,
            (std::vector<std::pair<std::string, std::string>>{{"Allow", "POST, M-POST, OPTIONS"}}));
  HeadCase post{"", "POST", "/cimom", {}, 0, "", ""};
  const auto refusedPost = std::get<RefusedHead>(checkRequestHead(head(post), rules()));
  EXPECT_EQ(refusedPost.headers, (std::vector<std::pair<std::string, std::string>>{
                                     {"WWW-Authenticate", "Basic realm=\"kest-server\""}}));
}

TEST(RequestHeadDetailsTest, OptionsIsAnsweredWithTheCapabilityHeaders) {
  HeadCase options{"", "OPTIONS", "/cimom", {}, 0, "", ""};
  const auto verdict = checkRequestHead(head(options), HeadRules());
  ASSERT_TRUE(std::holds_alternative<DiscoveryHead>(verdict));
  EXPECT_EQ(std::get<DiscoveryHead>(verdict).headers, capabilityHeaders());
}

TEST(RequestHeadDetailsTest, CapabilityHeadersNameTheFunctionalGroupsOfTheSupportedProfiles) {
  // A group is its profile's name in lower case with hyphens for spaces; the
  // pulled operations' profiles have no group the header can name.
  std::string groups;
  for (const TOVString& profile : supportedFunctionalProfiles()) {
    std::string name = profile.toStdString();
    if (name.rfind("Pulled", 0) == 0) continue;
    for (char& c : name) c = c == ' ' ? '-' : static_cast<char>(std::tolower(c));
    groups += (groups.empty() ? "" : ", ") + name;
  }
  ASSERT_EQ(groups.rfind("basic-read", 0), 0U) << groups;
  EXPECT_EQ(capabilityHeaders(), (std::vector<std::pair<std::string, std::string>>{
                                     {"CIMProtocolVersion", "1.0"},
                                     {"CIMSupportedFunctionalGroups", groups},
                                     {"CIMValidation", "loosely-validating"}}));
}

TEST(RequestHeadDetailsTest, BasicCredentialsMatchOnlyExactly) {
  EXPECT_TRUE(basicCredentialsMatch(kGoodCredentials, "admin:secret"));
  EXPECT_TRUE(basicCredentialsMatch("basic   YWRtaW46c2VjcmV0  ", "admin:secret"));
  EXPECT_FALSE(basicCredentialsMatch(kGoodCredentials, "admin:secreT"));
  EXPECT_FALSE(basicCredentialsMatch("Bearer YWRtaW46c2VjcmV0", "admin:secret"));
  EXPECT_FALSE(basicCredentialsMatch("Basic YWRtaW46c2VjcmV", "admin:secret"));
  EXPECT_FALSE(basicCredentialsMatch("Basic", "admin:secret"));
  EXPECT_FALSE(basicCredentialsMatch("", ""));
}

TEST(RequestHeadDetailsTest, ExtensionPrefixIsTheNsOfTheCimMapping) {
  EXPECT_EQ(extensionPrefix("http://www.dmtf.org/cim/mapping/http/v1.0 ; ns=73"), "73-");
  EXPECT_EQ(extensionPrefix("http://www.dmtf.org/cim/mapping/http/v1.0;NS=5"), "5-");
  EXPECT_EQ(extensionPrefix("http://example.org/other ; ns=73"), "");
  EXPECT_EQ(extensionPrefix("http://www.dmtf.org/cim/mapping/http/v1.0"), "");
  EXPECT_EQ(extensionPrefix("http://www.dmtf.org/cim/mapping/http/v1.0 ; ns=x"), "");
}

}  // namespace
