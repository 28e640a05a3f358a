#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "host/InstanceName.h"
#include "host/Object.h"
#include "host/SmartPointer.h"
#include "host/String.h"
#include "host/Value.h"
#include "server/ClassCatalog.h"
#include "server/repository/CompiledInstance.h"

namespace kest::server {

// StaticInstances: the instances compiled from MOF (`instance of`
// declarations in the class catalog's repository), answered like a
// provider's instances: enumerations of a class and its subclasses, lookup
// by name, and the association operations over the compiled association
// instances.
//
// It is a source the dispatcher consults next to the providers, not a
// provider of its own: a class may have a provider and compiled instances at
// once (a provider shipping its CIM_RegisteredProfile in MOF, say), and the
// routing table gives each class one provider. Consulting this source in the
// handlers keeps the routing as it is and needs no transaction, lock or
// callback: the repository hands out immutable shared objects, so the
// dispatcher's rule holds trivially (results are collected first, written
// afterwards).
//
// Results are the compiled objects and names themselves (shared, never
// copied); callers must not change them. Class and namespace names are
// matched ignoring ASCII case.
//
// Associations: an association instance is a compiled instance of an
// association class; it references an object when one of its reference
// properties names it (canonical name text: the namespace path is not
// compared). Filters: AssocClass and ResultClass are subclass tests through
// the catalog, Role and ResultRole name the reference properties. The far
// ends of Associators are the compiled instances they name when there are
// such, else reference values that the caller fetches from their provider.
//
// Cost: hasInstances and find are hash lookups in the repository; a request
// for a class without compiled instances does nothing more. Association
// requests scan the namespace's compiled association instances, which the
// repository keeps apart as it adds them.
//
// Threads: const members may be called from any thread (it keeps no state of
// its own). Nothing throws except refuseChange (CimError) and
// std::bad_alloc.
class StaticInstances {
 public:
  // catalog must outlive this object.
  explicit StaticInstances(const ClassCatalog& catalog);
  StaticInstances(const StaticInstances&) = delete;
  StaticInstances& operator=(const StaticInstances&) = delete;

  // Whether className or one of its subclasses has compiled instances.
  bool hasInstances(const TOVString& nameSpace, const TOVString& className) const;

  // The compiled instances (names) of className and its subclasses, in
  // declaration order.
  std::vector<TOVSmrPtr<ITovaObject>> instances(const TOVString& nameSpace,
                                                const TOVString& className) const;
  std::vector<TOVSmrPtr<ITovaInstanceName>> instanceNames(const TOVString& nameSpace,
                                                          const TOVString& className) const;

  // The compiled instance named name; null when there is none (or name is
  // null).
  TOVSmrPtr<ITovaObject> find(const TOVString& nameSpace,
                              const TOVSmrPtr<ITovaInstanceName>& name) const;

  // Throws CimError CIM_ERR_NOT_SUPPORTED when name is a compiled instance
  // (it is read-only); operation names the refused operation in the
  // message. Does nothing otherwise.
  void refuseChange(const TOVString& nameSpace, const TOVSmrPtr<ITovaInstanceName>& name,
                    const std::string& operation) const;
  // The same for a new instance whose key properties name a compiled
  // instance of its class.
  void refuseCreate(const TOVString& nameSpace, const TOVSmrPtr<ITovaObject>& instance) const;

  // The compiled association instances that reference object (through the
  // reference property role, when given), of resultClass or a subclass when
  // given; each once, in declaration order.
  std::vector<TOVSmrPtr<ITovaObject>> references(const TOVString& nameSpace,
                                                 const TOVSmrPtr<ITovaInstanceName>& object,
                                                 const TOVString& resultClass,
                                                 const TOVString& role) const;
  std::vector<TOVSmrPtr<ITovaInstanceName>> referenceNames(
      const TOVString& nameSpace, const TOVSmrPtr<ITovaInstanceName>& object,
      const TOVString& resultClass, const TOVString& role) const;

  // The objects at the far ends of the compiled associations of assocClass
  // (or a subclass) that reference object through role: the other non-null
  // reference properties (named resultRole, when given) whose class is
  // resultClass or a subclass (when given); each far end once. Associators
  // gives each as an embedded object value holding the compiled instance
  // when the far end is one, else as a reference value for the caller to
  // fetch.
  std::vector<TOVSmrPtr<ITovaValue>> associators(const TOVString& nameSpace,
                                                 const TOVSmrPtr<ITovaInstanceName>& object,
                                                 const TOVString& assocClass,
                                                 const TOVString& resultClass,
                                                 const TOVString& role,
                                                 const TOVString& resultRole) const;
  std::vector<TOVSmrPtr<ITovaInstanceName>> associatorNames(
      const TOVString& nameSpace, const TOVSmrPtr<ITovaInstanceName>& object,
      const TOVString& assocClass, const TOVString& resultClass, const TOVString& role,
      const TOVString& resultRole) const;

 private:
  // One reference from an association instance to the source object.
  struct Link {
    kest::repository::InstancePointer association;
    TOVString role;
  };
  // The compiled associations that reference object through role (any role
  // when null), of assocClass or a subclass (any when null), in declaration
  // order; an association that references object through two roles comes
  // once per role.
  std::vector<Link> links(const TOVString& nameSpace, const TOVSmrPtr<ITovaInstanceName>& object,
                          const TOVString& assocClass, const TOVString& role) const;
  // The far-end names of associators, each once.
  std::vector<TOVSmrPtr<ITovaInstanceName>> farEnds(const TOVString& nameSpace,
                                                    const TOVSmrPtr<ITovaInstanceName>& object,
                                                    const TOVString& assocClass,
                                                    const TOVString& resultClass,
                                                    const TOVString& role,
                                                    const TOVString& resultRole) const;

  const ClassCatalog& _catalog;
};

}  // namespace kest::server
