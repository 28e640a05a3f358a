#pragma once

// A cache for association tests: a provider with its instance manager, the
// classes a test declares, objects named className.Id=<n>, association
// objects whose reference properties name the objects they join, and a
// repository that records every subclass test it is asked. Results of the
// traversals are compared as texts (see describe).

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "framework/Class.h"
#include "framework/Instance.h"
#include "framework/InstanceManager.h"
#include "host/InstanceName.h"
#include "host/List.h"
#include "host/Object.h"
#include "host/Property.h"
#include "host/Repository.h"
#include "host/SmartPointer.h"
#include "host/String.h"
#include "host/Value.h"
#include "streaming/VectorCollector.h"
#include "support/ClassTableRepository.h"
#include "support/ObjectModelBuilders.h"
#include "support/TestInstances.h"
#include "support/TestProvider.h"

namespace kest::testing {

// className.Id=<id>; its text is "<classname lower-cased>.id=<id>".
inline TOVSmrPtr<ITovaInstanceName> idName(const char* className, int id) {
  return makeName(className, "Id", make(id));
}

// A property named name holding a reference to target; its type is the
// value's (a reference to target's class).
inline TOVSmrPtr<ITovaProperty> refProperty(const TOVString& name,
                                            const TOVSmrPtr<ITovaInstanceName>& target) {
  return TOVSmrPtr<ITovaProperty>(new CTovaProperty(name, refTo(target), false));
}

// A traversal result as text: "object:" and the held object's name text for
// a value holding an object, "name:" and the name's text for a value holding
// a name, "null" for a null value.
inline std::string describe(const TOVSmrPtr<ITovaValue>& value) {
  if (!value) return "null";
  if (value->getType()->isReference()) {
    return "name:" + value->getReference()->toString().toStdString();
  }
  return "object:" + value->getObject()->getInstanceName()->toString().toStdString();
}

template <typename Values>
std::vector<std::string> describeAll(const Values& values) {
  std::vector<std::string> texts;
  for (const TOVSmrPtr<ITovaValue>& value : values) texts.push_back(describe(value));
  return texts;
}

// The objects of a reference result, by identity.
template <typename Objects>
std::vector<ITovaObject*> pointersOf(const Objects& objects) {
  std::vector<ITovaObject*> pointers;
  for (const TOVSmrPtr<ITovaObject>& object : objects) pointers.push_back(object.get());
  return pointers;
}

// A repository that answers like kest::testing::ClassTableRepository and records each subclass
// test as "<nameSpace>|<className>|<superClassName>".
class RecordingRepository : public ITovaRepository {
 public:
  explicit RecordingRepository(const TOVString& defaultNameSpace) : _classes(defaultNameSpace) {}

  void addClass(const TOVString& nameSpace, const TOVString& className,
                const TOVString& superClassName) {
    _classes.addClass(nameSpace, className, superClassName);
  }
  bool isSubclass(const TOVString& nameSpace, const TOVString& className,
                  const TOVString& superClassName) override {
    asked.push_back(nameSpace.toStdString() + "|" + className.toStdString() + "|" +
                    superClassName.toStdString());
    return _classes.isSubclass(nameSpace, className, superClassName);
  }

  std::vector<std::string> asked;

 private:
  kest::testing::ClassTableRepository _classes;
};

class AssociationFixture : public ::testing::Test {
 protected:
  using Ends = std::vector<std::pair<const char*, TOVSmrPtr<ITovaInstanceName>>>;

  AssociationFixture() : _repository(new RecordingRepository("root/test")) {}

  kest::pf::InstanceManager& manager() { return _provider.getInstanceManager(); }

  // Declares className with the manager (and the repository, below
  // superClassName when one is given).
  TOVSmrPtr<kest::pf::Class> declare(const char* className, bool isAssociation = false,
                                     kest::pf::Class::AssociatorsFunction associators = nullptr) {
    const TOVSmrPtr<kest::pf::Class> cls =
        _tree.make(className, isAssociation, nullptr, nullptr, associators);
    manager().registerClass(cls);
    _repository->addClass("root/test", className, "");
    return cls;
  }

  // Links child below base in the cache and in the repository.
  void link(const TOVSmrPtr<kest::pf::Class>& base, const TOVSmrPtr<kest::pf::Class>& child) {
    _tree.link(base, child);
    _repository->addClass("root/test", child->getClassName(), base->getClassName());
  }

  // An object of className named className.Id=<id>, not cached.
  TOVSmrPtr<TestInstance> object(const char* className, int id) {
    return TOVSmrPtr<TestInstance>(new TestInstance(manager(), className, idName(className, id)));
  }

  // The same, cached.
  TOVSmrPtr<TestInstance> cached(const char* className, int id) {
    const TOVSmrPtr<TestInstance> instance = object(className, id);
    manager().registerInstance(instance);
    return instance;
  }

  // An association object of className with one reference property per end,
  // in order, named as given; its instance name has the same references as
  // keys. Not cached.
  TOVSmrPtr<TestInstance> association(const char* className, const Ends& ends) {
    std::vector<Key> keys;
    for (const auto& [role, target] : ends) keys.push_back(Key{role, refTo(target)});
    const TOVSmrPtr<TestInstance> instance(
        new TestInstance(manager(), className, makeName(className, keys)));
    for (const auto& [role, target] : ends) instance->setProperty(refProperty(role, target));
    return instance;
  }

  // The same, cached.
  TOVSmrPtr<TestInstance> cachedAssociation(const char* className, const Ends& ends) {
    const TOVSmrPtr<TestInstance> instance = association(className, ends);
    manager().registerInstance(instance);
    return instance;
  }

  // The full associator traversal in namespace root/test with the recording
  // repository, as texts.
  std::vector<std::string> associators(const TOVSmrPtr<ITovaInstanceName>& source,
                                       const TOVString& assocClassName, const TOVString& role = "",
                                       const TOVString& resultRole = "",
                                       const TOVString& resultClassName = "") {
    kest::VectorCollector<TOVSmrPtr<ITovaValue>> results;
    manager().associators(results, "root/test", source, assocClassName, role, resultRole,
                          resultClassName, TOVSmrPtr<ITovaRepository>(_repository));
    return describeAll(results);
  }

  // The reference traversal, by identity.
  std::vector<ITovaObject*> references(const TOVSmrPtr<ITovaInstanceName>& source,
                                       const TOVString& resultClassName,
                                       const TOVString& role = "") {
    kest::VectorCollector<TOVSmrPtr<ITovaObject>> results;
    manager().references(results, source, resultClassName, role);
    return pointersOf(results);
  }

  ClassTree _tree;
  TestProvider _provider;
  TOVSmrPtr<RecordingRepository> _repository;
};

}  // namespace kest::testing
