#pragma once

// Typed values from MOF literals, and the value checks the compiler needs.
// Internal to the repository library.

#include <string>
#include <string_view>

#include "host/SmartPointer.h"
#include "host/Value.h"
#include "server/repository/ClassDefinition.h"
#include "server/repository/MofSyntax.h"

namespace kest::repository {

// The outcome of a conversion: a value, or (value null) what is wrong, in
// words such as "300 is out of range for uint8".
struct ValueResult {
  TOVSmrPtr<ITovaValue> value;
  std::string error;
};

// Converts a literal to a value of type. NULL gives a CIM NULL of the type;
// integers must fit the type's range; reals accept integers; char16 accepts a
// character or an integer up to 65535; datetime accepts a string holding a
// valid datetime; references accept a string holding an object path; arrays
// need an array literal (or, with wrapScalar, a single value becomes an array
// of one), hold no NULL elements and at most type.arraySize elements when
// that is set. Aliases and values of type object are refused.
ValueResult convertValue(const ValueSyntax& literal, const DataType& type, bool wrapScalar);

// Both null pointers or CIM NULLs, or values of the same type and text.
bool sameValue(const TOVSmrPtr<ITovaValue>& a, const TOVSmrPtr<ITovaValue>& b);

}  // namespace kest::repository
