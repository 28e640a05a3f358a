#pragma once

#include <optional>
#include <string_view>

#include "host/CimType.h"
#include "host/SmartPointer.h"
#include "host/Value.h"

namespace kest::server {

// A scalar of the intrinsic type code (not Reference or Object) read from
// its CIM-XML text ("TRUE", "-5", "1.5e+10", a datetime, ...); null when the
// text holds no such value (out of range, malformed).
TOVSmrPtr<ITovaValue> scalarFromText(std::string_view text, CimTypeCode code);

namespace xml {

// The type code a CIM-XML TYPE or PARAMTYPE names ("uint32", "reference",
// "instance" and "object" both Object); nullopt for an unknown name.
std::optional<CimTypeCode> typeCodeOf(std::string_view name);

// A key value typed only by its VALUETYPE: numbers as sint64 (negative),
// uint64 or real64; null when the text is no such value.
TOVSmrPtr<ITovaValue> numericFromText(std::string_view text);

// Takes ownership of value.
TOVSmrPtr<ITovaValue> make(ITovaValue* value);

}  // namespace xml

}  // namespace kest::server
