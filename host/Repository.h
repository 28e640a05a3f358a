#pragma once

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
