#pragma once

// Turns parsed instance declarations into compiled instances: the checks
// against their classes, aliases and instance names. Internal to the
// repository library.

#include <cstddef>
#include <string>
#include <unordered_map>
#include <vector>

#include "server/repository/ClassBuilder.h"
#include "server/repository/ClassRepository.h"
#include "server/repository/CompiledInstance.h"
#include "server/repository/MofSyntax.h"

namespace kest::repository {

// InstanceSet: the instance declarations of one compilation. add() checks
// each one against its class as soon as it is read (the class must be known
// then); finish() resolves the aliases (which may be declared after their
// use), builds the instance names and checks them for duplicates, among the
// set and against repository. Errors go to context, located where they
// were written.
//
// Both context and repository must outlive the set. One thread at a time.
class InstanceSet {
 public:
  InstanceSet(BuildContext& context, const ClassRepository& repository)
      : _context(context), _repository(repository) {}

  void add(const TOVString& nameSpace, const InstanceSyntax& syntax);
  // The instances in declaration order; meaningful only when no error was
  // reported.
  std::vector<ClassRepository::Update::InstanceEntry> finish();

 private:
  // The value of one property of the class: given (a value, or an alias to
  // resolve), or not (then the default or NULL).
  struct Slot {
    TOVSmrPtr<ITovaValue> value;
    std::string alias;
    SourceLocation location;
    bool given = false;
  };
  struct Pending {
    TOVString nameSpace;
    ClassPointer cls;
    SourceLocation location;
    SourceLocation aliasLocation;
    std::vector<Slot> slots;
    enum class State { Open, Naming, Named, Failed } state = State::Open;
    TOVSmrPtr<ITovaInstanceName> name;
  };

  // The slots of syntax's properties against cls; false after an error.
  // Aliases are allowed only in instances declared on their own.
  bool fillSlots(const TOVString& nameSpace, const ClassDefinition& cls,
                 const InstanceSyntax& syntax, bool topLevel, std::vector<Slot>& slots);
  TOVSmrPtr<ITovaValue> convert(const TOVString& nameSpace, const Property& property,
                                const ValueSyntax& literal, const std::string& what);
  TOVSmrPtr<ITovaValue> embeddedValue(const TOVString& nameSpace, const Property& property,
                                      const ValueSyntax& literal, const std::string& what);
  TOVSmrPtr<ITovaValue> referenceValue(const TOVString& nameSpace, const Property& property,
                                       const ValueSyntax& literal, const std::string& what);
  // The path's keys typed by its class where that is known in nameSpace:
  // a reference key written as a string becomes a reference. Null when a
  // nested path is malformed.
  TOVSmrPtr<ITovaInstanceName> typedPath(const TOVString& nameSpace,
                                         const TOVSmrPtr<ITovaInstanceName>& path, unsigned depth);
  // True when className is ancestor or below it in nameSpace.
  bool inherits(const TOVString& nameSpace, const TOVString& className,
                const TOVString& ancestor) const;
  TOVSmrPtr<ITovaObject> buildObject(const ClassDefinition& cls, const std::vector<Slot>& slots,
                                     const TOVSmrPtr<ITovaInstanceName>& name);
  // The instance's name, resolving the aliases its keys use; null after an
  // error.
  TOVSmrPtr<ITovaInstanceName> nameOf(std::size_t index);
  // The name that slot's alias stands for, checked against property's
  // reference class; null after an error.
  TOVSmrPtr<ITovaInstanceName> resolveAlias(const Pending& from, const Property& property,
                                            const Slot& slot);
  void error(const SourceLocation& location, const std::string& message);

  BuildContext& _context;
  const ClassRepository& _repository;
  std::vector<Pending> _pending;
  // Folded alias -> position in _pending.
  std::unordered_map<std::string, std::size_t> _aliases;
};

}  // namespace kest::repository
