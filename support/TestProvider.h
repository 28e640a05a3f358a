#pragma once

// A concrete framework provider for tests, and a guard for the class trees
// the tests build.
//
// TestProvider supplies the operations every real provider writes itself
// (transactions, start-up, shut-down, version, name, audit log) and records
// each call so that a test can check what the framework did; everything else
// is the framework's own Provider (BasicTestProvider<Base> does the same on
// top of another framework provider class, such as SynchronizedProvider). The instances it serves
// are kest::testing::TestInstance (support/TestInstances.h).

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "framework/Class.h"
#include "framework/Provider.h"
#include "framework/SynchronizedProvider.h"
#include "host/Repository.h"
#include "host/SmartPointer.h"
#include "host/String.h"
#include "host/Value.h"
#include "support/TestInstances.h"

namespace kest::testing {

template <typename Base>
class BasicTestProvider : public Base {
 public:
  // One logAuditInfo call.
  struct AuditRecord {
    TOVSmrPtr<ITovaValue> returnValue;
    TOVSmrPtr<ITovaTransaction> transaction;
    TOVSmrPtr<ITovaInstanceName> instanceName;
    TOVString methodName;
  };

  BasicTestProvider() = default;
  explicit BasicTestProvider(const TOVString& providerName) : _providerName(providerName) {}

  void startTransaction(const TOVSmrPtr<ITovaTransaction>& tovaTransaction) override {
    _startedTransactions.push_back(tovaTransaction);
  }
  void endTransaction(const TOVSmrPtr<ITovaTransaction>& tovaTransaction) override {
    _endedTransactions.push_back(tovaTransaction);
  }
  void startup() override { _lifecycle.emplace_back("startup"); }
  void postStartup() override { _lifecycle.emplace_back("postStartup"); }
  void shutdown() override { _lifecycle.emplace_back("shutdown"); }
  TOVString getVersion() override { return "1.0"; }
  // "Array" unless set, so that indication identifiers read "OMX:Array.<n>".
  TOVString getProviderName() const override { return _providerName; }
  void setProviderName(const TOVString& providerName) { _providerName = providerName; }

  void logAuditInfo(TOVSmrPtr<ITovaValue> returnValue, TOVSmrPtr<ITovaTransaction> tovaTransaction,
                    TOVSmrPtr<ITovaInstanceName> instanceName, TOVString methodName) override {
    _auditRecords.push_back(AuditRecord{std::move(returnValue), std::move(tovaTransaction),
                                        std::move(instanceName), std::move(methodName)});
  }

  const std::vector<AuditRecord>& auditRecords() const { return _auditRecords; }
  const std::vector<TOVSmrPtr<ITovaTransaction>>& startedTransactions() const {
    return _startedTransactions;
  }
  const std::vector<TOVSmrPtr<ITovaTransaction>>& endedTransactions() const {
    return _endedTransactions;
  }
  // "startup", "postStartup" and "shutdown", in call order.
  const std::vector<std::string>& lifecycle() const { return _lifecycle; }

  // The framework's subscription count and the last indication number handed
  // out (0 before the first).
  int subscriptionCount() const { return this->_subscriptionCount; }
  int lastIndicationNumber() const { return this->indicationIDCounter.get(); }

 private:
  TOVString _providerName = "Array";
  std::vector<AuditRecord> _auditRecords;
  std::vector<TOVSmrPtr<ITovaTransaction>> _startedTransactions;
  std::vector<TOVSmrPtr<ITovaTransaction>> _endedTransactions;
  std::vector<std::string> _lifecycle;
};

using TestProvider = BasicTestProvider<kest::pf::Provider>;
using SynchronizedTestProvider = BasicTestProvider<kest::pf::SynchronizedProvider>;

// ClassTree: declares classes for a test and links them. A base and a child
// linked both ways hold each other, so the tree would outlive the test (and
// leak detectors report it); the destructor unlinks every class the tree
// made or linked.
class ClassTree {
 public:
  ClassTree() = default;
  ClassTree(const ClassTree&) = delete;
  ClassTree& operator=(const ClassTree&) = delete;
  ~ClassTree() {
    for (const TOVSmrPtr<kest::pf::Class>& cls : _classes) {
      cls->setBaseClass(TOVSmrPtr<kest::pf::Class>());
      cls->getChildClasses()->clear();
    }
  }

  // A new class, by default without functions.
  TOVSmrPtr<kest::pf::Class> make(
      const TOVString& className, bool isAssociation = false,
      kest::pf::Class::CreateInstanceFunction createInstance = nullptr,
      kest::pf::Class::CreateAllInstancesFunction createAllInstances = nullptr,
      kest::pf::Class::AssociatorsFunction associators = nullptr) {
    TOVSmrPtr<kest::pf::Class> cls(new kest::pf::Class(className, createAllInstances,
                                                       createInstance, isAssociation, associators));
    keep(cls);
    return cls;
  }

  // Makes child a direct child of base (appended to base's child list) and
  // base child's base class.
  void link(const TOVSmrPtr<kest::pf::Class>& base, const TOVSmrPtr<kest::pf::Class>& child) {
    keep(base);
    keep(child);
    child->setBaseClass(base);
    base->setChildClass(child);
  }

 private:
  void keep(const TOVSmrPtr<kest::pf::Class>& cls) {
    if (std::find(_classes.begin(), _classes.end(), cls) == _classes.end()) _classes.push_back(cls);
  }

  std::vector<TOVSmrPtr<kest::pf::Class>> _classes;
};

}  // namespace kest::testing
