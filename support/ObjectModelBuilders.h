#pragma once

// Short builders for host object-model values in tests.

#include <initializer_list>
#include <vector>

#include "host/InstanceName.h"
#include "host/List.h"
#include "host/NameSpacePath.h"
#include "host/Property.h"
#include "host/SmartPointer.h"
#include "host/String.h"
#include "host/Value.h"

namespace kest::testing {

// A CTovaValue of whatever CIM type CTovaValue gives value's C++ type.
template <typename T>
TOVSmrPtr<ITovaValue> make(T value) {
  return TOVSmrPtr<ITovaValue>(new CTovaValue(value));
}

struct Key {
  const char* name;
  TOVSmrPtr<ITovaValue> value;
};

inline TOVPropertyList keyList(const std::vector<Key>& keys) {
  TOVPropertyList list(new TOVValSlist<TOVSmrPtr<ITovaProperty>>());
  for (const Key& key : keys) {
    list->append(TOVSmrPtr<ITovaProperty>(new CTovaProperty(key.name, key.value, false)));
  }
  return list;
}

inline TOVSmrPtr<ITovaNameSpacePath> makePath(const char* host, const char* nameSpace) {
  return TOVSmrPtr<ITovaNameSpacePath>(new CTovaNameSpacePath(host, nameSpace));
}

inline TOVSmrPtr<ITovaInstanceName> makeName(const char* className, const std::vector<Key>& keys,
                                             const TOVSmrPtr<ITovaNameSpacePath>& path = {}) {
  return TOVSmrPtr<ITovaInstanceName>(new CTovaInstanceName(className, keyList(keys), path));
}

// A name with one key.
inline TOVSmrPtr<ITovaInstanceName> makeName(const char* className, const char* key,
                                             const TOVSmrPtr<ITovaValue>& value,
                                             const TOVSmrPtr<ITovaNameSpacePath>& path = {}) {
  return makeName(className, std::vector<Key>{{key, value}}, path);
}

inline TOVValSlist<TOVString> names(std::initializer_list<const char*> items) {
  TOVValSlist<TOVString> list;
  for (const char* item : items) list.append(TOVString(item));
  return list;
}

inline TOVSmrPtr<TOVValSlist<TOVString>> sharedNames(std::initializer_list<const char*> items) {
  return TOVSmrPtr<TOVValSlist<TOVString>>(new TOVValSlist<TOVString>(names(items)));
}

}  // namespace kest::testing
