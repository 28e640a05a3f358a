// The HTTP front end under attack: slow and oversized headers, malformed
// framing, more connections than the limit, a provider that does not answer
// and stopping with requests in flight. Each attack must fail while a
// legitimate client keeps being served.

#include <dirent.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "tests/server/FrontEndFixture.h"
#include "tests/support/WaitUntil.h"

using kest::server::ServerSettings;
using kest::server::testing::cimPost;
using kest::server::testing::expectRefusal;
using kest::server::testing::HttpFrontEndTest;
using kest::server::testing::HttpResponse;
using kest::server::testing::kNamesOfFoo;
using kest::server::testing::kSlowEnumeration;
using kest::server::testing::RawConnection;
using kest::server::testing::SlowEnumerationsHeld;
using kest::testing::waitUntil;

namespace {

using HttpFrontEndLimitsTest = HttpFrontEndTest;

const std::string kLegitimate = cimPost("EnumerateInstanceNames", kNamesOfFoo);

// The start of a request whose header never completes.
const std::string kUnfinishedHeader = "POST /cimom HTTP/1.1\r\nHost: x\r\nX-Slow: a";

std::size_t threadsOfThisProcess() {
  std::size_t count = 0;
  DIR* tasks = opendir("/proc/self/task");
  if (tasks == nullptr) return 0;
  while (const dirent* entry = readdir(tasks)) {
    if (entry->d_name[0] != '.') ++count;
  }
  closedir(tasks);
  return count;
}

// A request with the given Content-Length header line(s) and body.
std::string withLengths(const std::string& lengthLines, const std::string& body) {
  return "POST /cimom HTTP/1.1\r\nHost: x\r\nCIMOperation: MethodCall\r\nCIMMethod: "
         "EnumerateInstanceNames\r\nCIMObject: root%2Fcimv2\r\n" +
         lengthLines + "\r\n" + body;
}

}  // namespace

TEST_F(HttpFrontEndLimitsTest, SlowHeadersFromManyConnectionsDoNotKeepALegitimateClientOut) {
  start([](ServerSettings& settings) {
    settings.http.maxConnections = 8;
    settings.http.headerTimeoutSeconds = 600;
  });
  std::vector<std::unique_ptr<RawConnection>> slow;
  for (int i = 0; i < 24; ++i) {
    slow.push_back(std::make_unique<RawConnection>(_port));
    slow.back()->send(kUnfinishedHeader);
  }
  for (int round = 0; round < 3; ++round) {
    RawConnection legitimate(_port);
    legitimate.send(kLegitimate);
    const HttpResponse response = legitimate.receive();
    EXPECT_EQ(response.status, 200);
    EXPECT_EQ(response.trailer("CIMStatusCode"), "0");
  }
  // The slowest headers made room: some of them are closed by now.
  std::size_t closed = 0;
  for (const auto& connection : slow) {
    if (connection->closedByServer(100)) ++closed;
  }
  EXPECT_GE(closed, 3u);
}

TEST_F(HttpFrontEndLimitsTest, AHeaderThatDoesNotCompleteInTimeClosesTheConnection) {
  start([](ServerSettings& settings) {
    settings.http.idleTimeoutSeconds = 600;
    settings.http.headerTimeoutSeconds = 1;
  });
  RawConnection slow(_port);
  slow.send(kUnfinishedHeader);
  EXPECT_TRUE(slow.closedByServer(10000));
  // The connection closes as the deadline passes; the log follows.
  const std::string logged = "connection from 127.0.0.1:" + std::to_string(slow.localPort()) +
                             " closed: the request's header did not arrive within 1 s";
  EXPECT_TRUE(waitUntil([&] { return _capture.sink().count(logged) == 1; }));
}

TEST_F(HttpFrontEndLimitsTest, AHeaderTricklingInByteByByteIsClosedAtTheHeaderDeadline) {
  start([](ServerSettings& settings) {
    settings.http.idleTimeoutSeconds = 600;
    settings.http.headerTimeoutSeconds = 1;
  });
  RawConnection slow(_port);
  // A byte at least every 200 ms: a deadline that restarted with each byte
  // would never pass. 100 bytes take 20 s at most.
  bool closed = false;
  for (int i = 0; i < 100 && !closed; ++i) {
    slow.send(std::string(1, kUnfinishedHeader[i % kUnfinishedHeader.size()]));
    closed = slow.closedByServer(200);
  }
  EXPECT_TRUE(closed);
}

TEST_F(HttpFrontEndLimitsTest, ABodyThatDoesNotCompleteInTimeClosesTheConnection) {
  start([](ServerSettings& settings) {
    settings.http.idleTimeoutSeconds = 600;
    settings.http.bodyTimeoutSeconds = 1;
  });
  RawConnection slow(_port);
  slow.send(withLengths("Content-Length: 100\r\n", "<?xml"));
  EXPECT_TRUE(slow.closedByServer(10000));
  const std::string logged = "connection from 127.0.0.1:" + std::to_string(slow.localPort()) +
                             " closed: the request's body did not arrive within 1 s";
  EXPECT_TRUE(waitUntil([&] { return _capture.sink().count(logged) == 1; }));
}

TEST_F(HttpFrontEndLimitsTest, ATlsHandshakeThatDoesNotCompleteInTimeClosesTheConnection) {
  kest::server::testing::TemporaryFolder folder;
  const auto files = kest::server::testing::generateCertificate(folder);
  start([&](ServerSettings& settings) {
    settings.http.tlsCertificate = files.certificate;
    settings.http.tlsKey = files.key;
    settings.http.idleTimeoutSeconds = 600;
    settings.http.headerTimeoutSeconds = 1;
  });
  RawConnection silent(_port);
  EXPECT_TRUE(silent.closedByServer(10000));
}

TEST_F(HttpFrontEndLimitsTest, ABusyConnectionBeyondTheLimitGetsServiceUnavailable) {
  start([](ServerSettings& settings) { settings.http.maxConnections = 2; });
  SlowEnumerationsHeld held;
  RawConnection first(_port);
  RawConnection second(_port);
  first.send(kSlowEnumeration);
  ASSERT_TRUE(held.awaitStart());
  second.send(kSlowEnumeration);
  ASSERT_TRUE(held.awaitStart());

  RawConnection third(_port);
  third.send(kLegitimate);
  const HttpResponse refused = third.receive();
  EXPECT_EQ(refused.status, 503);
  EXPECT_EQ(refused.body, "kest-server: too many connections busy (the limit is 2)\n");
  EXPECT_TRUE(third.closedByServer());
  EXPECT_EQ(_capture.sink().count("request from 127.0.0.1:" + std::to_string(third.localPort()) +
                                  " refused: too many connections busy (the limit is 2)"),
            1u);

  held.release();
  EXPECT_EQ(first.receive().status, 200);
  EXPECT_EQ(second.receive().status, 200);
  RawConnection fourth(_port);
  fourth.send(kLegitimate);
  EXPECT_EQ(fourth.receive().status, 200);
}

TEST_F(HttpFrontEndLimitsTest, IdleConnectionsDoNotCountAgainstTheLimit) {
  start([](ServerSettings& settings) { settings.http.maxConnections = 2; });
  std::vector<std::unique_ptr<RawConnection>> idle;
  for (int i = 0; i < 6; ++i) {
    idle.push_back(std::make_unique<RawConnection>(_port));
    idle.back()->send(kLegitimate);
    ASSERT_EQ(idle.back()->receive().status, 200);
  }
  for (const auto& connection : idle) {
    connection->send(kLegitimate);
    EXPECT_EQ(connection->receive().status, 200);
  }
}

TEST_F(HttpFrontEndLimitsTest, ANewConnectionBeyondTheOpenLimitTakesThePlaceOfTheLongestIdle) {
  start([](ServerSettings& settings) {
    settings.http.maxConnections = 2;
    settings.http.maxOpenConnections = 2;
  });
  RawConnection oldest(_port);
  oldest.send(kLegitimate);
  ASSERT_EQ(oldest.receive().status, 200);
  RawConnection newer(_port);
  newer.send(kLegitimate);
  ASSERT_EQ(newer.receive().status, 200);

  RawConnection third(_port);
  third.send(kLegitimate);
  EXPECT_EQ(third.receive().status, 200);
  EXPECT_TRUE(oldest.closedByServer());
  newer.send(kLegitimate);
  EXPECT_EQ(newer.receive().status, 200);
}

TEST_F(HttpFrontEndLimitsTest, IdleConnectionsCostNoThreads) {
  start();
  RawConnection first(_port);
  first.send(kLegitimate);
  ASSERT_EQ(first.receive().status, 200);
  const std::size_t threadsBefore = threadsOfThisProcess();
  std::vector<std::unique_ptr<RawConnection>> idle;
  for (int i = 0; i < 200; ++i) idle.push_back(std::make_unique<RawConnection>(_port));
  for (int i = 0; i < 200; i += 20) idle[i]->send(kUnfinishedHeader);
  first.send(kLegitimate);
  EXPECT_EQ(first.receive().status, 200);
  EXPECT_EQ(threadsOfThisProcess(), threadsBefore);
}

TEST_F(HttpFrontEndLimitsTest, HeaderLimitsAreApartFromTheBodyLimit) {
  start([](ServerSettings& settings) {
    settings.http.maxHeaderSize = 4096;
    settings.http.maxHeaderLineSize = 1024;
    settings.http.maxRequestSize = 1 << 20;
  });
  {
    RawConnection connection(_port);
    std::string request = kLegitimate;
    request.insert(request.find("\r\n") + 2, "X-Long: " + std::string(2000, 'x') + "\r\n");
    connection.send(request);
    expectRefusal(connection.receive(), 431, "",
                  "kest-server: the header line X-Long is longer than 1024 bytes");
    EXPECT_TRUE(connection.closedByServer());
  }
  {
    RawConnection connection(_port);
    connection.send("POST /" + std::string(2000, 'p') + " HTTP/1.1\r\nHost: x\r\n\r\n");
    expectRefusal(connection.receive(), 414, "",
                  "kest-server: the request line is longer than 1024 bytes");
  }
  {
    // A body far above the header limit is fine.
    RawConnection connection(_port);
    std::string body = kNamesOfFoo;
    body.insert(body.find("<CIM"), std::string(100000, ' '));
    connection.send(cimPost("EnumerateInstanceNames", body));
    EXPECT_EQ(connection.receive().status, 200);
  }
}

struct FramingCase {
  const char* name;
  std::string lengthLines;
  std::string body;
  int status;
  std::string text;
};

class HttpFrontEndFramingTest : public HttpFrontEndTest,
                                public ::testing::WithParamInterface<FramingCase> {};

TEST_P(HttpFrontEndFramingTest, BadFramingIsRefusedAtOnceAndTheConnectionCloses) {
  start([](ServerSettings& settings) {
    settings.http.maxRequestSize = 1000;
    settings.http.idleTimeoutSeconds = 600;
    settings.http.bodyTimeoutSeconds = 600;
  });
  const FramingCase& framing = GetParam();
  RawConnection connection(_port);
  connection.send(withLengths(framing.lengthLines, framing.body));
  expectRefusal(connection.receive(), framing.status, "", framing.text);
  EXPECT_TRUE(connection.closedByServer());
  EXPECT_EQ(exchange(kLegitimate).status, 200);
}

INSTANTIATE_TEST_SUITE_P(
    Framing, HttpFrontEndFramingTest,
    ::testing::Values(
        FramingCase{"NegativeLength", "Content-Length: -5\r\n", "", 400,
                    "kest-server: bad request"},
        FramingCase{"TextLength", "Content-Length: many\r\n", "", 400, "kest-server: bad request"},
        FramingCase{"TwoDifferentLengths", "Content-Length: 10\r\nContent-Length: 12\r\n", "", 400,
                    "kest-server: bad request"},
        FramingCase{"HugeLength", "Content-Length: 1000000000000000\r\n", "", 413,
                    "kest-server: the request body is too large"},
        FramingCase{"LengthOverTheLimit", "Content-Length: 1001\r\n", "", 413,
                    "kest-server: the request body is too large"},
        FramingCase{"ChunkedOverTheLimit", "Transfer-Encoding: chunked\r\n",
                    "258\r\n" + std::string(600, ' ') + "\r\n258\r\n" + std::string(600, ' ') +
                        "\r\n0\r\n\r\n",
                    413, "kest-server: the request body is too large"},
        FramingCase{"LengthAndChunked", "Content-Length: 5\r\nTransfer-Encoding: chunked\r\n", "",
                    400, "kest-server: bad request"}),
    [](const ::testing::TestParamInfo<FramingCase>& info) { return info.param.name; });

TEST_F(HttpFrontEndLimitsTest, ABodyOfTooManyNodesIsRefusedAndTheConnectionGoesOn) {
  start([](ServerSettings& settings) { settings.maxXmlNodes = 10000; });
  std::string values;
  for (int i = 0; i < 6000; ++i) values += "<VALUE>p</VALUE>";
  const std::string body = kest::server::testing::intrinsicCall(
      "EnumerateInstances",
      kest::server::testing::parameter("ClassName", "<CLASSNAME NAME=\"Test_Foo\"/>") +
          kest::server::testing::parameter("PropertyList",
                                           "<VALUE.ARRAY>" + values + "</VALUE.ARRAY>"));
  RawConnection connection(_port);
  connection.send(cimPost("EnumerateInstances", body));
  expectRefusal(connection.receive(), 400, "request-not-valid",
                "kest-server: the request holds more than 10000 XML nodes");
  connection.send(kLegitimate);
  EXPECT_EQ(connection.receive().status, 200);
}

TEST_F(HttpFrontEndLimitsTest, ContentAfterTheRootElementIsNotWellFormed) {
  start();
  expectRefusal(exchange(cimPost("EnumerateInstanceNames", kNamesOfFoo + "<CIM/>")), 400,
                "request-not-well-formed", "kest-server: ");
  EXPECT_EQ(exchange(cimPost("EnumerateInstanceNames", kNamesOfFoo + "<!-- end -->\n")).status,
            200);
}

TEST_F(HttpFrontEndLimitsTest, TheSameContentLengthTwiceIsAccepted) {
  start();
  const std::string length = "Content-Length: " + std::to_string(kNamesOfFoo.size()) + "\r\n";
  EXPECT_EQ(exchange(withLengths(length + length, kNamesOfFoo)).status, 200);
}

TEST_F(HttpFrontEndLimitsTest, ARepeatedCimHeaderWithAnotherValueIsAHeaderMismatch) {
  start();
  for (const char* header : {"CIMOperation: MethodCall", "CIMMethod: EnumerateInstanceNames",
                             "CIMObject: root%2Fcimv2"}) {
    std::string request = kLegitimate;
    const std::string name = std::string(header).substr(0, std::string(header).find(':'));
    request.insert(request.find("\r\n") + 2, name + ": Other\r\n");
    expectRefusal(exchange(request), 400, "header-mismatch",
                  "kest-server: the header " + name + " is given twice with different values");
  }
  std::string same = kLegitimate;
  same.insert(same.find("\r\n") + 2, "CIMObject: root/cimv2\r\n");
  EXPECT_EQ(exchange(same).status, 200);
}

TEST_F(HttpFrontEndLimitsTest, ARequestPastItsDeadlineFailsAndItsLateResultIsDiscarded) {
  start([](ServerSettings& settings) { settings.http.requestTimeoutSeconds = 1; });
  SlowEnumerationsHeld held;
  RawConnection connection(_port);
  connection.send(kSlowEnumeration);
  ASSERT_TRUE(held.awaitStart());
  const HttpResponse failed = connection.receive();
  EXPECT_EQ(failed.status, 200);
  EXPECT_NE(failed.body.find("<ERROR CODE=\"1\""), std::string::npos) << failed.body;
  EXPECT_NE(failed.body.find("the request took longer than 1 s; its result is discarded"),
            std::string::npos);
  EXPECT_NE(failed.body.find("NAME=\"EnumerateInstances\""), std::string::npos);

  held.release();
  // The connection goes on; the late result never reaches it.
  connection.send(kLegitimate);
  const HttpResponse next = connection.receive();
  EXPECT_EQ(next.status, 200);
  EXPECT_NE(next.body.find("NAME=\"EnumerateInstanceNames\""), std::string::npos);
  EXPECT_EQ(next.body.find("Test_Slow"), std::string::npos);
}

TEST_F(HttpFrontEndLimitsTest, StoppingFailsWhatIsStillInAProviderAfterTheGracePeriod) {
  start([](ServerSettings& settings) { settings.shutdownGraceSeconds = 1; });
  SlowEnumerationsHeld held;
  RawConnection connection(_port);
  connection.send(kSlowEnumeration);
  ASSERT_TRUE(held.awaitStart());
  EXPECT_FALSE(_server->stop());
  const HttpResponse failed = connection.receive();
  EXPECT_EQ(failed.status, 200);
  EXPECT_NE(failed.body.find("<ERROR CODE=\"1\""), std::string::npos) << failed.body;
  EXPECT_NE(failed.body.find("the server is stopping"), std::string::npos);
  EXPECT_TRUE(connection.closedByServer());
  EXPECT_EQ(
      _capture.sink().count("a request is still running in a provider after the grace period"), 1u);
  // The providers were shut down all the same.
  EXPECT_EQ(_capture.sink().count("shutdown"), 1u);
  held.release();
}
