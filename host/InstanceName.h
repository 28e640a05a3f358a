#pragma once

#include "host/NameSpacePath.h"
#include "host/Property.h"
#include "host/SmartPointer.h"
#include "host/String.h"

// ITovaInstanceName: an object path: class name, optional namespace path and
// key properties.
//
// The text forms and equality are written only against the virtual accessors
// (getClassname, getNameSpacePath, getNumberOfKeyProperties,
// getKeyPropertyAt), so every implementation gets them:
//   toString(): the canonical text, the instance's identity. The class name
//     lower-cased; if there are keys, "." and the keys sorted by lower-cased
//     name, each "name=value", joined by ","; key names lower-cased. Values:
//     string, char16 and datetime in double quotes with \ and " escaped (case
//     kept); integers in decimal whatever their width and sign; reals in
//     shortest round-trip form; booleans true/false; a reference as the
//     quoted, escaped canonical text of the referenced name; a CIM NULL or a
//     missing value as NULL, unquoted. The namespace and host are not part of
//     it: names are equal across namespaces.
//   toKeyString(): the key part only (what follows the "." above; empty for
//     a keyless name).
//   toFullPathString(): "//host/namespace:" (each part when set: "//host" only
//     with a host, "namespace:" only with a namespace) followed by toString().
//   isClass(): false (instance names).
//   operator==: true exactly when the toString() texts are equal; names
//     that keep their text (CTovaInstanceName) are compared without copying
//     it.
// getKeyPropertyAt(i) returns null for i >= getNumberOfKeyProperties().
//
// Threads: names are read concurrently by request threads; implementations
// must be safe for concurrent const calls.
class ITovaInstanceName {
 public:
  virtual ~ITovaInstanceName();
  virtual TOVString getClassname() const = 0;
  virtual TOVSmrPtr<ITovaNameSpacePath> getNameSpacePath() const = 0;
  virtual unsigned long getNumberOfKeyProperties() const = 0;
  virtual TOVSmrPtr<ITovaProperty> getKeyPropertyAt(unsigned long index) const = 0;
  virtual TOVString toString() const;
  virtual TOVString toKeyString() const;
  virtual TOVString toFullPathString() const;
  virtual TOVPropertyList getKeyProperties() const = 0;
  virtual bool isClass() const;
  virtual void setNameSpacePath(const TOVSmrPtr<ITovaNameSpacePath>& path) = 0;

  bool operator==(const ITovaInstanceName& other) const;
  bool operator!=(const ITovaInstanceName& other) const { return !(*this == other); }

  // True exactly when toString() equals text (exact comparison), so
  // a.hasCanonicalText(b.toString()) is a == b. A name that keeps its text
  // (keptCanonicalText) compares it in place: testing many names against one
  // text taken once copies, builds and allocates nothing for such names.
  bool hasCanonicalText(const TOVString& text) const;

 protected:
  // The canonical text computed from the virtual accessors (what toString()
  // returns unless overridden); for implementations that cache it.
  TOVString buildCanonicalText() const;

  // The text toString() returns, when the implementation keeps it for its
  // whole lifetime; null (the default) when toString() builds it. An
  // implementation that overrides either keeps the two consistent.
  virtual const TOVString* keptCanonicalText() const;
};

// CTovaInstanceName: the host's concrete instance name.
// The canonical text is computed once, at construction, and kept: toString()
// returns it and equality compares it in place. The key list must not be
// changed afterwards.
class CTovaInstanceName : public ITovaInstanceName {
 public:
  // Stores keys as given (the list is shared with the caller, not copied). A
  // null keys pointer is treated as an empty list.
  CTovaInstanceName(const TOVString& className, const TOVPropertyList& keys,
                    const TOVSmrPtr<ITovaNameSpacePath>& path);
  // Deep copy: new key list, new properties, new values (referenced names
  // copied too), namespace path copied. Shares nothing with source.
  explicit CTovaInstanceName(const ITovaInstanceName& source);

  TOVString getClassname() const override;
  TOVSmrPtr<ITovaNameSpacePath> getNameSpacePath() const override;
  unsigned long getNumberOfKeyProperties() const override;
  TOVSmrPtr<ITovaProperty> getKeyPropertyAt(unsigned long index) const override;
  TOVString toString() const override;
  TOVPropertyList getKeyProperties() const override;
  void setNameSpacePath(const TOVSmrPtr<ITovaNameSpacePath>& path) override;

 protected:
  const TOVString* keptCanonicalText() const override;

 private:
  TOVString _className;
  TOVSmrPtr<ITovaNameSpacePath> _path;
  TOVPropertyList _keys;
  TOVString _text;
};
