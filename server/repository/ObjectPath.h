#pragma once

// Object paths written as text, as MOF gives reference values:
//   [//host/][namespace:]Class[.Key=value[,Key=value...]]
// or "Class=@" for the one instance of a keyless class.

#include <string_view>

#include "host/InstanceName.h"
#include "host/SmartPointer.h"

namespace kest::repository {

// Parses text into an instance name: the class name as written, the keys in
// the order written, and a namespace path when a host or a namespace is
// given (the host empty when only the namespace is).
//   Key values: a quoted string (\" and \\ stand for " and \; a backslash
//   before another character is dropped) becomes a string, even when it
//   holds an object path (the caller knows whether the key is a reference);
//   true and false (any case) become booleans; decimal integers with an
//   optional sign become uint64 or (negative) sint64; other numbers real64.
//   Names (host excepted) are letters, digits, underscores and UTF-8
//   sequences; a namespace is such names joined by single slashes.
// Returns null when text is not such a path (a key without a value, an
// unterminated string, anything left over, a key given twice). Throws
// nothing but std::bad_alloc.
TOVSmrPtr<ITovaInstanceName> parseObjectPath(std::string_view text);

}  // namespace kest::repository
