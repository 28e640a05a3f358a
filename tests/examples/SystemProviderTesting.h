#pragma once

// A system provider over a fixture machine (SystemFixture::populate()), with
// a recording provider context, a class repository that knows the provider's
// classes, and short ways to name objects and to read results as text.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "examples/system/SystemClasses.h"
#include "examples/system/SystemProvider.h"
#include "host/InstanceName.h"
#include "host/Object.h"
#include "host/RecordingProviderContext.h"
#include "host/Repository.h"
#include "host/Value.h"
#include "streaming/VectorCollector.h"
#include "support/ClassTableRepository.h"
#include "support/ObjectModelBuilders.h"
#include "support/SystemFixture.h"

namespace kest::testing {

inline constexpr const char* kTestNameSpace = "root/cimv2";

// The name of an element of class className on system host.
inline TOVSmrPtr<ITovaInstanceName> elementName(const char* className, const std::string& name,
                                                const char* host = "testhost",
                                                const char* nameClass = nullptr) {
  return makeName(nameClass != nullptr ? nameClass : className,
                  {Key{"SystemName", make(host)}, Key{"CreationClassName", make(className)},
                   Key{"Name", make(name.c_str())}});
}

inline TOVSmrPtr<ITovaInstanceName> processName(unsigned pid, const char* host = "testhost") {
  return elementName(examples::kProcessClass, std::to_string(pid), host);
}

inline TOVSmrPtr<ITovaInstanceName> systemName(const char* host = "testhost") {
  return makeName(
      examples::kComputerSystemClass,
      {Key{"CreationClassName", make(examples::kComputerSystemClass)}, Key{"Name", make(host)}});
}

// "<Class>:<Name key>" for an element or system name; "<Class>:<left
// Name>><right Name>" for an association name (its two references).
inline std::string label(const TOVSmrPtr<ITovaInstanceName>& name) {
  std::string text = name->getClassname().toStdString() + ":";
  const unsigned long keys = name->getNumberOfKeyProperties();
  for (unsigned long i = 0; i < keys; ++i) {
    const TOVSmrPtr<ITovaProperty> key = name->getKeyPropertyAt(i);
    if (key->getType()->isReference()) {
      const std::string end = label(key->getValue()->getReference());
      text += (i == 0 ? "" : ">") + end.substr(end.find(':') + 1);
    } else if (key->getName() == "Name") {
      text += key->getValue()->toString().toStdString();
    }
  }
  return text;
}

// The labels, sorted (the cache's hash order is not the test's business).
inline std::vector<std::string> sorted(std::vector<std::string> labels) {
  std::sort(labels.begin(), labels.end());
  return labels;
}

class SystemProviderFixture : public ::testing::Test {
 protected:
  SystemProviderFixture() : _context(new RecordingProviderContext()) {
    _fixture.populate();
    _provider = std::make_unique<examples::SystemProvider>(_fixture.providerOptions());
    const TOVSmrPtr<kest::testing::ClassTableRepository> repository(
        new kest::testing::ClassTableRepository(kTestNameSpace));
    using namespace examples;
    for (const char* element : {kProcessClass, kFileSystemClass, kNetworkInterfaceClass}) {
      repository->addClass(kTestNameSpace, element, kLogicalElementClass);
    }
    for (const char* component :
         {kSystemProcessClass, kSystemFileSystemClass, kSystemNetworkInterfaceClass}) {
      repository->addClass(kTestNameSpace, component, kSystemComponentClass);
    }
    for (const char* root :
         {kComputerSystemClass, kLogicalElementClass, kSystemComponentClass, kParentProcessClass}) {
      repository->addClass(kTestNameSpace, root, "");
    }
    _provider->initialize(repository);
    _provider->setProviderContext(_context);
    _provider->startup();
  }

  examples::SystemProvider& provider() { return *_provider; }

  std::vector<std::string> enumerateNames(const char* className) {
    VectorCollector<TOVSmrPtr<ITovaInstanceName>> names;
    provider().enumerateInstanceNames(names, kTestNameSpace, className, nullptr);
    std::vector<std::string> labels;
    for (const TOVSmrPtr<ITovaInstanceName>& name : names) labels.push_back(label(name));
    return labels;
  }

  std::vector<std::string> associatorNames(const TOVSmrPtr<ITovaInstanceName>& source,
                                           const char* assocClass = "",
                                           const char* resultClass = "", const char* role = "",
                                           const char* resultRole = "") {
    VectorCollector<TOVSmrPtr<ITovaInstanceName>> names;
    provider().associatorNames(names, kTestNameSpace, source, nullptr, assocClass, resultClass,
                               role, resultRole);
    std::vector<std::string> labels;
    for (const TOVSmrPtr<ITovaInstanceName>& name : names) labels.push_back(label(name));
    return sorted(labels);
  }

  std::vector<std::string> referenceNames(const TOVSmrPtr<ITovaInstanceName>& source,
                                          const char* resultClass = "", const char* role = "") {
    VectorCollector<TOVSmrPtr<ITovaInstanceName>> names;
    provider().referenceNames(names, kTestNameSpace, source, nullptr, resultClass, role);
    std::vector<std::string> labels;
    for (const TOVSmrPtr<ITovaInstanceName>& name : names) labels.push_back(label(name));
    return sorted(labels);
  }

  TOVSmrPtr<ITovaObject> get(const TOVSmrPtr<ITovaInstanceName>& name) {
    return provider().getInstance(kTestNameSpace, name, nullptr);
  }

  // The value of property of the cached object named name, as text.
  std::string valueOf(const TOVSmrPtr<ITovaInstanceName>& name, const char* property) {
    const TOVSmrPtr<ITovaObject> object = get(name);
    if (!object) return "(no object)";
    const TOVSmrPtr<ITovaProperty> found = object->getPropertyByName(property, true);
    if (!found) return "(no property)";
    if (found->getValue()->isNullValue()) return "NULL";
    return found->getValue()->toString().toStdString();
  }

  // The native indications delivered so far, as "<type>:<label>".
  std::vector<std::string> legacyIndications() const {
    std::vector<std::string> texts;
    for (const TOVSmrPtr<ITovaIndication>& indication : _context->legacyIndications()) {
      texts.push_back(std::to_string(indication->getIndicationType()) + ":" +
                      label(indication->getObject()->getInstanceName()));
    }
    return texts;
  }

  SystemFixture _fixture;
  TOVSmrPtr<RecordingProviderContext> _context;
  std::unique_ptr<examples::SystemProvider> _provider;
};

}  // namespace kest::testing
