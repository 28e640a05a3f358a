#pragma once

#include <mutex>
#include <shared_mutex>

#include "host/Map.h"
#include "host/SmartPointer.h"
#include "host/String.h"

// ITovaClass: a class definition as the host hands it out.
class ITovaClass {
 public:
  virtual ~ITovaClass();
  virtual TOVString getClassName() const = 0;
  // Empty for a class without a superclass.
  virtual TOVString getSuperClassName() const = 0;
};

// ITovaTransaction: the host's handle of the request in progress.
class ITovaTransaction {
 public:
  virtual ~ITovaTransaction();
};

// IQueryStatement: the query of an indication subscription.
class IQueryStatement {
 public:
  virtual ~IQueryStatement();
  virtual TOVString getQueryText() const = 0;
  virtual TOVString getQueryLanguage() const = 0;
};

// ITovaRepository: the host's class repository.
class ITovaRepository {
 public:
  virtual ~ITovaRepository();
  // True when className equals superClassName ignoring ASCII case, or
  // superClassName is an ancestor of className; false for an unknown class.
  // The namespace is matched ignoring case; an empty namespace is the
  // repository's default namespace.
  virtual bool isSubclass(const TOVString& nameSpace, const TOVString& className,
                          const TOVString& superClassName) = 0;
};

// CTovaRepository: class declarations (name and superclass) per namespace.
// Threads: safe for concurrent use; declarations may be added while requests
// ask the subclass test.
class CTovaRepository : public ITovaRepository {
 public:
  // defaultNameSpace is what an empty namespace argument means.
  explicit CTovaRepository(const TOVString& defaultNameSpace);

  // Declares (or redeclares) className in nameSpace with its superclass
  // (empty for none). The superclass need not be declared yet.
  void addClass(const TOVString& nameSpace, const TOVString& className,
                const TOVString& superClassName);
  bool hasClass(const TOVString& nameSpace, const TOVString& className) const;
  // The declared superclass; the no-buffer string when className is unknown.
  TOVString getSuperClassName(const TOVString& nameSpace, const TOVString& className) const;

  bool isSubclass(const TOVString& nameSpace, const TOVString& className,
                  const TOVString& superClassName) override;

 private:
  static TOVString folded(const TOVString& text);
  TOVString nameSpaceKey(const TOVString& nameSpace) const;

  const TOVString _defaultNameSpace;
  mutable std::shared_mutex _mutex;
  // Key: lower-cased namespace + ":" + lower-cased class name; value: the
  // superclass name as declared. Guarded by _mutex.
  TOVValMap<TOVString, TOVString> _superClasses;
};
