#pragma once

// The fixture of the HTTP front end's tests: an in-process server with the
// test and throwing providers, and a hold on the throwing provider's slow
// enumerations that keeps a request inside a provider for as long as a test
// needs.

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>

#include "host/Log.h"
#include "server/Server.h"
#include "tests/server/HttpTestSupport.h"
#include "tests/server/ServerTestSupport.h"
#include "tests/server/providers/SlowEnumerationHold.h"

namespace kest::server::testing {

// EnumerateInstanceNames of Test_Foo.
inline const std::string kNamesOfFoo = intrinsicCall(
    "EnumerateInstanceNames", parameter("ClassName", "<CLASSNAME NAME=\"Test_Foo\"/>"));

// EnumerateInstances of Test_Slow, which SlowEnumerationsHeld can hold.
inline const std::string kSlowEnumeration = cimPost(
    "EnumerateInstances",
    intrinsicCall("EnumerateInstances", parameter("ClassName", "<CLASSNAME NAME=\"Test_Slow\"/>")));

// Expects an HTTP refusal: its status, CIMError header (empty: none) and the
// start of its text/plain body.
inline void expectRefusal(const HttpResponse& response, int status, const std::string& cimError,
                          const std::string& bodyStart) {
  EXPECT_EQ(response.status, status);
  EXPECT_EQ(response.header("CIMError"), cimError);
  EXPECT_EQ(response.header("Content-Type"), "text/plain");
  EXPECT_EQ(response.body.substr(0, bodyStart.size()), bodyStart) << response.body;
}

// A self-signed certificate for 127.0.0.1 and its key, written into folder
// by the openssl program; their paths. Throws std::runtime_error when openssl
// fails.
struct GeneratedCertificate {
  std::string certificate;
  std::string key;
};
inline GeneratedCertificate generateCertificate(const TemporaryFolder& folder) {
  GeneratedCertificate files{folder.path() + "/cert.pem", folder.path() + "/key.pem"};
  const auto generated =
      runProgram({"openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt",
                  "ec_paramgen_curve:prime256v1", "-nodes", "-keyout", files.key, "-out",
                  files.certificate, "-days", "1", "-subj", "/CN=127.0.0.1"});
  if (generated.exitCode != 0) throw std::runtime_error("openssl: " + generated.errors);
  return files;
}

// A server with the test and throwing providers, started by each test with
// the settings it needs; the HTTP front end's tests run against it.
class HttpFrontEndTest : public ::testing::Test {
 protected:
  HttpFrontEndTest() {
    _settings.http.port = 0;
    _settings.providers = {ProviderSpec{KEST_TEST_PROVIDER, ""},
                           ProviderSpec{KEST_THROWING_PROVIDER, ""}};
  }

  // Starts a server with the fixture's settings (after change, if given).
  void start(const std::function<void(ServerSettings&)>& change = nullptr) {
    if (change) change(_settings);
    _server = std::make_unique<Server>(_settings);
    _port = _server->start();
  }

  HttpResponse exchange(const std::string& request) {
    RawConnection connection(_port);
    connection.send(request);
    return connection.receive();
  }

  TOVScopedLogCapture _capture;
  ServerSettings _settings;
  std::unique_ptr<Server> _server;
  int _port = 0;
};

// Holds the throwing provider's enumerations of Test_Slow for its own
// lifetime (see SlowEnumerationHold.h). Create it once the server has loaded
// the provider. Throws std::runtime_error when the provider is not loaded.
class SlowEnumerationsHeld {
 public:
  SlowEnumerationsHeld() : _library(dlopen(KEST_THROWING_PROVIDER, RTLD_NOW | RTLD_NOLOAD)) {
    if (_library == nullptr) throw std::runtime_error("the throwing provider is not loaded");
    _await = reinterpret_cast<KestTestAwaitSlowEnumeration>(
        dlsym(_library, KEST_TEST_AWAIT_SLOW_ENUMERATION));
    _release = reinterpret_cast<KestTestReleaseSlowEnumerations>(
        dlsym(_library, KEST_TEST_RELEASE_SLOW_ENUMERATIONS));
    const auto hold = reinterpret_cast<KestTestHoldSlowEnumerations>(
        dlsym(_library, KEST_TEST_HOLD_SLOW_ENUMERATIONS));
    if (_await == nullptr || _release == nullptr || hold == nullptr) {
      dlclose(_library);
      throw std::runtime_error("the throwing provider exports no hold");
    }
    hold();
  }
  ~SlowEnumerationsHeld() {
    release();
    dlclose(_library);
  }
  SlowEnumerationsHeld(const SlowEnumerationsHeld&) = delete;
  SlowEnumerationsHeld& operator=(const SlowEnumerationsHeld&) = delete;

  // Waits until an enumeration has started and is held.
  bool awaitStart() { return _await(); }
  void release() { _release(); }

 private:
  void* _library;
  KestTestAwaitSlowEnumeration _await = nullptr;
  KestTestReleaseSlowEnumerations _release = nullptr;
};

}  // namespace kest::server::testing
