// A client that stops reading in the middle of a large enumeration must not
// hold back the provider: the server takes the results from the provider
// before it writes to the client, so the provider's lock is free while the
// client stalls, and the next refresh goes ahead.

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>

#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <thread>

#include "framework/Class.h"
#include "framework/InstanceManager.h"
#include "framework/SynchronizedProvider.h"
#include "host/Value.h"
#include "server/Server.h"
#include "support/ObjectModelBuilders.h"
#include "support/TestInstances.h"
#include "tests/server/HttpTestSupport.h"
#include "tests/server/ServerTestSupport.h"

namespace {

using kest::server::ProviderSpec;
using kest::server::Server;
using kest::server::ServerSettings;
using kest::server::testing::cimPost;
using kest::server::testing::intrinsicCall;
using kest::server::testing::parameter;
using kest::server::testing::parseResponses;
using kest::server::testing::RawConnection;
using kest::testing::Key;
using kest::testing::make;
using kest::testing::makeName;
using kest::testing::TestInstance;

constexpr std::size_t kItems = 100000;
// How long the provider's refresh may wait for its lock: one refresh interval
// of a provider that refreshes every few seconds. A stalled client that held
// the lock would hold it for the server's idle timeout (ten minutes here).
constexpr std::chrono::seconds kRefreshInterval{5};

// A provider whose cache a refresh changes under its update lock.
class RefreshedProvider : public kest::pf::SynchronizedProvider {
 public:
  void startTransaction(const TOVSmrPtr<ITovaTransaction>&) override {}
  void endTransaction(const TOVSmrPtr<ITovaTransaction>&) override {}
  TOVString getVersion() override { return "1.0"; }
  TOVString getProviderName() const override { return "Refreshed"; }
  void logAuditInfo(TOVSmrPtr<ITovaValue>, TOVSmrPtr<ITovaTransaction>,
                    TOVSmrPtr<ITovaInstanceName>, TOVString) override {}
  void postStartup() override {}
  void shutdown() override {}

  void startup() override {
    getInstanceManager().registerClass(TOVSmrPtr<kest::pf::Class>(
        new kest::pf::Class("Slow_Item", nullptr, nullptr, false, nullptr)));
    UpdateGuard guard(*this);
    for (std::size_t i = 0; i < kItems; ++i) addItem(i);
  }

  // One refresh: a new item appears.
  void refresh() {
    UpdateGuard guard(*this);
    addItem(kItems);
  }

 private:
  void addItem(std::size_t i) {
    const TOVString id = TOVString::fromUInt(i);
    const TOVSmrPtr<TestInstance> item(
        new TestInstance(getInstanceManager(), "Slow_Item",
                         makeName("Slow_Item", {Key{"Id", make(static_cast<TOVuint32>(i))}})));
    item->setProperty("Id", make(static_cast<TOVuint32>(i)));
    item->setProperty("Caption", make("An item that a slow client reads, number " + id));
    getInstanceManager().registerInstance(item);
  }
};

// Receives into bytes until it holds at least size bytes; false when nothing
// comes for ten seconds or the connection ends.
bool receiveAtLeast(int socket, std::string& bytes, std::size_t size) {
  char buffer[65536];
  while (bytes.size() < size) {
    pollfd ready{socket, POLLIN, 0};
    if (poll(&ready, 1, 10000) <= 0) return false;
    const ssize_t got = recv(socket, buffer, sizeof buffer, 0);
    if (got <= 0) return false;
    bytes.append(buffer, static_cast<std::size_t>(got));
  }
  return true;
}

// Receives until the peer has sent the end of a chunked response (the last
// chunk and the trailers).
bool receiveResponse(int socket, std::string& bytes) {
  for (;;) {
    const std::size_t tail = bytes.size() > 4096 ? bytes.size() - 4096 : 0;
    const std::size_t last = bytes.find("\r\n0\r\n", tail);
    if (last != std::string::npos && bytes.find("\r\n\r\n", last + 2) != std::string::npos) {
      return true;
    }
    if (!receiveAtLeast(socket, bytes, bytes.size() + 1)) return false;
  }
}

std::size_t count(const std::string& text, const std::string& part) {
  std::size_t n = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++n;
  return n;
}

TEST(SlowClientTest, AClientThatStopsReadingDoesNotHoldBackTheProvidersRefresh) {
  const auto provider = std::make_shared<RefreshedProvider>();
  ServerSettings settings;
  settings.http.port = 0;
  settings.http.idleTimeoutSeconds = 600;
  settings.providers = {ProviderSpec("in-process refreshed provider", TOVString(), provider,
                                     {{"Slow_Item", TOVString(), false}})};
  Server server(settings);
  const int port = server.start();

  RawConnection client(port);
  client.send(cimPost("EnumerateInstances",
                      intrinsicCall("EnumerateInstances",
                                    parameter("ClassName", "<CLASSNAME NAME=\"Slow_Item\"/>"))));
  // Well into the instances, then the client stops reading.
  std::string bytes;
  ASSERT_TRUE(receiveAtLeast(client.socket(), bytes, 512 * 1024));

  std::promise<void> refreshed;
  std::thread refresher([&] {
    provider->refresh();
    refreshed.set_value();
  });
  std::future<void> done = refreshed.get_future();
  const bool inTime = done.wait_for(kRefreshInterval) == std::future_status::ready;
  EXPECT_TRUE(inTime) << "the refresh waited for the stalled client";

  // The client reads on: the response is whole, with the items the
  // enumeration took before the refresh.
  ASSERT_TRUE(receiveResponse(client.socket(), bytes));
  refresher.join();
  const auto responses = parseResponses(bytes, false);
  ASSERT_EQ(responses.size(), 1u);
  EXPECT_EQ(responses[0].status, 200);
  EXPECT_EQ(responses[0].trailer("CIMStatusCode"), "0");
  EXPECT_EQ(count(responses[0].body, "<VALUE.NAMEDINSTANCE>"), kItems);
  server.stop();
}

}  // namespace
