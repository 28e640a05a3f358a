#include "server/Dispatcher.h"

#include <exception>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "host/ActualParameter.h"
#include "host/Ascii.h"
#include "host/Collector.h"
#include "host/List.h"
#include "host/Repository.h"
#include "server/CimError.h"
#include "server/Logging.h"
#include "server/MethodCheck.h"
#include "server/RequestParser.h"
#include "server/repository/ClassDefinition.h"

namespace kest::server {

namespace {

const ServerLog kLog("kest::server::Dispatcher");

void logWarning(const TOVString& message) { kLog.warning(message); }

bool sameName(const TOVString& a, const TOVString& b) {
  return kest::ascii::equalsIgnoreCase(a.view(), b.view());
}

// The transaction the server hands a provider for one call.
class ServerTransaction : public ITovaTransaction {
 public:
  explicit ServerTransaction(std::string operation) : _operation(std::move(operation)) {}
  const std::string& operation() const { return _operation; }

 private:
  std::string _operation;
};

// Brackets one provider call with startTransaction and endTransaction. A
// failing endTransaction is logged; it does not undo the call's result.
class TransactionScope {
 public:
  TransactionScope(kest::IProvider& provider, const std::string& operation)
      : _provider(provider), _transaction(new ServerTransaction(operation)) {
    _provider.startTransaction(_transaction);
  }
  ~TransactionScope() {
    try {
      _provider.endTransaction(_transaction);
    } catch (...) {
      logWarning("endTransaction failed: " + TOVString(errorFromCurrentException().description()));
    }
  }
  TransactionScope(const TransactionScope&) = delete;
  TransactionScope& operator=(const TransactionScope&) = delete;

  const TOVSmrPtr<ITovaTransaction>& transaction() const { return _transaction; }

 private:
  kest::IProvider& _provider;
  TOVSmrPtr<ITovaTransaction> _transaction;
};

kest::IProvider::PropertyList providerPropertyList(const CimRequest& request) {
  if (!request.propertyList) return kest::IProvider::PropertyList();
  kest::IProvider::PropertyList list(new TOVValSlist<TOVString>());
  for (const TOVString& name : *request.propertyList) list->append(name);
  return list;
}

// The properties an instance response carries (see Dispatcher).
class InstanceSelection : public PropertySelection {
 public:
  InstanceSelection(const ClassCatalog& catalog, const CimRequest& request,
                    UndeclaredPropertyLog& undeclared)
      : _catalog(catalog), _request(request), _undeclared(undeclared) {
    _restrictToRequested =
        request.operation == CimOperation::EnumerateInstances && !request.deepInheritance;
    if (_restrictToRequested) _requested = catalog.find(request.nameSpace, request.className);
    _filters = request.propertyList.has_value() || request.localOnly ||
               (_requested && _requested->defined);
  }

  bool includes(const TOVString& className, const TOVString& propertyName) const override {
    if (!_filters) return true;
    if (_request.propertyList) {
      bool listed = false;
      for (const TOVString& wanted : *_request.propertyList) {
        if (sameName(wanted, propertyName)) {
          listed = true;
          break;
        }
      }
      if (!listed) return false;
    }
    if (_restrictToRequested && _requested && _requested->defined &&
        _requested->findProperty(propertyName) == nullptr) {
      return false;
    }
    if (_request.localOnly) {
      const kest::repository::ClassDefinition* definition = definitionOf(className);
      if (definition != nullptr && definition->defined) {
        const kest::repository::Property* property = definition->findProperty(propertyName);
        const TOVString& owner =
            _request.operation == CimOperation::EnumerateInstances ? _request.className : className;
        if (property != nullptr && !property->classOrigin.isNull() &&
            !sameName(property->classOrigin, owner)) {
          return false;
        }
      }
    }
    return true;
  }

  // Reports the properties of object that the full definition of its class
  // does not declare; once a class has been reported, its other instances
  // in this response are not checked.
  void check(const ITovaObject& object) const {
    const TOVString& className = object.getClassName();
    if (!_reportedName.isNull() && sameName(_reportedName, className)) return;
    const kest::repository::ClassDefinition* definition = definitionOf(className);
    if (definition == nullptr || !definition->defined) return;
    std::vector<TOVString> undeclared;
    const unsigned long count = object.getNumberOfProperties(true);
    for (unsigned long i = 0; i < count; ++i) {
      const TOVSmrPtr<ITovaProperty> property = object.getPropertyAt(i, true);
      if (property && definition->findProperty(property->getName()) == nullptr) {
        undeclared.push_back(property->getName());
      }
    }
    if (undeclared.empty()) return;
    _undeclared.report(_request.nameSpace, className, undeclared);
    _reportedName = className;
  }

  TOVString classOrigin(const TOVString& className, const TOVString& propertyName) const override {
    if (!_request.includeClassOrigin) return TOVString();
    const kest::repository::ClassDefinition* definition = definitionOf(className);
    if (definition == nullptr || !definition->defined) return TOVString();
    const kest::repository::Property* property = definition->findProperty(propertyName);
    return property != nullptr ? property->classOrigin : TOVString();
  }

 private:
  // The catalog's definition of className; the last one found is kept, as
  // the instances of one response are mostly of one class.
  const kest::repository::ClassDefinition* definitionOf(const TOVString& className) const {
    if (!_cached || !sameName(_cachedName, className)) {
      _cachedName = className;
      _cachedDefinition = _catalog.find(_request.nameSpace, className);
      _cached = true;
    }
    return _cachedDefinition.get();
  }

  const ClassCatalog& _catalog;
  const CimRequest& _request;
  UndeclaredPropertyLog& _undeclared;
  // The class last reported to _undeclared.
  mutable TOVString _reportedName;
  bool _restrictToRequested = false;
  kest::repository::ClassPointer _requested;
  bool _filters = false;
  mutable bool _cached = false;
  mutable TOVString _cachedName;
  mutable kest::repository::ClassPointer _cachedDefinition;
};

// Collects what a provider adds during one call, so that the results are
// written to the client only after the provider call has returned: no
// provider lock is held, and no provider is re-entered, while the response
// is written. Items are shared pointers to the provider's objects (16 bytes
// each). add() may be called from several provider threads at once.
template <typename T>
class ResultCollector : public kest::ICollector<T> {
 public:
  void add(const T& item) override {
    std::lock_guard<std::mutex> lock(_mutex);
    _items.push_back(item);
  }
  // Takes the results collected so far; call it after the provider call.
  std::vector<T> take() {
    std::lock_guard<std::mutex> lock(_mutex);
    return std::move(_items);
  }

 private:
  std::mutex _mutex;
  std::vector<T> _items;  // guarded by _mutex
};

// Writes each of items with write and releases it. A result that fails to
// write is taken back out of the response and ends the writing with that
// failure.
template <typename T, typename Write>
void writeItems(CimXmlWriter& writer, std::vector<T>& items, Write& write) {
  for (T& item : items) {
    const CimXmlWriter::Mark mark = writer.mark();
    try {
      write(item);
      writer.flushIfFull();
    } catch (const ClientGone&) {
      throw;
    } catch (...) {
      if (writer.canRewind(mark)) writer.rewind(mark);
      throw;
    }
    item = T();
  }
}

// Writes the IRETURNVALUE of a list operation. For each target of route, in
// order: asks the provider through ask(provider, collector, transaction,
// className), under a transaction of its own; once that call has returned,
// writes each collected result with write (see writeItems). When the
// provider call failed, the results it added before are written and its
// failure is thrown afterwards, as the final status of the response. Then
// writes compiled, the results taken from the compiled instances.
template <typename T, typename Ask, typename Write>
void writeResults(CimXmlWriter& writer, const CimRequest& request, const Dispatcher::Route& route,
                  std::vector<T> compiled, Ask ask, Write write) {
  writer.beginIReturnValue();
  for (const Dispatcher::Target& target : route) {
    ResultCollector<T> collector;
    std::exception_ptr failure;
    try {
      kest::IProvider& provider = target.provider->provider();
      TransactionScope scope(provider, request.methodName);
      ask(provider, collector, scope.transaction(), target.className);
    } catch (...) {
      failure = std::current_exception();
    }
    std::vector<T> items = collector.take();
    writeItems(writer, items, write);
    if (failure) std::rethrow_exception(failure);
  }
  writeItems(writer, compiled, write);
  writer.end();
}

// A method result of a class known only by name, with the type a method it
// inherits declares (see valueOfDeclaredType); value itself, logged, when it
// does not convert.
TOVSmrPtr<ITovaValue> withDeclaredType(const TOVSmrPtr<ITovaValue>& value,
                                       const TOVSmrPtr<ITovaType>& declared,
                                       const TOVString& what) {
  if (!declared || !value || value->isNullValue()) return value;
  const TOVSmrPtr<ITovaValue> typed = valueOfDeclaredType(value, declared);
  if (typed) return typed;
  logWarning(what + " does not convert to the declared type " +
             TOVString(CTovaType::codeName(CTovaType::codeOf(*declared))) +
             "; sent as the provider made it");
  return value;
}

// Writes an object of a list result, or logs why it cannot: as
// VALUE.NAMEDINSTANCE (named) or VALUE.OBJECTWITHPATH.
void writeObjectWithPath(CimXmlWriter& writer, const TOVSmrPtr<ITovaObject>& object,
                         const InstanceSelection& selection, const char* operation, bool named) {
  if (!object || !object->getInstanceName()) {
    logWarning(TOVString(operation) + ": the provider returned an object without a name; left out");
    return;
  }
  selection.check(*object);
  if (named) {
    writer.namedInstance(*object, selection);
  } else {
    writer.objectWithPath(*object, selection);
  }
}

// Writes a name of a list result, or logs why it cannot: as OBJECTPATH
// (asPath) or INSTANCENAME.
void writeName(CimXmlWriter& writer, const TOVSmrPtr<ITovaInstanceName>& name,
               const char* operation, bool asPath) {
  if (!name) {
    logWarning(TOVString(operation) + ": the provider returned a null name; left out");
    return;
  }
  if (asPath) {
    writer.objectPath(*name);
  } else {
    writer.instanceName(*name);
  }
}

CimError notFound(const CimRequest& request) {
  return CimError(CIM_ERR_NOT_FOUND,
                  "Instance not found: " + (request.instanceName
                                                ? request.instanceName->toString().toStdString()
                                                : std::string("a null name")));
}

}  // namespace

void UndeclaredPropertyLog::report(const TOVString& nameSpace, const TOVString& className,
                                   const std::vector<TOVString>& propertyNames) {
  const std::string key =
      kest::ascii::folded(nameSpace.view()) + ":" + kest::ascii::folded(className.view());
  {
    std::lock_guard<std::mutex> lock(_mutex);
    if (!_logged.insert(key).second) return;
  }
  TOVString names;
  for (const TOVString& name : propertyNames) {
    if (!names.isNull()) names += ", ";
    names += name;
  }
  logWarning("Instances of " + className +
             " carry properties that the class does not declare: " + names);
}

Dispatcher::Dispatcher(const ProviderSet& providers, const ClassCatalog& catalog,
                       std::vector<TOVString> nameSpaces)
    : _providers(providers),
      _catalog(catalog),
      _compiled(catalog),
      _nameSpaces(std::move(nameSpaces)) {}

bool Dispatcher::servesNameSpace(const TOVString& nameSpace) const {
  for (const TOVString& served : _nameSpaces) {
    if (sameName(served, nameSpace)) return true;
  }
  return false;
}

Dispatcher::Route Dispatcher::route(const CimRequest& request) const {
  const TOVString& ns = request.nameSpace;
  if (!servesNameSpace(ns)) {
    throw CimError(CIM_ERR_INVALID_NAMESPACE,
                   "The namespace " + ns.toStdString() + " is not served");
  }
  const std::string where = " in namespace " + ns.toStdString();
  switch (describe(request.operation).route) {
    case RouteKind::ClassRepository:
      if (!_catalog.find(ns, request.className)) {
        throw CimError(CIM_ERR_NOT_FOUND,
                       "The class " + request.className.toStdString() + " does not exist" + where);
      }
      return Route();
    case RouteKind::ClassTree:
      if (!request.className.isNull() && !_catalog.find(ns, request.className)) {
        throw CimError(CIM_ERR_INVALID_CLASS,
                       "The class " + request.className.toStdString() + " does not exist" + where);
      }
      return Route();
    case RouteKind::ClassFamily:
      return familyRoute(request);
    case RouteKind::Association:
      if (request.objectIsClass) {
        throw CimError(CIM_ERR_NOT_SUPPORTED, "Association requests on a class are not supported");
      }
      [[fallthrough]];
    case RouteKind::SingleProvider: {
      LoadedProvider* provider = _providers.providerFor(ns, request.className);
      const bool methodCall = request.operation == CimOperation::MethodCall;
      if (provider != nullptr && !methodCall) return Route{Target{provider, request.className}};
      const kest::repository::ClassPointer cls = _catalog.find(ns, request.className);
      if (provider == nullptr && !cls && !_compiled.hasInstances(ns, request.className)) {
        throw CimError(CIM_ERR_INVALID_CLASS,
                       "The class " + request.className.toStdString() + " does not exist" + where);
      }
      if (methodCall && cls && cls->defined) {
        MethodCheck::declared(*cls, TOVString(request.methodName));
      }
      // A known class that no provider serves has only its compiled
      // instances, if any: the handlers answer from those (or NOT_FOUND).
      if (provider == nullptr) return Route();
      return Route{Target{provider, request.className}};
    }
  }
  return Route();
}

// Each provider is asked for its topmost classes of the family: it
// enumerates their subclasses itself.
Dispatcher::Route Dispatcher::familyRoute(const CimRequest& request) const {
  const TOVString& ns = request.nameSpace;
  const kest::repository::ClassPointer root = _catalog.find(ns, request.className);
  if (!root) {
    throw CimError(CIM_ERR_INVALID_CLASS, "The class " + request.className.toStdString() +
                                              " does not exist in namespace " + ns.toStdString());
  }
  std::vector<kest::repository::ClassPointer> family{root};
  for (const kest::repository::ClassPointer& cls : _catalog.subclasses(ns, root->name, true)) {
    family.push_back(cls);
  }
  Route route;
  for (const kest::repository::ClassPointer& cls : family) {
    LoadedProvider* provider = _providers.providerFor(ns, cls->name);
    if (provider == nullptr) continue;
    bool covered = false;
    TOVString up = cls == root ? TOVString() : cls->superClassName;
    for (std::size_t steps = 0; !up.isNull() && steps < family.size(); ++steps) {
      if (_providers.providerFor(ns, up) == provider) {
        covered = true;
        break;
      }
      if (sameName(up, root->name)) break;
      const kest::repository::ClassPointer parent = _catalog.find(ns, up);
      up = parent ? parent->superClassName : TOVString();
    }
    if (!covered) route.push_back(Target{provider, cls->name});
  }
  return route;
}

void Dispatcher::run(const CimRequest& request, const Route& route, CimXmlWriter& writer) const {
  const OperationRunner runner = describe(request.operation).run;
  if (runner == nullptr) {
    throw CimError(CIM_ERR_NOT_SUPPORTED,
                   "The operation " + request.methodName + " is not supported by this server");
  }
  (this->*runner)(request, route, writer);
}

void Dispatcher::modifyInstance(const CimRequest& request, const Route& route,
                                CimXmlWriter&) const {
  _compiled.refuseChange(request.nameSpace, request.instanceName, request.methodName);
  if (route.empty()) throw notFound(request);
  kest::IProvider& provider = route.at(0).provider->provider();
  TransactionScope scope(provider, request.methodName);
  provider.modifyInstance(request.nameSpace, request.instance, providerPropertyList(request),
                          scope.transaction());
}

void Dispatcher::deleteInstance(const CimRequest& request, const Route& route,
                                CimXmlWriter&) const {
  _compiled.refuseChange(request.nameSpace, request.instanceName, request.methodName);
  if (route.empty()) throw notFound(request);
  kest::IProvider& provider = route.at(0).provider->provider();
  TransactionScope scope(provider, request.methodName);
  provider.deleteInstance(request.nameSpace, request.instanceName, scope.transaction());
}

void Dispatcher::setProperty(const CimRequest& request, const Route& route, CimXmlWriter&) const {
  _compiled.refuseChange(request.nameSpace, request.instanceName, request.methodName);
  if (route.empty()) throw notFound(request);
  kest::IProvider& provider = route.at(0).provider->provider();
  TransactionScope scope(provider, request.methodName);
  provider.setProperty(request.nameSpace, request.instanceName, request.propertyName,
                       request.newValue, scope.transaction());
}

void Dispatcher::enumerateInstances(const CimRequest& request, const Route& route,
                                    CimXmlWriter& writer) const {
  const InstanceSelection selection(_catalog, request, _undeclared);
  const kest::IProvider::PropertyList propertyList = providerPropertyList(request);
  writeResults<TOVSmrPtr<ITovaObject>>(
      writer, request, route, _compiled.instances(request.nameSpace, request.className),
      [&](kest::IProvider& provider, kest::ICollector<TOVSmrPtr<ITovaObject>>& results,
          const TOVSmrPtr<ITovaTransaction>& transaction, const TOVString& className) {
        provider.enumerateInstances(results, request.nameSpace, className, transaction,
                                    propertyList);
      },
      [&](const TOVSmrPtr<ITovaObject>& object) {
        writeObjectWithPath(writer, object, selection, "EnumerateInstances", true);
      });
}

void Dispatcher::enumerateInstanceNames(const CimRequest& request, const Route& route,
                                        CimXmlWriter& writer) const {
  writeResults<TOVSmrPtr<ITovaInstanceName>>(
      writer, request, route, _compiled.instanceNames(request.nameSpace, request.className),
      [&](kest::IProvider& provider, kest::ICollector<TOVSmrPtr<ITovaInstanceName>>& results,
          const TOVSmrPtr<ITovaTransaction>& transaction, const TOVString& className) {
        provider.enumerateInstanceNames(results, request.nameSpace, className, transaction);
      },
      [&](const TOVSmrPtr<ITovaInstanceName>& name) {
        writeName(writer, name, "EnumerateInstanceNames", false);
      });
}

TOVSmrPtr<ITovaObject> Dispatcher::fetch(const CimRequest& request,
                                         const TOVSmrPtr<ITovaInstanceName>& name) const {
  if (!name) return TOVSmrPtr<ITovaObject>();
  const TOVSmrPtr<ITovaObject> compiled = _compiled.find(request.nameSpace, name);
  if (compiled) return compiled;
  LoadedProvider* provider = _providers.providerFor(request.nameSpace, name->getClassname());
  if (provider == nullptr) return TOVSmrPtr<ITovaObject>();
  TransactionScope scope(provider->provider(), "GetInstance");
  TOVSmrPtr<ITovaObject> object;
  provider->provider().getInstance(object, request.nameSpace, name, scope.transaction(),
                                   providerPropertyList(request));
  return object;
}

void Dispatcher::associators(const CimRequest& request, const Route& route,
                             CimXmlWriter& writer) const {
  const InstanceSelection selection(_catalog, request, _undeclared);
  writeResults<TOVSmrPtr<ITovaValue>>(
      writer, request, route,
      _compiled.associators(request.nameSpace, request.instanceName, request.assocClass,
                            request.resultClass, request.role, request.resultRole),
      [&](kest::IProvider& provider, kest::ICollector<TOVSmrPtr<ITovaValue>>& results,
          const TOVSmrPtr<ITovaTransaction>& transaction, const TOVString&) {
        provider.associators(results, request.nameSpace, request.instanceName, transaction,
                             request.assocClass, request.resultClass, request.role,
                             request.resultRole, providerPropertyList(request));
      },
      [&](const TOVSmrPtr<ITovaValue>& value) {
        if (!value || value->isNullValue()) return;
        const TOVSmrPtr<ITovaType> type = value->getType();
        TOVSmrPtr<ITovaObject> object;
        if (type && type->isReference()) {
          object = value->getObject();
          if (!object) {
            // Fetched now, after the association's provider has returned:
            // never from inside another provider's call.
            const TOVSmrPtr<ITovaInstanceName> name = value->getReference();
            object = fetch(request, name);
            if (!object) {
              logWarning("Associators: " + (name ? name->toString() : TOVString("a null name")) +
                         " cannot be fetched; left out");
              return;
            }
          }
        } else if (type && type->isObject()) {
          object = value->getObject();
        } else {
          logWarning(
              "Associators: the provider returned a value that is neither a reference nor "
              "an object; left out");
          return;
        }
        writeObjectWithPath(writer, object, selection, "Associators", false);
      });
}

void Dispatcher::associatorNames(const CimRequest& request, const Route& route,
                                 CimXmlWriter& writer) const {
  writeResults<TOVSmrPtr<ITovaInstanceName>>(
      writer, request, route,
      _compiled.associatorNames(request.nameSpace, request.instanceName, request.assocClass,
                                request.resultClass, request.role, request.resultRole),
      [&](kest::IProvider& provider, kest::ICollector<TOVSmrPtr<ITovaInstanceName>>& results,
          const TOVSmrPtr<ITovaTransaction>& transaction, const TOVString&) {
        provider.associatorNames(results, request.nameSpace, request.instanceName, transaction,
                                 request.assocClass, request.resultClass, request.role,
                                 request.resultRole);
      },
      [&](const TOVSmrPtr<ITovaInstanceName>& name) {
        writeName(writer, name, "AssociatorNames", true);
      });
}

void Dispatcher::references(const CimRequest& request, const Route& route,
                            CimXmlWriter& writer) const {
  const InstanceSelection selection(_catalog, request, _undeclared);
  writeResults<TOVSmrPtr<ITovaObject>>(
      writer, request, route,
      _compiled.references(request.nameSpace, request.instanceName, request.resultClass,
                           request.role),
      [&](kest::IProvider& provider, kest::ICollector<TOVSmrPtr<ITovaObject>>& results,
          const TOVSmrPtr<ITovaTransaction>& transaction, const TOVString&) {
        provider.references(results, request.nameSpace, request.instanceName, transaction,
                            request.resultClass, request.role, providerPropertyList(request));
      },
      [&](const TOVSmrPtr<ITovaObject>& object) {
        writeObjectWithPath(writer, object, selection, "References", false);
      });
}

void Dispatcher::referenceNames(const CimRequest& request, const Route& route,
                                CimXmlWriter& writer) const {
  writeResults<TOVSmrPtr<ITovaInstanceName>>(
      writer, request, route,
      _compiled.referenceNames(request.nameSpace, request.instanceName, request.resultClass,
                               request.role),
      [&](kest::IProvider& provider, kest::ICollector<TOVSmrPtr<ITovaInstanceName>>& results,
          const TOVSmrPtr<ITovaTransaction>& transaction, const TOVString&) {
        provider.referenceNames(results, request.nameSpace, request.instanceName, transaction,
                                request.resultClass, request.role);
      },
      [&](const TOVSmrPtr<ITovaInstanceName>& name) {
        writeName(writer, name, "ReferenceNames", true);
      });
}

void Dispatcher::getInstance(const CimRequest& request, const Route& route,
                             CimXmlWriter& writer) const {
  TOVSmrPtr<ITovaObject> object = _compiled.find(request.nameSpace, request.instanceName);
  if (!object && !route.empty()) {
    kest::IProvider& provider = route.at(0).provider->provider();
    TransactionScope scope(provider, request.methodName);
    provider.getInstance(object, request.nameSpace, request.instanceName, scope.transaction(),
                         providerPropertyList(request));
  }
  if (!object) throw notFound(request);
  writer.beginIReturnValue();
  const InstanceSelection selection(_catalog, request, _undeclared);
  selection.check(*object);
  writer.instance(*object, selection);
  writer.end();
}

void Dispatcher::getProperty(const CimRequest& request, const Route& route,
                             CimXmlWriter& writer) const {
  TOVSmrPtr<ITovaObject> object = _compiled.find(request.nameSpace, request.instanceName);
  if (!object && !route.empty()) {
    kest::IProvider& provider = route.at(0).provider->provider();
    TransactionScope scope(provider, request.methodName);
    provider.getInstance(object, request.nameSpace, request.instanceName, scope.transaction(),
                         kest::IProvider::PropertyList());
  }
  if (!object) throw notFound(request);
  const TOVSmrPtr<ITovaProperty> property = object->getPropertyByName(request.propertyName, true);
  if (!property) {
    throw CimError(CIM_ERR_NO_SUCH_PROPERTY,
                   "The instance has no property " + request.propertyName.toStdString());
  }
  writer.beginIReturnValue();
  const TOVSmrPtr<ITovaValue> value = property->getValue();
  if (value) writer.value(*value);
  writer.end();
}

void Dispatcher::createInstance(const CimRequest& request, const Route& route,
                                CimXmlWriter& writer) const {
  _compiled.refuseCreate(request.nameSpace, request.instance);
  if (route.empty()) {
    throw CimError(CIM_ERR_NOT_SUPPORTED,
                   "CreateInstance is not supported for the class " +
                       request.className.toStdString() +
                       (_compiled.hasInstances(request.nameSpace, request.className)
                            ? ": its instances are compiled from MOF, read-only"
                            : ": no provider serves it"));
  }
  const Target& target = route.at(0);
  kest::IProvider& provider = target.provider->provider();
  TOVSmrPtr<ITovaInstanceName> name;
  {
    TransactionScope scope(provider, request.methodName);
    name = provider.createInstance(request.nameSpace, request.instance, scope.transaction());
  }
  if (!name) {
    throw CimError(CIM_ERR_NOT_SUPPORTED, "CreateInstance is not supported for the class " +
                                              request.className.toStdString() +
                                              ": its provider created no instance");
  }
  writer.beginIReturnValue();
  writer.instanceName(*name);
  writer.end();
}

void Dispatcher::methodCall(const CimRequest& request, const Route& route,
                            CimXmlWriter& writer) const {
  if (route.empty()) throw notFound(request);
  const Target& target = route.at(0);
  kest::IProvider& provider = target.provider->provider();
  const kest::repository::ClassPointer cls = _catalog.find(request.nameSpace, request.className);
  const TOVString methodName(request.methodName);
  std::optional<MethodCheck> check;
  if (cls && cls->defined) check.emplace(MethodCheck::declared(*cls, methodName));
  const kest::IProvider::ParameterList in =
      check ? check->input(request.inParameters) : request.inParameters;
  const kest::IProvider::ParameterList out(new TOVValSlist<TOVParameter>());
  TOVSmrPtr<ITovaValue> returnValue;
  {
    TransactionScope scope(provider, request.methodName);
    returnValue = provider.executeMethod(request.nameSpace, request.instanceName, methodName, in,
                                         out, scope.transaction());
  }
  // Every result is typed (or refused) before any of them is written.
  const kest::repository::Method* inherited = cls && !check ? cls->findMethod(methodName) : nullptr;
  if (check) {
    returnValue = check->returnValue(returnValue);
  } else if (inherited != nullptr) {
    returnValue = withDeclaredType(returnValue, inherited->returnType.hostType(),
                                   "The return value of " + methodName);
  }
  std::vector<std::pair<TOVString, TOVSmrPtr<ITovaValue>>> outputs;
  for (const TOVParameter& parameter : *out) {
    if (!parameter) continue;
    const TOVString name = parameter->getName();
    TOVSmrPtr<ITovaValue> value = parameter->getValue();
    if (check) {
      value = check->output(name, value);
    } else if (const kest::repository::Parameter* declared =
                   inherited != nullptr ? inherited->findParameter(name) : nullptr) {
      value = withDeclaredType(value, declared->hostType(),
                               "The output parameter " + name + " of " + methodName);
    }
    if (value) outputs.emplace_back(name, value);
  }
  if (returnValue) writer.returnValue(*returnValue);
  for (const auto& [name, value] : outputs) writer.paramValue(name, *value);
}

void Dispatcher::classOperation(const CimRequest& request, const Route&,
                                CimXmlWriter& writer) const {
  kest::repository::ClassRequestOptions options;
  options.localOnly = request.localOnly;
  options.includeQualifiers = request.includeQualifiers;
  options.includeClassOrigin = request.includeClassOrigin;
  if (request.operation == CimOperation::GetClass) options.propertyList = request.propertyList;
  writer.beginIReturnValue();
  if (request.operation == CimOperation::GetClass) {
    writer.classDefinition(_catalog.find(request.nameSpace, request.className)->filtered(options));
  } else {
    for (const kest::repository::ClassPointer& cls :
         _catalog.subclasses(request.nameSpace, request.className, request.deepInheritance)) {
      if (request.operation == CimOperation::EnumerateClasses) {
        writer.classDefinition(cls->filtered(options));
      } else {
        writer.className(cls->name);
      }
      writer.flushIfFull();
    }
  }
  writer.end();
}

}  // namespace kest::server
